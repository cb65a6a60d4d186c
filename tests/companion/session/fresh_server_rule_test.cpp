#include "companion/session/fresh_server_rule.h"

#include <gtest/gtest.h>

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kAtOnce{1};
const SocketIdentity kSocket{.device = 1, .inode = 2, .seconds = 3, .nanoseconds = 4};
const SocketIdentity kNewSocket{.device = 1, .inode = 2, .seconds = 3, .nanoseconds = 5};

FreshServerRule started(const std::optional<SocketIdentity>& socket) {
  FreshServerRule rule;
  rule.serverStarted(socket);
  return rule;
}

TEST(FreshServerRule, KeepsAServerWhoseHostIsTheSame) {
  EXPECT_FALSE(started(kSocket).isDue({.socket = kSocket}));
  EXPECT_FALSE(started(std::nullopt).isDue({}));
}

TEST(FreshServerRule, ReplacesTheServerForANewSocketOnce) {
  FreshServerRule rule = started(kSocket);
  EXPECT_TRUE(rule.isDue({.socket = kNewSocket}));
  EXPECT_TRUE(started(std::nullopt).isDue({.socket = kSocket}));
  rule.serverStarted(kNewSocket);
  EXPECT_FALSE(rule.isDue({.socket = kNewSocket}));
}

TEST(FreshServerRule, KeepsTheServerWhenTheSocketHasOnlyVanished) {
  EXPECT_FALSE(started(kSocket).isDue({}));
}

TEST(FreshServerRule, LooksAtTheConnectionOnlyAfterAnEmptyText) {
  FreshServerRule rule = started(kSocket);
  EXPECT_FALSE(rule.asksForConnection());
  rule.serverAnswered(true, kAtOnce);
  EXPECT_TRUE(rule.asksForConnection());
  rule.serverAnswered(false, kAtOnce);
  EXPECT_FALSE(rule.asksForConnection());
}

TEST(FreshServerRule, ReplacesAServerThatAnswersWithEmptyTextsForWantOfAConnection) {
  FreshServerRule rule = started(kSocket);
  rule.serverAnswered(true, kAtOnce);
  EXPECT_TRUE(rule.isDue({.socket = kSocket, .serverIsConnected = false}));
  EXPECT_FALSE(rule.isDue({.socket = kSocket, .serverIsConnected = true}));
  EXPECT_FALSE(rule.isDue({.socket = std::nullopt, .serverIsConnected = false}));
}

TEST(FreshServerRule, ReplacesAServerThatGaveACallUp) {
  FreshServerRule rule = started(kSocket);
  rule.serverAnswered(true, kServerGivesUpAfterMs - milliseconds(1));
  EXPECT_FALSE(rule.isDue({.socket = kSocket}));
  rule.serverAnswered(true, kServerGivesUpAfterMs);
  EXPECT_TRUE(rule.isDue({.socket = kSocket}));
  EXPECT_TRUE(rule.isDue({}));
  rule.serverAnswered(false, kAtOnce);
  EXPECT_TRUE(rule.isDue({.socket = kSocket}));
  rule.serverStarted(kSocket);
  EXPECT_FALSE(rule.isDue({.socket = kSocket}));
}

TEST(FreshServerRule, KeepsTheServerOfAHostThatIsSlowAndAnswers) {
  FreshServerRule rule = started(kSocket);
  rule.serverAnswered(false, std::chrono::seconds(34));
  EXPECT_FALSE(rule.isDue({.socket = kSocket}));
}

}  // namespace
