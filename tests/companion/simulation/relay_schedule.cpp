#include "companion/simulation/relay_schedule.h"

#include "companion/serve/client_line.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace {

using std::chrono::milliseconds;

constexpr std::size_t kMostWildEvents = 150;
constexpr int kMostCalmEvents = 3000;

/// More decisions than that without anything happening in between would never end.
constexpr int kMostStepsInARow = 100;

constexpr char kNoStart[] = "no program";

// What the relay says in the server's place.
constexpr char kServerEnded[] =
    "The server ended before it answered this message. The next message goes to a new server.";
constexpr char kServerKeepsEnding[] = "The server ends whenever it is started; try \"orvane-mcp doctor\".";
constexpr char kServerCannotStart[] = "The server cannot be started: ";

}  // namespace

RelaySchedule::RelaySchedule(unsigned seed)
    : random_(seed),
      options_{.follow = !onceIn(random_, 8),
               .exact = onceIn(random_, 8),
               .bufferBytes = between(random_, 1, 500)},
      conversation_(random_),
      logic_(options_),
      deathIsOnceIn_(onceIn(random_, 2) ? 1000 : 10),
      startsFail_(onceIn(random_, 20)),
      livesAfterStart_(onceIn(random_, 10) ? between(random_, 0, 1) : 10) {
  for (const Message& message : conversation_.messages()) toBeSaid_ += message.line + '\n';
  if (onceIn(random_, 4)) toBeSaid_ += "the beginning of a line";
  if (onceIn(random_, 2)) host_.open(random_);
}

std::string RelaySchedule::run() {
  try {
    startServer();
    carryOut();
    for (std::size_t left = between(random_, 0, kMostWildEvents); left > 0 && !clientHasLeft_; --left) {
      anyEvent();
      carryOut();
    }
    startsFail_ = false;
    clientReads_ = true;
    for (int event = 0; logic_.nextStep() != RelayLogic::Step::kEnd; ++event) {
      if (event == kMostCalmEvents) throw std::string("the relay does not come to its end");
      calmEvent();
      carryOut();
    }
    checkEnd();
  } catch (const std::string& fault) {
    return fault;
  }
  return {};
}

// --- what happens
// ---------------------------------------------------------------------------------------------

void RelaySchedule::anyEvent() {
  switch (between(random_, 0, 11)) {
    case 0:
    case 1: clientSpeaks(); break;
    case 2:
    case 3: clientListens(); break;
    case 4:
    case 5: serverReads(); break;
    case 6:
    case 7: serverSpeaks(); break;
    case 8: timePasses(); break;
    case 9: hostDoesSomething(); break;
    case 10:
      if (onceIn(random_, 3)) clientReads_ = !clientReads_;
      if (server_ && server_->isAlive() && onceIn(random_, deathIsOnceIn_)) {
        note("the server dies");
        server_->die();
      }
      break;
    default:
      if (!onceIn(random_, 100)) return;
      note("the client leaves");
      logic_.clientLeft();
      clientHasLeft_ = true;
  }
  serverIsSeenToEnd();
}

void RelaySchedule::calmEvent() {
  const bool moved = static_cast<int>(clientSpeaks()) + static_cast<int>(clientListens()) +
                         static_cast<int>(serverReads()) + static_cast<int>(serverSpeaks()) +
                         static_cast<int>(serverIsSeenToEnd()) >
                     0;
  if (moved) return;
  timePasses();
  if (server_) server_->run(now_);
}

/// Does what the relay decides, as its poll loop does.
void RelaySchedule::carryOut() {
  for (int step = 0; logic_.nextStep() != RelayLogic::Step::kEnd; ++step) {
    if (step == kMostStepsInARow) throw std::string("the relay goes on without waiting");
    switch (logic_.nextStep()) {
      case RelayLogic::Step::kRenewServer: startServer(); continue;
      case RelayLogic::Step::kLookAtHost:
        seen_ = host_.socket;
        hasStartedSinceLook_ = false;
        logic_.hostSeen({.socket = host_.socket,
                         .serverIsConnected = !logic_.asksForConnection() || server_->holdsConnection()});
        continue;
      default: break;
    }
    break;
  }
  checkStanding();
}

