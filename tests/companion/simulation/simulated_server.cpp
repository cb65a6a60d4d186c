#include "companion/simulation/simulated_server.h"

#include <algorithm>
#include <utility>

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kReplyWait{35000};
constexpr milliseconds kPause{5000};

}  // namespace

void SimulatedHost::open(Random& random) {
  socket = SocketIdentity{.device = 1, .inode = random(), .seconds = 1, .nanoseconds = 0};
  listens = true;
}

SimulatedServer::SimulatedServer(Random& random, Conversation& conversation, const SimulatedHost& host)
    : random_(random),
      conversation_(conversation),
      capacity_(between(random, 1, 400)),
      socketAtStart_(host.socket),
      holdsConnection_(host.socket && host.listens && !onceIn(random, 10)),  // its queue may be full
      isConnected_(holdsConnection_) {}

std::size_t SimulatedServer::take(std::string_view bytes) {
  const std::size_t count = std::min(bytes.size(), capacity_ - std::min(capacity_, pipe_.size()));
  pipe_.append(bytes.substr(0, count));
  return count;
}

void SimulatedServer::run(Time now) {
  if (!isAlive_) return;
  if (present_ != nullptr && now >= answerAt_) answer();
  if (present_ != nullptr) return;  // it reads nothing while it is at a message
  std::size_t count = between(random_, 0, pipe_.size());
  while (count > 0 && present_ == nullptr) {
    const char byte = pipe_.front();
    pipe_.erase(0, 1);
    --count;
    if (byte == '\n') {
      begin(std::exchange(line_, std::string()), now);
    } else {
      line_ += byte;
    }
  }
}

void SimulatedServer::begin(std::string_view line, Time now) {
  Message* const message = conversation_.find(line);
  if (message == nullptr) return;
  if (++message->begun > 1) throw "a second server has begun " + message->line;
  if (!message->drawsReply()) return;
  present_ = message;
  answer_.clear();
  answerAt_ = now;
  if (message->isCall()) askHost(now);
}

/// How the call goes that it is at.
void SimulatedServer::askHost(Time now) {
  const std::string own =
      "answer to " + present_->number + std::string(onceIn(random_, 5) ? between(random_, 0, 600) : 0, 'x');
  if (owesAnAnswer_) {
    answer_ = "the answer of the call before";
  } else if (!isConnected_) {
    holdsConnection_ = false;
    knowsOfNoHost_ = true;
  } else {
    switch (between(random_, 0, 7)) {
      case 0: break;  // it rightly answers with an empty text
      case 1: answerAt_ = now + milliseconds(between(random_, 0, 34999)); break;  // the same, in its own time
      case 2:
        answer_ = own;
        answerAt_ = now + milliseconds(between(random_, 0, 34999));
        break;
      case 3:
        answerAt_ = now + kReplyWait;
        owesAnAnswer_ = true;
        break;
      case 4:
        answerAt_ = now + kPause;
        owesAnAnswer_ = true;
        break;
      default: answer_ = own;
    }
  }
}

void SimulatedServer::answer() {
  present_->reply = replyOf(*present_, answer_);
  output_ += present_->reply;
  present_ = nullptr;
}

void SimulatedServer::loseHost(Time now) {
  isConnected_ = false;
  if (present_ == nullptr || !present_->isCall() || !holdsConnection_) return;
  answer_.clear();
  answerAt_ = now;
  holdsConnection_ = false;
  knowsOfNoHost_ = true;
  owesAnAnswer_ = false;
}

/// What it has written last may be cut short.
void SimulatedServer::die() {
  isAlive_ = false;
  if (present_ == nullptr) return;
  std::string part = replyOf(*present_, answer_);
  part.resize(between(random_, 0, part.size() - 1));
  if (onceIn(random_, 2)) output_ += part;
  present_ = nullptr;
}
