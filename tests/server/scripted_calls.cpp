#include "server/scripted_calls.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <string_view>
#include <utility>

namespace {

/// The script that is being played; null: calls go to the system.
ScriptedCalls* playing = nullptr;

}  // namespace

ScriptedCall flagsAre(int flags) {
  return {.name = "fcntl", .result = flags};
}
ScriptedCall flagsAreUnknown() {
  return {.name = "fcntl", .result = -1, .error = EBADF};
}
ScriptedCall flagsAreSet() {
  return {.name = "fcntl"};
}
ScriptedCall flagsCannotBeSet() {
  return flagsAreUnknown();
}
ScriptedCall inputIsReady() {
  return {.name = "select", .result = 1, .inputReady = true};
}
ScriptedCall selectReturnsWithoutInput(int result) {
  return {.name = "select", .result = result};
}
ScriptedCall selectFails(int error) {
  // A select that fails leaves the set as it was.
  return {.name = "select", .result = -1, .error = error, .inputReady = true};
}
ScriptedCall reads(const std::string& bytes) {
  return {.name = "read", .result = static_cast<long>(bytes.size()), .bytes = bytes};
}
ScriptedCall inputEnds() {
  return {.name = "read"};
}
ScriptedCall readFails(int error) {
  return {.name = "read", .result = -1, .error = error};
}
ScriptedCall writes(long count) {
  return {.name = "write", .result = count};
}
ScriptedCall writeFails(int error) {
  return {.name = "write", .result = -1, .error = error};
}

ScriptedCalls::ScriptedCalls(std::vector<ScriptedCall> script) : script_(std::move(script)) {
  playing = this;
}

ScriptedCalls::~ScriptedCalls() {
  playing = nullptr;
}

bool ScriptedCalls::nextIs(const char* name) const {
  return !isOver() && std::string_view(script_[next_].name) == name;
}

ScriptedCall ScriptedCalls::play(const char* name, const std::string& arguments) {
  const std::string call = name + ("(" + arguments + ")");
  if (!nextIs(name)) {
    ADD_FAILURE() << call << " is not in the script at place " << next_;
    record_.push_back(call + ": unexpected");
    return {.name = name, .result = -1, .error = EBADF};
  }
  ScriptedCall step = script_[next_++];
  record_.push_back(call + " = " +
                    (step.result < 0 ? strerrorname_np(step.error) : std::to_string(step.result)));
  if (step.meanwhile) step.meanwhile();
  errno = step.error;
  return step;
}

ScriptedCall ScriptedCalls::playWrite(std::size_t size) {
  const std::string arguments = "1, " + std::to_string(size);
  if (nextIs("write")) return play("write", arguments);
  record_.push_back("write(" + arguments + ")");
  return writes(static_cast<long>(size));
}

namespace {

/// "{0}" for a set that holds descriptor 0 alone.
std::string printed(const fd_set* set) {
  if (set == nullptr) return "none";
  std::string text;
  for (int descriptor = 0; descriptor < FD_SETSIZE; ++descriptor) {
    if (!FD_ISSET(descriptor, set)) continue;
    text += (text.empty() ? "" : " ") + std::to_string(descriptor);
  }
  return "{" + text + "}";
}

std::string printedFcntl(int command, int argument) {
  if (command == F_GETFL) return "0, F_GETFL";
  const std::string name = command == F_SETFL ? "F_SETFL" : std::to_string(command);
  return "0, " + name + ", " + std::to_string(argument);
}

}  // namespace

// What the linker puts in the place of the system's calls (--wrap), and what it calls those.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" {

int __real_fcntl(int descriptor, int command, ...);
int __real_select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* timeout);
ssize_t __real_read(int descriptor, void* buffer, std::size_t size);
ssize_t __real_write(int descriptor, const void* buffer, std::size_t size);

int __wrap_fcntl(int descriptor, int command, ...);
int __wrap_fcntl64(int descriptor, int command, ...);
int __wrap_select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* timeout);
ssize_t __wrap_read(int descriptor, void* buffer, std::size_t size);
ssize_t __wrap_write(int descriptor, const void* buffer, std::size_t size);

int __wrap_fcntl(int descriptor, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  const int argument = va_arg(arguments, int);  // not there for F_GETFL, and then not used
  va_end(arguments);
  if (playing == nullptr || descriptor != STDIN_FILENO) return __real_fcntl(descriptor, command, argument);
  return static_cast<int>(playing->play("fcntl", printedFcntl(command, argument)).result);
}

int __wrap_fcntl64(int descriptor, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  const int argument = va_arg(arguments, int);
  va_end(arguments);
  return __wrap_fcntl(descriptor, command, argument);
}

int __wrap_select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* timeout) {
  if (playing == nullptr) return __real_select(count, readable, writable, exceptional, timeout);
  const std::string arguments = std::to_string(count) + ", " + printed(readable) + ", " + printed(writable) +
                                ", " + printed(exceptional) + ", " +
                                (timeout == nullptr ? "none" : "a limit");
  const ScriptedCall step = playing->play("select", arguments);
  if (!step.inputReady) FD_ZERO(readable);
  return static_cast<int>(step.result);
}

ssize_t __wrap_read(int descriptor, void* buffer, std::size_t size) {
  if (playing == nullptr || descriptor != STDIN_FILENO) return __real_read(descriptor, buffer, size);
  const ScriptedCall step = playing->play("read", "0, " + std::to_string(size));
  EXPECT_LE(step.bytes.size(), size);
  std::memcpy(buffer, step.bytes.data(), step.bytes.size());
  return step.result;
}

ssize_t __wrap_write(int descriptor, const void* buffer, std::size_t size) {
  if (playing == nullptr || descriptor != STDOUT_FILENO) return __real_write(descriptor, buffer, size);
  const char* const bytes = static_cast<const char*>(buffer);
  const ScriptedCall step = playing->playWrite(size);
  if (step.result > 0) playing->takeOutput(bytes, static_cast<std::size_t>(step.result));
  return step.result;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
