#include "companion/serve/client_outbox.h"

#include <gtest/gtest.h>

namespace {

constexpr std::size_t kLimitBytes = 10;

TEST(ClientOutbox, GivesItsLinesInOrderPieceByPiece) {
  ClientOutbox outbox(kLimitBytes);
  EXPECT_EQ(outbox.unsent(), "");
  outbox.push("one\n");
  outbox.push("two\n");
  EXPECT_EQ(outbox.unsent(), "one\n");
  outbox.markSent(1);
  EXPECT_EQ(outbox.unsent(), "ne\n");
  outbox.markSent(3);
  EXPECT_EQ(outbox.unsent(), "two\n");
  outbox.markSent(4);
  EXPECT_TRUE(outbox.empty());
}

TEST(ClientOutbox, TakesNothingForSentThatWasNot) {
  ClientOutbox outbox(kLimitBytes);
  outbox.markSent(0);
  outbox.push("one\n");
  outbox.markSent(0);
  EXPECT_EQ(outbox.unsent(), "one\n");
}

TEST(ClientOutbox, HasRoomUntilTheLimitAndAgainWhenPartHasBeenSent) {
  ClientOutbox outbox(kLimitBytes);
  outbox.push(std::string(kLimitBytes - 1, 'x'));
  EXPECT_TRUE(outbox.hasRoom());
  outbox.push("\n");
  EXPECT_FALSE(outbox.hasRoom());
  outbox.markSent(1);
  EXPECT_TRUE(outbox.hasRoom());
}

}  // namespace
