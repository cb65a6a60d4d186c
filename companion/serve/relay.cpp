#include "companion/serve/relay.h"

#include "companion/serve/client_line.h"
#include "companion/serve/client_outbox.h"
#include "companion/serve/request_queue.h"
#include "companion/session/host_watch.h"
#include "companion/session/pipe_io.h"
#include "companion/session/server_child.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <memory>
#include <optional>
#include <utility>

namespace {

/// After how many servers in a row that ended without taking a message that message is given up.
constexpr int kMaxIdleEnds = 3;

constexpr char kServerEnded[] =
    "The server ended before it answered this message. The next message goes to a new server.";
constexpr char kServerKeepsEnding[] = "The server ends whenever it is started; try \"orvane-mcp doctor\".";

/// Makes the signals that end the relay readable; they are blocked for good.
int openStopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&signals, signal);
  ::sigprocmask(SIG_BLOCK, &signals, nullptr);
  return ::signalfd(-1, &signals, SFD_CLOEXEC);
}

/// A client that does not read must not keep this program from hearing signals. A terminal is left alone:
/// it would stay non-blocking for the shell.
void makeOutputNonBlocking() {
  struct stat output {};
  if (::fstat(STDOUT_FILENO, &output) != 0 || !(S_ISFIFO(output.st_mode) || S_ISSOCK(output.st_mode))) return;
  ::fcntl(STDOUT_FILENO, F_SETFL, ::fcntl(STDOUT_FILENO, F_GETFL) | O_NONBLOCK);
}

class Relay {
 public:
  explicit Relay(const RelayOptions& options)
      : options_(options), hostWatch_(options.socketPath), stopSignals_(openStopSignals()) {}
  ~Relay() { ::close(stopSignals_); }
  Relay(const Relay&) = delete;
  Relay& operator=(const Relay&) = delete;

  bool startServer(std::string& error);
  void run();

 private:
  bool isFinished() const;
  bool prepareForNextLine();
  void startServerOrRefuse();
  void refuseOldest(const std::string& reason);
  bool waitForEvents();

  void readClient();
  void writeServer();
  void readServer();
  void writeClient();
  void serverEnded();

  enum Place { kClientInput, kClientOutput, kServerInput, kServerOutput, kStopSignals, kPlaces };

  const RelayOptions& options_;
  HostWatch hostWatch_;
  const int stopSignals_;
  std::unique_ptr<ServerChild> server_;
  int idleEnds_ = 0;             ///< servers in a row that ended without taking a message
  bool serverIsFull_ = false;    ///< its pipe took no more
  bool clientHasEnded_ = false;  ///< its input, that is
  bool clientIsGone_ = false;    ///< nobody reads the replies
  RequestQueue requests_;
  ClientOutbox replies_;
  std::array<pollfd, kPlaces> events_{};
  std::array<char, kChunkBytes> chunk_{};
};

bool Relay::startServer(std::string& error) {
  hostWatch_.serverStarts();
  std::unique_ptr<ServerChild> fresh =
      ServerChild::start(options_.server, ServerChild::Diagnostics::kInherited, error);
  if (!fresh) return false;
  server_ = std::move(fresh);
  serverIsFull_ = false;
  return true;
}

void Relay::run() {
  while (true) {
    if (!server_) startServerOrRefuse();
    writeServer();
    writeClient();
    if (isFinished() || !waitForEvents()) return;
    if (events_[kClientInput].revents != 0) readClient();
    if (events_[kServerInput].revents != 0) serverIsFull_ = false;
    if (events_[kServerOutput].revents != 0) readServer();
    if ((events_[kClientOutput].revents & (POLLERR | POLLHUP)) != 0) clientIsGone_ = true;
  }
}

/// A last line without its end is no message: the server would drop it too.
bool Relay::isFinished() const {
  return clientIsGone_ || (clientHasEnded_ && !requests_.hasLine() && replies_.passable().empty());
}

