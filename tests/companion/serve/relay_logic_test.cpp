// What the simulation cannot tell: how much is kept, and lines that nobody asked for.

#include "companion/serve/relay_logic.h"

#include <gtest/gtest.h>

namespace {

using Step = RelayLogic::Step;

constexpr RelayLogic::Time kNow{0};
constexpr char kPing[] = "{\"id\": 1, \"method\": \"ping\"}\n";
constexpr char kPingReply[] = "{\"id\": 1, \"jsonrpc\": \"2.0\", \"result\": {}}\n";

/// Passes everything on that is for the client.
std::string takeAll(RelayLogic& logic) {
  std::string all;
  while (!logic.toClient().empty()) {
    all += logic.toClient();
    logic.clientTook(logic.toClient().size());
  }
  return all;
}

/// Lets the server take the line that is next.
std::string sendLine(RelayLogic& logic) {
  if (logic.nextStep() == Step::kLookAtHost) logic.hostSeen({});
  const std::string line(logic.toServer());
  logic.serverTook(line.size(), kNow);
  return line;
}

TEST(RelayLogic, KeepsNoMoreAnswersToPingsThanItHasRoomFor) {
  RelayLogic logic({.bufferBytes = 1000});
  logic.serverStarted(std::nullopt);
  std::size_t said = 0;
  for (; logic.readsClient() && said < 1000; ++said) logic.clientSent(kPing);
  EXPECT_LT(said, 100U);
  std::string expected;
  for (std::size_t ping = 0; ping < said; ++ping) expected += kPingReply;
  EXPECT_EQ(takeAll(logic), expected);
  EXPECT_TRUE(logic.readsClient());
}

TEST(RelayLogic, BeginsNothingWhileItsAnswerWouldFindNoRoom) {
  RelayLogic logic({.bufferBytes = 10});
  logic.serverStarted(std::nullopt);
  logic.clientSent("a\nb\n");
  EXPECT_EQ(sendLine(logic), "a\n");
  logic.serverSent("a long answer\n", kNow);
  EXPECT_EQ(logic.nextStep(), Step::kNothing);
  EXPECT_EQ(logic.toServer(), "");
  EXPECT_FALSE(logic.readsServer());
  EXPECT_EQ(takeAll(logic), "a long answer\n");
  EXPECT_EQ(sendLine(logic), "b\n");
}

TEST(RelayLogic, PassesALineOnThatNobodyAskedForAndCountsItForNoAnswer) {
  RelayLogic logic({});
  logic.serverStarted(std::nullopt);
  logic.serverSent("unasked\n", kNow);
  logic.clientSent("a\n");
  EXPECT_EQ(takeAll(logic), "unasked\n");
  EXPECT_EQ(sendLine(logic), "a\n");
  logic.clientEnded();
  EXPECT_EQ(logic.nextStep(), Step::kNothing);
  logic.serverSent("answer\n", kNow);
  EXPECT_EQ(takeAll(logic), "answer\n");
  EXPECT_EQ(logic.nextStep(), Step::kEnd);
}

TEST(RelayLogic, GivesUpServersThatTalkAndEnd) {
  RelayLogic logic({});
  logic.clientSent("a\n");
  int servers = 0;
  for (; logic.nextStep() == Step::kRenewServer && servers < 10; ++servers) {
    logic.serverStarted(std::nullopt);
    logic.serverSent("unasked\n", kNow);
    logic.serverTook(1, kNow);
    logic.serverEnded(1);
  }
  EXPECT_EQ(servers, 3);
  EXPECT_EQ(takeAll(logic),
            "unasked\nunasked\nunasked\n{\"error\": {\"code\": -32000, \"message\": \"The server ends "
            "whenever it is "
            "started; try \\\"orvane-mcp doctor\\\".\"}, \"id\": null, \"jsonrpc\": \"2.0\"}\n");
}

}  // namespace
