// The server's real limits, one case of each kind: 30 seconds and then 5 for a reply to begin, 5 seconds for
// each pause within one. All cases, with short limits, are in tests/ipc/reply_limits_test.cpp.

#include "support/elapsed.h"
#include "support/host_replies.h"
#include "support/replies.h"
#include "support/server_with_host.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

using namespace std::chrono_literals;

/// What a loaded machine may add to a wait of the server's.
constexpr auto kSlack = 4s;

/// Waits before the host goes on: the wait itself is what is tested, and nothing announces its end.
void letPass(std::chrono::seconds seconds) {
  std::this_thread::sleep_for(seconds);
}

class LateReply : public ServerWithHost {};
class SlowReply : public ServerWithHost {};
class SurplusReply : public ServerWithHost {};

TEST_F(LateReply, IsGivenUpAfter35SecondsAndReadByTheNextRequest) {
  const Elapsed elapsed;
  call(1);
  EXPECT_EQ(server_.readLine(), textReply(1, ""));
  EXPECT_GE(elapsed.time(), 35s);
  EXPECT_LT(elapsed.time(), 35s + kSlack);
  host_.reply(success("late"));
  call(2);
  EXPECT_EQ(server_.readLine(), textReply(2, "late"));
  host_.reply(success("second"));
  call(3);
  EXPECT_EQ(server_.readLine(), textReply(3, "second"));
  EXPECT_EQ(server_.diagnostics(), "");
}

TEST_F(SlowReply, ThatBeginsAfter32SecondsIsStillRead) {
  call(1);
  letPass(32s);
  host_.reply(success("good"));
  EXPECT_EQ(server_.readLine(), textReply(1, "good"));
}

TEST_F(SlowReply, WithPausesBelowFiveSecondsIsReadHoweverLongItTakes) {
  call(1);
  const std::string reply = ScriptedHost::framed(success("good"));
  host_.send(reply.substr(0, 2));
  letPass(3s);
  host_.send(reply.substr(2, 2));
  letPass(3s);
  host_.send(reply.substr(4, 16));
  letPass(3s);
  host_.send(reply.substr(20));
  EXPECT_EQ(server_.readLine(), textReply(1, "good"));
}

TEST_F(SlowReply, WithAPauseOfFiveSecondsEndsThere) {
  const std::string reply = ScriptedHost::framed(success("good"));
  for (const std::size_t length : {2U, 10U}) {
    SCOPED_TRACE(length);
    call(1);
    const Elapsed elapsed;
    host_.send(reply.substr(0, length));
    EXPECT_EQ(server_.readLine(), textReply(1, ""));
    EXPECT_GE(elapsed.time(), 5s);
    EXPECT_LT(elapsed.time(), 5s + kSlack);
  }
}

TEST_F(SurplusReply, IsReadAfterThirtySecondsWhenTheHostSendsNothingNew) {
  call(1);
  host_.send(ScriptedHost::framed(success("good")) + ScriptedHost::framed(success("surplus")));
  EXPECT_EQ(server_.readLine(), textReply(1, "good"));
  const Elapsed elapsed;
  call(2);
  EXPECT_EQ(server_.readLine(), textReply(2, "surplus"));
  EXPECT_GE(elapsed.time(), 30s);
  EXPECT_LT(elapsed.time(), 30s + kSlack);
}

}  // namespace