/// Waits until there is something to do. False when the relay is to stop.
bool Relay::waitForEvents() {
  // A place with nothing to do is left out altogether, for an end that cannot be acted on would be reported
  // again and again.
  const auto place = [](bool wanted, int descriptor, short event) {
    return pollfd{wanted ? descriptor : -1, event, 0};
  };
  const bool replying = !replies_.passable().empty();
  events_[kClientInput] = place(!clientHasEnded_ && requests_.hasRoom(), STDIN_FILENO, POLLIN);
  events_[kClientOutput] = pollfd{STDOUT_FILENO, static_cast<short>(replying ? POLLOUT : 0), 0};
  events_[kServerInput] = place(serverIsFull_, server_ ? server_->input() : -1, POLLOUT);
  events_[kServerOutput] = place(server_ && replies_.hasRoom(), server_ ? server_->output() : -1, POLLIN);
  events_[kStopSignals] = pollfd{stopSignals_, POLLIN, 0};
  while (::poll(events_.data(), events_.size(), -1) < 0)
    if (errno != EINTR) return false;
  return events_[kStopSignals].revents == 0;
}

void Relay::readClient() {
  const ssize_t count = ::read(STDIN_FILENO, chunk_.data(), chunk_.size());
  if (count > 0) {
    requests_.append({chunk_.data(), static_cast<std::size_t>(count)});
  } else if (count == 0 || !isRetry(errno)) {
    clientHasEnded_ = true;
  }
}

void Relay::writeServer() {
  while (server_ && !serverIsFull_) {
    const std::string_view bytes = requests_.unsent();
    if (bytes.empty() || (requests_.beginsLine() && !prepareForNextLine())) return;
    const ssize_t count = ::write(server_->input(), bytes.data(), bytes.size());
    if (count >= 0) {
      requests_.markSent(static_cast<std::size_t>(count));
    } else {
      serverIsFull_ = true;
      // A server that does not read is of no use, even if it should still be there; its end is seen on its
      // output, behind the replies that it still gave.
      if (!isRetry(errno)) server_->kill();
    }
  }
}

/// Whether the next line may go to the server; puts a fresh one in its place first if need be.
bool Relay::prepareForNextLine() {
  if (!options_.follow || !hostWatch_.freshServerIsDue()) return true;
  if (requests_.awaitsReply()) return false;
  const std::unique_ptr<ServerChild> old = std::move(server_);
  std::string error;
  if (!startServer(error)) refuseOldest(error);
  return server_ != nullptr;
}

void Relay::readServer() {
  const ssize_t count = ::read(server_->output(), chunk_.data(), chunk_.size());
  if (count > 0) {
    std::size_t replies = replies_.append({chunk_.data(), static_cast<std::size_t>(count)});
    if (replies > 0) idleEnds_ = 0;
    for (; replies > 0; --replies) requests_.markAnswered();
  } else if (count == 0 || !isRetry(errno)) {
    serverEnded();
  }
}

void Relay::writeClient() {
  while (true) {
    const std::string_view bytes = replies_.passable();
    if (bytes.empty()) return;
    const ssize_t count = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
    if (count < 0) {
      clientIsGone_ = !isRetry(errno);
      return;
    }
    replies_.markPassed(static_cast<std::size_t>(count));
  }
}

void Relay::serverEnded() {
  server_.reset();
  replies_.finishLine();
  if (const std::optional<std::string> lost = requests_.takeLost()) {
    replies_.appendLine(failureReply(*lost, kServerEnded));
    idleEnds_ = 0;
  } else {
    ++idleEnds_;
  }
}

/// Starts a server if there is work for it. Messages that none can be found for are answered here, as long as
/// the client takes the answers.
void Relay::startServerOrRefuse() {
  while (!server_ && requests_.hasLine() && replies_.hasRoom()) {
    std::string error;
    if (idleEnds_ >= kMaxIdleEnds) {
      refuseOldest(kServerKeepsEnding);
    } else if (!startServer(error)) {
      refuseOldest("The server cannot be started: " + error);
    }
  }
}

void Relay::refuseOldest(const std::string& reason) {
  idleEnds_ = 0;
  if (const std::optional<std::string> message = requests_.takeOldest())
    replies_.appendLine(failureReply(*message, reason));
}

}  // namespace

bool relay(const RelayOptions& options, std::string& error) {
  std::signal(SIGPIPE, SIG_IGN);
  makeOutputNonBlocking();
  Relay session(options);
  if (!session.startServer(error)) return false;
  session.run();
  return true;
}
