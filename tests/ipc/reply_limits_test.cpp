// How long the channel waits, for what, and what becomes of replies that come in pieces or too late. Built
// with waits of a second and of half a second; the real ones are tested in tests/app/slow_host_test.cpp.

#include "ipc/ipc_client.h"
#include "support/elapsed.h"
#include "support/host_replies.h"
#include "support/scripted_host.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <ostream>
#include <thread>

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

constexpr milliseconds kReplyWait(kReplyWaitMs);
constexpr milliseconds kReadWait(kReadWaitMs);
/// What a loaded machine may add to a wait of the channel's. Less than the other wait, so that one taken for
/// the other, or taken twice, shows.
constexpr milliseconds kSlack = 400ms;
/// A pause that keeps the shorter limit on a loaded machine too.
constexpr milliseconds kShortPause = 100ms;

struct Answer {
  std::string text;
  std::string error;
  milliseconds taken;
};

class ReplyLimits : public testing::Test {
 protected:
  ReplyLimits() : host_((qputenv("TMPDIR", folder_.path().c_str()), folder_.socketPath())) {
    client_.emplace();
    host_.accept();
  }

  Answer ask() {
    QString error;
    const Elapsed elapsed;
    const std::string text = client_->request("s", error).toStdString();
    return {.text = text, .error = error.toStdString(), .taken = elapsed.time()};
  }

  /// Asks; beside it, the host takes the request and goes on with `hostPart`.
  Answer askWhile(const std::function<void()>& hostPart) {
    std::thread thread([&] {
      host_.readLine();
      hostPart();
    });
    const Answer answer = ask();
    thread.join();
    return answer;
  }

  const TemporaryFolder folder_;
  ScriptedHost host_;
  std::optional<IPCClient> client_;
};

void expectEmptyAfter(const Answer& answer, milliseconds wait) {
  EXPECT_EQ(answer.text, "");
  EXPECT_EQ(answer.error, "");
  EXPECT_GE(answer.taken, wait);
  EXPECT_LT(answer.taken, wait + kSlack);
}

TEST_F(ReplyLimits, GiveUpASilentHostAfterBothWaits) {
  expectEmptyAfter(ask(), kReplyWait + kReadWait);
}

TEST_F(ReplyLimits, LeaveALateReplyToTheNextRequest) {
  EXPECT_EQ(ask().text, "");
  host_.reply(success("late"));  // only now, after the request has been given up
  EXPECT_EQ(ask().text, "late");
  host_.reply(success("second"));
  EXPECT_EQ(ask().text, "second");
}

TEST_F(ReplyLimits, TakeAReplyThatBeginsInTheSecondWait) {
  const Answer answer = askWhile([this] {
    std::this_thread::sleep_for(kReplyWait + kShortPause);
    host_.reply(success("good"));
  });
  EXPECT_EQ(answer.text, "good");
}

TEST_F(ReplyLimits, EndWithAPromptReplyAtOnce) {
  const Answer answer = askWhile([this] { host_.reply(success("good")); });
  EXPECT_EQ(answer.text, "good");
  EXPECT_LT(answer.taken, kSlack);
}

TEST_F(ReplyLimits, EndAReplyAtAPauseInsideItsLength) {
  for (const std::size_t length : {1U, 2U, 3U}) {
    SCOPED_TRACE(length);
    // Taken for all of it, these bytes would announce a body, and a second pause.
    const Answer answer =
        askWhile([&] { host_.send(ScriptedHost::lengthField(0x01010101).substr(0, length)); });
    expectEmptyAfter(answer, kReadWait);
    // What came before the pause is lost: the next reply is in step.
    EXPECT_EQ(askWhile([this] { host_.reply(success("next")); }).text, "next");
  }
}

TEST_F(ReplyLimits, EndAReplyAtAPauseBehindItsLength) {
  expectEmptyAfter(askWhile([this] { host_.send(ScriptedHost::lengthField(4)); }), kReadWait);
}

TEST_F(ReplyLimits, EndAReplyAtAPauseInsideItsBody) {
  const std::string reply = ScriptedHost::framed(success("good"));
  expectEmptyAfter(askWhile([&] { host_.send(reply.substr(0, reply.size() - 1)); }), kReadWait);
  // What comes after the pause is the next reply's beginning.
  host_.send("}");
  host_.send(ScriptedHost::lengthField(0x00102030).substr(0, 3));
  expectEmptyAfter(ask(), kReadWait);
}

TEST_F(ReplyLimits, CountEachPauseOfAReplyByItself) {
  const std::string reply = ScriptedHost::framed(success("good"));
  ASSERT_GT(kShortPause * reply.size(), kReplyWait + kReadWait);
  const Answer answer = askWhile([&] {
    for (const char byte : reply) {
      host_.send(std::string_view(&byte, 1));
      std::this_thread::sleep_for(kShortPause);
    }
  });
  EXPECT_EQ(answer.text, "good");
}

TEST_F(ReplyLimits, AreNotShortenedByWhatIsQueuedAlready) {
  const Answer first = askWhile(
      [this] { host_.send(ScriptedHost::framed(success("1")) + ScriptedHost::framed(success("2"))); });
  EXPECT_EQ(first.text, "1");
  const Answer second = ask();
  EXPECT_EQ(second.text, "2");
  EXPECT_GE(second.taken, kReplyWait);
  EXPECT_LT(second.taken, kReplyWait + kSlack);
}

TEST_F(ReplyLimits, LetBytesBehindAReplyBeTheNextOnesLength) {
  const std::string next = ScriptedHost::framed(success("2"));
  const Answer first = askWhile([&] { host_.send(ScriptedHost::framed(success("1")) + next.substr(0, 3)); });
  EXPECT_EQ(first.text, "1");
  EXPECT_EQ(askWhile([&] { host_.send(next.substr(3)); }).text, "2");
}

}  // namespace
