#include "server/scripted_descriptors.h"

#include <fcntl.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>

namespace {

ScriptedDescriptors* current = nullptr;  // the object that stands in, while there is one

ScriptedDescriptors::Outcome take(std::deque<ScriptedDescriptors::Outcome>& script,
                                  const ScriptedDescriptors::Outcome& atEnd) {
  if (script.empty()) return atEnd;
  ScriptedDescriptors::Outcome next = script.front();
  script.pop_front();
  return next;
}

}  // namespace

// The linker sends the program's own calls here (--wrap); those of libraries go where they always went.
extern "C" {
int __real_select(int, fd_set*, fd_set*, fd_set*, timeval*);
ssize_t __real_read(int, void*, size_t);
ssize_t __real_write(int, const void*, size_t);
int __wrap_select(int count, fd_set* readable, fd_set* writable, fd_set* failed, timeval* timeout);
ssize_t __wrap_read(int descriptor, void* bytes, size_t count);
ssize_t __wrap_write(int descriptor, const void* bytes, size_t count);
int __wrap_fcntl(int descriptor, int command, ...);

int __wrap_select(int count, fd_set* readable, fd_set* writable, fd_set* failed, timeval* timeout) {
  if (current == nullptr) return __real_select(count, readable, writable, failed, timeout);
  const bool asExpected = count == 1 && FD_ISSET(0, readable) && !writable && !failed && !timeout;
  const ScriptedDescriptors::Outcome next = current->nextSelect();
  if (!next.readable) FD_ZERO(readable);
  errno = asExpected ? next.error : ENOSYS;
  return asExpected ? static_cast<int>(next.result) : -1;
}

ssize_t __wrap_read(int descriptor, void* bytes, size_t count) {
  if (current == nullptr || descriptor != STDIN_FILENO) return __real_read(descriptor, bytes, count);
  const ScriptedDescriptors::Outcome next = current->nextRead(count);
  std::memcpy(bytes, next.bytes.data(), next.bytes.size());
  errno = next.error;
  return next.result;
}

ssize_t __wrap_write(int descriptor, const void* bytes, size_t count) {
  if (current == nullptr || descriptor != STDOUT_FILENO) return __real_write(descriptor, bytes, count);
  return current->write(static_cast<const char*>(bytes), count);
}

int __wrap_fcntl(int descriptor, int command, ...) {
  std::va_list arguments;
  va_start(arguments, command);
  const int argument = command == F_SETFL ? va_arg(arguments, int) : 0;
  va_end(arguments);
  if (current == nullptr || descriptor != STDIN_FILENO) return ::fcntl64(descriptor, command, argument);
  return current->control(command, argument);
}
}

ScriptedDescriptors::ScriptedDescriptors() {
  current = this;
}
ScriptedDescriptors::~ScriptedDescriptors() {
  current = nullptr;
}

void ScriptedDescriptors::selectReturns(int result, int error, bool readable) {
  selects_.push_back({result, error, readable, {}});
}

void ScriptedDescriptors::readGives(const std::string& bytes) {
  reads_.push_back({static_cast<long>(bytes.size()), 0, false, bytes});
}

void ScriptedDescriptors::readFails(int error) {
  reads_.push_back({-1, error, false, {}});
}

void ScriptedDescriptors::writeTakes(long bytes) {
  writes_.push_back({bytes, 0, false, {}});
}

void ScriptedDescriptors::writeFails(int error) {
  writes_.push_back({-1, error, false, {}});
}

ScriptedDescriptors::Outcome ScriptedDescriptors::nextSelect() {
  calls_.emplace_back("select");
  return take(selects_, {-1, EBADF, true, {}});
}

ScriptedDescriptors::Outcome ScriptedDescriptors::nextRead(std::size_t limit) {
  calls_.push_back("read " + std::to_string(limit));
  return take(reads_, {0, 0, false, {}});
}

long ScriptedDescriptors::write(const char* bytes, std::size_t count) {
  calls_.push_back("write " + std::to_string(count));
  const Outcome next = take(writes_, {static_cast<long>(count), 0, false, {}});
  if (next.result > 0) written_.append(bytes, static_cast<std::size_t>(next.result));
  errno = next.error;
  return next.result;
}

int ScriptedDescriptors::control(int command, int argument) {
  if (command == F_GETFL) {
    calls_.emplace_back("fcntl F_GETFL");
    return O_RDWR;
  }
  calls_.emplace_back(argument == (O_RDWR | O_NONBLOCK) ? "fcntl F_SETFL O_RDWR O_NONBLOCK"
                                                        : "fcntl F_SETFL ?");
  return 0;
}
