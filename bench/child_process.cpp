#include "child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr std::size_t kChunkSize = 1 << 18;  // bytes taken by one read
constexpr std::size_t kHeadSize = 200;       // enough of a line to tell what it is

/// In the new process: becomes `command` with the given descriptors as its standard streams.
[[noreturn]] void become(const std::vector<std::string>& command, int input, int output) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  ::signal(SIGPIPE, SIG_DFL);
  ::dup2(input, STDIN_FILENO);
  ::dup2(output, STDOUT_FILENO);
  ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  ::execvp(arguments.front(), arguments.data());
  ::_exit(127);
}

}  // namespace

void giveUp(const std::string& reason) {
  std::fprintf(stderr, "bench_round_trips: %s\n", reason.c_str());
  std::exit(1);
}

ChildProcess::ChildProcess(const std::vector<std::string>& command) : chunk_(kChunkSize) {
  int toChild[2];
  int fromChild[2];
  if (::pipe2(toChild, O_CLOEXEC) < 0 || ::pipe2(fromChild, O_CLOEXEC) < 0) giveUp("no pipes to be had");
  id_ = ::fork();
  if (id_ < 0) giveUp("no process to be had");
  if (id_ == 0) become(command, toChild[0], fromChild[1]);
  ::close(toChild[0]);
  ::close(fromChild[1]);
  input_ = toChild[1];
  output_ = fromChild[0];
  ::fcntl(input_, F_SETFL, O_NONBLOCK);
}

ChildProcess::~ChildProcess() {
  endInput();
  ::close(output_);
  ::kill(id_, SIGKILL);
  ::waitpid(id_, nullptr, 0);
}

void ChildProcess::endInput() {
  if (input_ >= 0) ::close(input_);
  input_ = -1;
}

void ChildProcess::exchange(std::string_view bytes, long replies) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(input_, bytes.data(), bytes.size());
    if (count < 0 && errno != EAGAIN) giveUp("the program no longer reads");
    if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
    if (bytes.empty()) break;
    pollfd ends[] = {{.fd = input_, .events = POLLOUT, .revents = 0},
                     {.fd = output_, .events = POLLIN, .revents = 0}};
    ::poll(ends, 2, -1);
    if (ends[1].revents != 0) replies -= readReplies();
  }
  while (replies > 0) replies -= readReplies();
}

long ChildProcess::readReplies() {
  const ssize_t count = ::read(output_, chunk_.data(), chunk_.size());
  if (count <= 0) giveUp("the program's output ended");
  long replies = 0;
  std::string_view rest(chunk_.data(), static_cast<std::size_t>(count));
  while (!rest.empty()) {
    const std::size_t lineEnd = rest.find('\n');
    const bool complete = lineEnd != std::string_view::npos;
    const std::string_view piece = rest.substr(0, complete ? lineEnd + 1 : rest.size());
    if (lineHead_.size() < kHeadSize) lineHead_ += piece.substr(0, kHeadSize - lineHead_.size());
    lineSize_ += piece.size();
    rest.remove_prefix(piece.size());
    if (!complete) break;
    if (isReply(lineHead_)) {
      ++replies;
      lastReplySize_ = lineSize_;
    }
    lineHead_.clear();
    lineSize_ = 0;
  }
  return replies;
}

bool ChildProcess::isReply(const std::string& head) const {
  if (head.starts_with(R"({"method")") || head.starts_with(R"({"jsonrpc":"2.0","method")")) return false;
  if (head.find(R"("error")") != std::string::npos || head.find(R"("isError")") != std::string::npos) {
    giveUp("was answered " + head);
  }
  return true;
}
