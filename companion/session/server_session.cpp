#include "companion/session/server_session.h"

#include "companion/session/pipe_io.h"

#include <QByteArray>
#include <QString>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>

namespace {

using Clock = std::chrono::steady_clock;

/// Milliseconds from now to `limit`, for poll.
int remainingMs(const std::optional<Clock::time_point>& limit) {
  if (!limit) return kNoLimit;
  const auto remaining = std::chrono::ceil<std::chrono::milliseconds>(*limit - Clock::now()).count();
  return remaining > 0 ? static_cast<int>(remaining) : 0;
}

/// Appends what can be read. False at the end of `descriptor`.
bool readInto(std::string& text, int descriptor) {
  char bytes[kChunkBytes];
  const ssize_t count = ::read(descriptor, bytes, sizeof bytes);
  if (count > 0) text.append(bytes, static_cast<std::size_t>(count));
  return count > 0 || (count < 0 && isRetry(errno));
}

/// Appends everything that can be read without waiting.
void drainInto(std::string& text, int descriptor) {
  char bytes[kChunkBytes];
  for (ssize_t count = ::read(descriptor, bytes, sizeof bytes); count > 0;
       count = ::read(descriptor, bytes, sizeof bytes))
    text.append(bytes, static_cast<std::size_t>(count));
}

/// Sends the beginning of `text` as far as the pipe takes it. A broken pipe takes everything: the end of the
/// server is seen on its output.
void writeFrom(std::string_view& text, int descriptor) {
  const ssize_t count = ::write(descriptor, text.data(), text.size());
  if (count >= 0) {
    text.remove_prefix(static_cast<std::size_t>(count));
  } else if (!isRetry(errno)) {
    text = {};
  }
}

/// The value of `line`. The server passes on what the host calls text, and that need not be UTF-8.
ServerSession::Json parseReply(std::string_view line) {
  ServerSession::Json reply = ServerSession::Json::parse(line, nullptr, false);
  if (!reply.is_discarded()) return reply;
  const QByteArray mended = QString::fromUtf8(line.data(), static_cast<qsizetype>(line.size())).toUtf8();
  return ServerSession::Json::parse(mended.begin(), mended.end(), nullptr, false);
}

}  // namespace

std::unique_ptr<ServerSession> ServerSession::start(const std::string& program,
                                                    ServerChild::Diagnostics diagnostics,
                                                    std::string& error) {
  std::signal(SIGPIPE, SIG_IGN);
  std::unique_ptr<ServerChild> child = ServerChild::start(program, diagnostics, error);
  if (!child) return nullptr;
  return std::unique_ptr<ServerSession>(new ServerSession(std::move(child)));
}

std::optional<ServerSession::Json> ServerSession::ask(const std::string& method, const Json& params,
                                                      int limitMs, std::string& error) {
  const Json request = {{"jsonrpc", "2.0"}, {"id", ++lastId_}, {"method", method}, {"params", params}};
  // What a person types need not be UTF-8.
  const std::string line = request.dump(-1, ' ', false, Json::error_handler_t::replace) + kLineEnd;
  if (!exchange(line, true, limitMs, error)) return std::nullopt;
  Json reply = parseReply(std::string_view(received_).substr(0, searched_));
  received_.erase(0, searched_ + 1);
  searched_ = 0;
  if (reply.is_object()) return reply;
  error = "the reply is not a JSON object";
  return std::nullopt;
}

bool ServerSession::hasEnded() const {
  pollfd output{child_->output(), 0, 0};
  return ::poll(&output, 1, 0) == 1;
}

void ServerSession::notify(const std::string& method) {
  std::string unused;
  exchange(Json{{"jsonrpc", "2.0"}, {"method", method}}.dump() + kLineEnd, false, kNoLimit, unused);
}

/// Whether a whole line has come; it ends at `searched_` then.
bool ServerSession::hasLine() {
  searched_ = std::min(received_.find(kLineEnd, searched_), received_.size());
  return searched_ < received_.size();
}

/// Sends `unsent` and, if a reply is wanted, reads until a line has come.
bool ServerSession::exchange(std::string_view unsent, bool wantsReply, int limitMs, std::string& error) {
  error.clear();
  std::optional<Clock::time_point> limit;
  if (limitMs != kNoLimit) limit = Clock::now() + std::chrono::milliseconds(limitMs);
  while (!unsent.empty() || (wantsReply && !hasLine())) {
    pollfd events[] = {{unsent.empty() ? -1 : child_->input(), POLLOUT, 0},
                       {child_->output(), POLLIN, 0},
                       {child_->diagnostics(), POLLIN, 0},
                       {interruption_, POLLIN, 0}};
    const int ready = ::poll(events, std::size(events), remainingMs(limit));
    if (ready < 0 && errno != EINTR) error = std::string("cannot wait: ") + std::strerror(errno);
    if (ready == 0) error = "no reply within " + std::to_string(limitMs / 1000) + " seconds";
    if (ready > 0 && events[3].revents != 0) error = kInterrupted;
    if (!error.empty()) return false;
    if (ready < 0) continue;
    if (events[0].revents != 0) writeFrom(unsent, child_->input());
    if (events[2].revents != 0 && !readInto(diagnostics_, child_->diagnostics())) child_->closeDiagnostics();
    if (events[1].revents != 0 && !readInto(received_, child_->output())) {
      error = howItEnded();
      return false;
    }
  }
  return true;
}

/// After its output has ended: what is known of why.
std::string ServerSession::howItEnded() {
  const int status = child_->end();
  if (child_->diagnostics() >= 0) drainInto(diagnostics_, child_->diagnostics());
  std::string text = "the server ended";
  if (WIFEXITED(status)) text += " with exit status " + std::to_string(WEXITSTATUS(status));
  if (WIFSIGNALED(status)) text += std::string(" by a signal (") + ::strsignal(WTERMSIG(status)) + ")";
  if (!diagnostics_.empty()) text += ": " + diagnostics_.substr(0, diagnostics_.find('\n'));
  return text;
}
