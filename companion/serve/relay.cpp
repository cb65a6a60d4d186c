#include "companion/serve/relay.h"

#include "companion/serve/inherited_output.h"
#include "companion/serve/relay_logic.h"
#include "companion/session/host_watch.h"
#include "companion/session/pipe_io.h"
#include "companion/session/server_child.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <optional>

namespace {

/// Makes the signals that end the relay readable; they are blocked for good. A signal that the caller
/// ignores, as nohup does, stays ignored.
int openStopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    struct sigaction present {};
    ::sigaction(signal, nullptr, &present);
    if (present.sa_handler != SIG_IGN) sigaddset(&signals, signal);
  }
  ::sigprocmask(SIG_BLOCK, &signals, nullptr);
  return ::signalfd(-1, &signals, SFD_CLOEXEC);
}

RelayLogic::Time now() {
  return std::chrono::duration_cast<RelayLogic::Time>(std::chrono::steady_clock::now().time_since_epoch());
}

/// Carries out what RelayLogic decides and tells it what happens.
class Relay {
 public:
  explicit Relay(const RelayOptions& options)
      : options_(options),
        logic_({.follow = options.follow, .exact = options.exact}),
        stopSignals_(openStopSignals()) {}
  ~Relay() { ::close(stopSignals_); }
  Relay(const Relay&) = delete;
  Relay& operator=(const Relay&) = delete;

  bool startServer(std::string& error);
  bool run(std::string& error);

 private:
  void renewServer();
  bool wait(std::string& error);

  void readClient();
  bool writeClient();
  void readServer();
  bool writeServer();

  enum Place { kClientInput, kClientOutput, kServerInput, kServerOutput, kStopSignals, kPlaces };

  const RelayOptions& options_;
  RelayLogic logic_;
  const InheritedOutput clientOutput_{STDOUT_FILENO};
  const int stopSignals_;
  std::unique_ptr<ServerChild> server_;
  bool isStopped_ = false;   ///< by a signal
  std::string outputError_;  ///< why the replies cannot be written
  std::array<pollfd, kPlaces> events_{};
  std::array<char, kChunkBytes> chunk_{};
};

bool Relay::startServer(std::string& error) {
  server_.reset();
  // Looked at before the start: a socket that appears while the server starts counts as new, at worst once
  // too often.
  const std::optional<SocketIdentity> socket = identityOf(options_.socketPath);
  server_ = ServerChild::start(options_.server, ServerChild::Diagnostics::kInherited, error);
  if (server_) logic_.serverStarted(socket);
  return server_ != nullptr;
}

void Relay::renewServer() {
  std::string error;
  if (!startServer(error)) logic_.serverNotStarted(error);
}

bool Relay::run(std::string& error) {
  while (true) {
    switch (logic_.nextStep()) {
      case RelayLogic::Step::kEnd: error = outputError_; return error.empty();
      case RelayLogic::Step::kRenewServer: renewServer(); break;
      case RelayLogic::Step::kLookAtHost:
        logic_.hostSeen(lookAtHost(options_.socketPath, server_->pid(), logic_.asksForConnection()));
        break;
      case RelayLogic::Step::kNothing:
        if (writeServer() || writeClient()) break;
        if (!wait(error)) return false;
        if (isStopped_) return true;
        // The server's end before the client's words: a message must not go to a server that has ended.
        if (events_[kServerOutput].revents != 0) readServer();
        if (events_[kClientInput].revents != 0) readClient();
        if ((events_[kClientOutput].revents & (POLLERR | POLLHUP)) != 0) logic_.clientLeft();
    }
  }
}

/// Waits until there is something to do. False, with the reason in `error`, when that fails.
bool Relay::wait(std::string& error) {
  // A place with nothing to do is left out altogether, for an end that cannot be acted on would be reported
  // again and again.
  const auto place = [](bool wanted, int descriptor, short event) {
    return pollfd{wanted ? descriptor : -1, event, 0};
  };
  const short replying = logic_.toClient().empty() ? 0 : POLLOUT;
  events_[kClientInput] = place(logic_.readsClient(), STDIN_FILENO, POLLIN);
  events_[kClientOutput] = place(true, clientOutput_.descriptor(), replying);
  events_[kServerInput] = place(!logic_.toServer().empty(), server_ ? server_->input() : -1, POLLOUT);
  events_[kServerOutput] = place(logic_.readsServer(), server_ ? server_->output() : -1, POLLIN);
  events_[kStopSignals] = place(true, stopSignals_, POLLIN);
  while (::poll(events_.data(), events_.size(), -1) < 0) {
    if (errno == EINTR) continue;
    error = std::string("waiting for the client and the server fails: ") + std::strerror(errno);
    return false;
  }
  isStopped_ = events_[kStopSignals].revents != 0;
  return true;
}

void Relay::readClient() {
  const ssize_t count = ::read(STDIN_FILENO, chunk_.data(), chunk_.size());
  if (count > 0) {
    logic_.clientSent({chunk_.data(), static_cast<std::size_t>(count)});
  } else if (count == 0 || !isRetry(errno)) {
    logic_.clientEnded();
  }
}

/// Whether anything went out.
bool Relay::writeClient() {
  const std::string_view bytes = logic_.toClient();
  if (bytes.empty()) return false;
  const std::optional<std::size_t> count = clientOutput_.write(bytes);
  if (count) {
    logic_.clientTook(*count);
    return *count > 0;
  }
  if (errno != EPIPE && errno != ECONNRESET)
    outputError_ = std::string("cannot write the replies: ") + std::strerror(errno);
  logic_.clientLeft();
  return true;
}

void Relay::readServer() {
  const ssize_t count = ::read(server_->output(), chunk_.data(), chunk_.size());
  if (count > 0) {
    logic_.serverSent({chunk_.data(), static_cast<std::size_t>(count)}, now());
  } else if (count == 0 || !isRetry(errno)) {
    server_->kill();
    server_->end();
    logic_.serverEnded(server_->unreadInput());
    server_.reset();
  }
}

/// Whether anything went out.
bool Relay::writeServer() {
  const std::string_view bytes = logic_.toServer();
  if (bytes.empty()) return false;
  const ssize_t count = ::write(server_->input(), bytes.data(), bytes.size());
  if (count >= 0) {
    logic_.serverTook(static_cast<std::size_t>(count), now());
    return true;
  }
  if (isRetry(errno)) return false;
  // A server that does not read is of no use, even if it should still be there; its end is seen on its
  // output, behind the replies that it still gave.
  server_->kill();
  logic_.serverClosedInput();
  return true;
}

}  // namespace

bool relay(const RelayOptions& options, std::string& error) {
  std::signal(SIGPIPE, SIG_IGN);
  Relay session(options);
  return session.startServer(error) && session.run(error);
}
