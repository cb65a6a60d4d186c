#include "companion/session/server_child.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

extern "C" {
#include <sys/pidfd.h>  // of glibc 2.36, which does not say itself that this is C
}

namespace {

/// How long a server may take to end after SIGTERM, in milliseconds. It keeps nothing that takes time to put
/// away.
constexpr int kEndWaitMs = 1000;

/// What a shell reports for a program that it cannot execute.
constexpr int kCannotExecute = 127;

/// Both ends close when they go, unless they were taken.
struct Pipe {
  int reading = -1;
  int writing = -1;

  bool open() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return false;
    reading = ends[0];
    writing = ends[1];
    return true;
  }
  ~Pipe() {
    if (reading >= 0) ::close(reading);
    if (writing >= 0) ::close(writing);
  }
};

int take(int& descriptor) {
  const int taken = descriptor;
  descriptor = -1;
  ::fcntl(taken, F_SETFL, ::fcntl(taken, F_GETFL) | O_NONBLOCK);
  return taken;
}

/// In the child, between fork and exec: only what is safe there.
[[noreturn]] void become(const char* program, pid_t parent, const int (&streams)[3], int failure) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  // The parent may have ended before the line above asked to be told.
  if (::getppid() != parent) ::_exit(kCannotExecute);

  for (int target = 0; target < 3; ++target)
    if (streams[target] >= 0) ::dup2(streams[target], target);
  // What this program blocks and ignores is its own affair; both would outlast exec.
  sigset_t none;
  sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  std::signal(SIGPIPE, SIG_DFL);
  // Ctrl-C at a terminal reaches both. It is meant for this program, which ends the server when it ends.
  std::signal(SIGINT, SIG_IGN);

  char name[] = "OrvaneMCPServer";
  char* arguments[] = {name, nullptr};
  ::execv(program, arguments);
  const int reason = errno;
  [[maybe_unused]] const ssize_t told = ::write(failure, &reason, sizeof reason);
  ::_exit(kCannotExecute);
}

/// Waits until the child has become the program. Returns 0, or why it could not.
int failureOf(int failurePipe) {
  int reason = 0;
  ssize_t count = 0;
  do {
    count = ::read(failurePipe, &reason, sizeof reason);
  } while (count < 0 && errno == EINTR);
  return count == sizeof reason ? reason : 0;
}

}  // namespace

std::unique_ptr<ServerChild> ServerChild::start(const std::string& program, Diagnostics diagnostics,
                                                std::string& error) {
  Pipe input;
  Pipe output;
  Pipe errors;
  Pipe failure;
  // Where the caller ignores SIGCHLD, as some leave it behind, the system itself would reap the server: its
  // status would be lost and its number given to another process.
  std::signal(SIGCHLD, SIG_DFL);
  const bool piped = diagnostics == Diagnostics::kPiped;
  const bool opened = input.open() && output.open() && failure.open() && (!piped || errors.open());
  const pid_t parent = ::getpid();
  const pid_t pid = opened ? ::fork() : -1;
  if (pid < 0) {
    error = std::string("cannot start a process: ") + std::strerror(errno);
    return nullptr;
  }
  if (pid == 0)
    become(program.c_str(), parent, {input.reading, output.writing, errors.writing}, failure.writing);

  ::close(failure.writing);
  failure.writing = -1;
  if (const int reason = failureOf(failure.reading); reason != 0) {
    ::waitpid(pid, nullptr, 0);
    error = "cannot execute " + program + ": " + std::strerror(reason);
    return nullptr;
  }
  std::unique_ptr<ServerChild> child(new ServerChild);
  child->pid_ = pid;
  child->input_ = take(input.writing);
  child->output_ = take(output.reading);
  if (piped) child->diagnostics_ = take(errors.reading);
  return child;
}

ServerChild::~ServerChild() {
  end();
  for (const int descriptor : {input_, output_, diagnostics_})
    if (descriptor >= 0) ::close(descriptor);
}

void ServerChild::closeDiagnostics() {
  ::close(diagnostics_);
  diagnostics_ = -1;
}

std::size_t ServerChild::unreadInput() const {
  int count = 0;
  return ::ioctl(input_, FIONREAD, &count) == 0 && count > 0 ? static_cast<std::size_t>(count) : 0;
}

void ServerChild::kill() const {
  if (!ended_) ::kill(pid_, SIGKILL);
}

int ServerChild::end() {
  if (ended_) return status_;
  pollfd process{::pidfd_open(pid_, 0), POLLIN, 0};
  ::kill(pid_, SIGTERM);
  if (process.fd < 0 || ::poll(&process, 1, kEndWaitMs) != 1) ::kill(pid_, SIGKILL);
  if (process.fd >= 0) ::close(process.fd);
  while (::waitpid(pid_, &status_, 0) < 0 && errno == EINTR) {
  }
  ended_ = true;
  return status_;
}
