#include "companion/serve/relay_logic.h"

#include <utility>

namespace {

/// After how many servers in a row that never answered anything a message is given up.
constexpr int kMaxMutedServers = 3;

constexpr char kServerEnded[] =
    "The server ended before it answered this message. The next message goes to a new server.";
constexpr char kServerKeepsEnding[] = "The server ends whenever it is started; try \"orvane-mcp doctor\".";
constexpr char kServerCannotStart[] = "The server cannot be started: ";

std::string_view withoutLineEnd(std::string_view line) {
  return line.substr(0, line.size() - 1);
}

}  // namespace

RelayLogic::RelayLogic(const Options& options)
    : options_(options), queue_(options.bufferBytes), outbox_(options.bufferBytes) {}

RelayLogic::Step RelayLogic::nextStep() const {
  if (clientHasLeft_) return Step::kEnd;
  // A last line without its end is no message: the server would drop it too.
  if (clientHasEnded_ && queue_.empty() && outbox_.empty()) return Step::kEnd;
  // Nothing is begun while its answer would find no room.
  const bool atRest = !awaitsReply_ && sent_ == 0;
  if (!atRest || queue_.empty() || !outbox_.hasRoom()) return Step::kNothing;
  if (!hasServer_ || isDue_) return Step::kRenewServer;
  if (mayBegin_) return Step::kNothing;
  return Step::kLookAtHost;
}

std::string_view RelayLogic::toServer() const {
  if (!mayBegin() || awaitsReply_ || queue_.empty()) return {};
  return std::string_view(queue_.front().line).substr(sent_);
}

void RelayLogic::clientSent(std::string_view bytes) {
  queue_.append(bytes);
  answerPings();
}

void RelayLogic::clientEnded() {
  clientHasEnded_ = true;
}

void RelayLogic::clientTook(std::size_t count) {
  outbox_.markSent(count);
  answerPings();
}

void RelayLogic::clientLeft() {
  clientHasLeft_ = true;
}

/// At once, also while a call waits.
void RelayLogic::answerPings() {
  while (!options_.exact && outbox_.hasRoom()) {
    const std::optional<Request> ping = queue_.takePing();
    if (!ping) return;
    outbox_.push(pingReply(withoutLineEnd(ping->line)) + kLineEnd);
  }
}

void RelayLogic::serverStarted(const std::optional<SocketIdentity>& socket) {
  forgetServer();
  hasServer_ = true;
  freshServerRule_.serverStarted(socket);
  mayBegin_ = !queue_.empty();
}

void RelayLogic::serverNotStarted(const std::string& reason) {
  forgetServer();
  if (!queue_.empty()) failFront(kServerCannotStart + reason);
}

void RelayLogic::serverTook(std::size_t count, Time now) {
  sent_ += count;
  if (sent_ < queue_.front().line.size()) return;
  if (queue_.front().kind == LineKind::kSilent) {
    finishFront();
  } else {
    awaitsReply_ = true;
    sentAt_ = now;
  }
}

void RelayLogic::serverClosedInput() {
  serverIsDeaf_ = true;
}

void RelayLogic::serverSent(std::string_view bytes, Time now) {
  replies_.append(bytes, [this, now](std::string reply) { take(std::move(reply), now); });
}

void RelayLogic::take(std::string reply, Time now) {
  bool isWanted = true;
  if (awaitsReply_) {
    serverAnswered_ = true;
    mutedServers_ = 0;
    freshServerRule_.serverAnswered(isEmptyText(withoutLineEnd(reply)), now - sentAt_);
    isWanted = options_.exact || queue_.front().kind != LineKind::kNotification;
    finishFront();
  }
  if (isWanted) outbox_.push(std::move(reply));
}

void RelayLogic::serverEnded(std::size_t unread) {
  if (!serverAnswered_) ++mutedServers_;
  // Lines end with the byte that lets the server begin them.
  const bool mayHaveBegun = awaitsReply_ && unread == 0;
  const bool wasItsTurn = mayBegin_;
  forgetServer();
  const bool isHopeless = mutedServers_ >= kMaxMutedServers;
  if (mayHaveBegun || (wasItsTurn && isHopeless)) failFront(isHopeless ? kServerKeepsEnding : kServerEnded);
}

void RelayLogic::hostSeen(const HostSight& sight) {
  isDue_ = options_.follow && freshServerRule_.isDue(sight);
  mayBegin_ = !isDue_;
}

/// The front has been dealt with, and the host is looked at again before the next.
void RelayLogic::finishFront() {
  queue_.takeFront();
  mayBegin_ = false;
  sent_ = 0;
  awaitsReply_ = false;
}

/// Answers the front in the server's place, if it expects an answer.
void RelayLogic::failFront(std::string_view reason) {
  const Request& front = queue_.front();
  const bool isWanted = front.kind == LineKind::kRequest || front.kind == LineKind::kPing ||
                        (options_.exact && front.kind == LineKind::kNotification);
  if (isWanted) outbox_.push(failureReply(withoutLineEnd(front.line), reason) + kLineEnd);
  finishFront();
}

void RelayLogic::forgetServer() {
  hasServer_ = false;
  serverIsDeaf_ = false;
  serverAnswered_ = false;
  mayBegin_ = false;
  isDue_ = false;
  sent_ = 0;
  awaitsReply_ = false;
  replies_.dropUnfinished();
}