bool RelaySchedule::clientSpeaks() {
  if (!logic_.readsClient()) return false;
  if (toBeSaid_.empty()) {
    note("the client's input ends");
    clientHasEnded_ = true;
    logic_.clientEnded();
    return true;
  }
  const std::size_t count = between(random_, 1, std::min<std::size_t>(toBeSaid_.size(), 400));
  const std::string bytes = toBeSaid_.substr(0, count);
  toBeSaid_.erase(0, count);
  log_ += "the client says " + bytes + '\n';
  for (const char byte : bytes) {
    if (byte != '\n') {
      said_ += byte;
    } else if (Message* const message = conversation_.find(std::exchange(said_, std::string()))) {
      message->isSent = true;
    }
  }
  logic_.clientSent(bytes);
  return true;
}

bool RelaySchedule::clientListens() {
  const std::string_view bytes = logic_.toClient();
  if (bytes.empty() || !clientReads_) return false;
  const std::string taken(bytes.substr(0, between(random_, 1, bytes.size())));
  logic_.clientTook(taken.size());
  for (const char byte : taken) {
    heard_ += byte;
    if (byte == '\n') clientGot(std::exchange(heard_, std::string()));
  }
  return true;
}

bool RelaySchedule::serverReads() {
  if (!server_) return false;
  server_->run(now_);
  const std::string_view bytes = logic_.toServer();
  if (bytes.empty()) return false;
  if (!server_->isAlive()) {
    note("the server has closed its input");
    logic_.serverClosedInput();
    if (!logic_.toServer().empty()) throw std::string("a server that reads no more is to be sent something");
    return true;
  }
  checkBegin();
  const std::size_t count = server_->take(bytes.substr(0, between(random_, 1, bytes.size())));
  log_ += "the server is sent " + std::string(bytes.substr(0, count)) + '\n';
  if (count > 0) logic_.serverTook(count, now_);
  server_->run(now_);
  return count > 0;
}

bool RelaySchedule::serverSpeaks() {
  if (!server_) return false;
  server_->run(now_);
  std::string& output = server_->output();
  if (output.empty() || !logic_.readsServer()) return false;
  const std::string bytes = output.substr(0, between(random_, 1, output.size()));
  output.erase(0, bytes.size());
  log_ += "the server says " + bytes + '\n';
  logic_.serverSent(bytes, now_);
  if (bytes.ends_with('\n')) socketWasAway_ = !host_.socket;
  return true;
}

bool RelaySchedule::serverIsSeenToEnd() {
  if (!server_ || server_->isAlive() || !server_->output().empty() || !logic_.readsServer()) return false;
  note("the server has ended");
  const std::size_t unread = server_->unread();
  server_.reset();
  logic_.serverEnded(unread);
  return true;
}

void RelaySchedule::hostDoesSomething() {
  switch (between(random_, 0, 5)) {
    case 0:
      note("a host opens");
      if (server_) server_->loseHost(now_);
      host_.open(random_);
      break;
    case 1:
      note("the host closes and takes its socket away");
      if (server_) server_->loseHost(now_);
      host_ = {};
      break;
    case 2:
      note("the host dies and leaves its socket behind");
      if (server_) server_->loseHost(now_);
      host_.listens = false;
      break;
    case 3:
      note("the host drops the connection");
      if (server_) server_->loseHost(now_);
      break;
    default: break;
  }
  socketWasAway_ = socketWasAway_ || !host_.socket;
}

void RelaySchedule::timePasses() {
  const std::optional<Time> answersAt = server_ ? server_->answersAt() : std::nullopt;
  if (answersAt && *answersAt > now_ && onceIn(random_, 2)) {
    now_ = *answersAt;
  } else {
    now_ += milliseconds(between(random_, 1, onceIn(random_, 4) ? 40000 : 100));
  }
}

void RelaySchedule::startServer() {
  serverIsClosed_ = false;
  server_.reset();
  hasStartedSinceLook_ = true;
  if (startsFail_ && onceIn(random_, 2)) {
    note("no server can be started");
    logic_.serverNotStarted(kNoStart);
    return;
  }
  note("a server is started");
  server_ = std::make_unique<SimulatedServer>(random_, conversation_, host_);
  socketWasAway_ = !host_.socket;
  if (between(random_, 0, 9) >= livesAfterStart_) server_->die();
  logic_.serverStarted(server_->socketAtStart());
}

// --- what must hold
// -------------------------------------------------------------------------------------------

/// Whether the relay owes the client an answer to `message`.
bool RelaySchedule::isAnswerExpected(const Message& message) const {
  return message.isSent && message.drawsReply() && (options_.exact || !message.isNotification());
}

/// Each message that expects a reply gets exactly one, in order (answers to pings apart), and that is the
/// server's own or an error.
void RelaySchedule::clientGot(std::string_view line) {
  log_ += "the client hears " + std::string(line);
  bool isFirst = true;
  for (Message& message : conversation_.messages()) {
    if (!isAnswerExpected(message) || message.answered > 0) continue;
    const std::string_view own = std::string_view(message.line);
    if (message.kind == Message::Kind::kPing && !options_.exact) {
      if (line != pingReply(own) + '\n') continue;
      ++message.answered;
      return;
    }
    if (!isFirst) continue;  // the oldest alone can be answered
    isFirst = false;
    const bool isServers = !message.reply.empty() && line == message.reply;
    const bool isLoss = line == failureReply(own, kServerEnded) + '\n';
    const bool isRefusal = line == failureReply(own, kServerKeepsEnding) + '\n' ||
                           line == failureReply(own, std::string(kServerCannotStart) + kNoStart) + '\n';
    if (!isServers && !isLoss && !isRefusal) continue;
    if (!isServers && !message.reply.empty()) throw "the server's reply is lost: " + message.reply;
    if (isLoss && message.begun == 0) throw "nobody has begun what is said to be lost: " + message.line;
    ++message.answered;
    return;
  }
  throw "the client gets what it does not expect: " + std::string(line);
}

bool RelaySchedule::hasUnanswered() const {
  return std::ranges::any_of(conversation_.messages(), [this](const Message& message) {
    return isAnswerExpected(message) && message.answered == 0;
  });
}

/// There is never work left and nothing to wait for, and no reply is broken off.
void RelaySchedule::checkStanding() const {
  if (logic_.nextStep() == RelayLogic::Step::kEnd) return;
  if (!heard_.empty() && !logic_.toClient().ends_with('\n')) throw std::string("a reply is broken off");
  if (!logic_.toClient().empty()) return;
  for (const Message& message : conversation_.messages())
    if (message.kind == Message::Kind::kPing && !options_.exact && message.isSent && message.answered == 0)
      throw std::string("a ping waits");
  const bool waitsForServer = !logic_.toServer().empty() || logic_.readsServer();
  if (hasUnanswered() && (!waitsForServer || !server_)) throw std::string("nothing is waited for");
  if (!hasUnanswered() && !logic_.readsClient() && !waitsForServer)
    throw std::string("nobody is heard any more");
}

/// The server that is about to be sent something is the right one.
void RelaySchedule::checkBegin() const {
  if (!options_.follow || server_->unread() > 0 || server_->answersAt()) return;
  if (server_->owesAnAnswer()) throw std::string("a call would get the answer of the one before");
  if (hasStartedSinceLook_) return;
  if (seen_ && seen_ != server_->socketAtStart())
    throw std::string("a server is used that does not know the new host");
  if (server_->knowsOfNoHost() && host_.socket && !socketWasAway_)
    throw std::string("a server is used that has lost the host");
}

void RelaySchedule::checkEnd() const {
  if (clientHasLeft_) return;
  if (hasUnanswered()) throw std::string("a message has not been answered");
  if (!toBeSaid_.empty() || !clientHasEnded_) throw std::string("the relay ends before the client");
}
