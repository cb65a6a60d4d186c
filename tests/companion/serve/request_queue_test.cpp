#include "companion/serve/request_queue.h"

#include <gtest/gtest.h>

namespace {

constexpr std::size_t kLimitBytes = 100;
constexpr char kPing[] = "{\"id\": 1, \"method\": \"ping\"}\n";

TEST(RequestQueue, TakesALineWhenItsLineFeedHasCome) {
  RequestQueue queue(kLimitBytes);
  queue.append("a\nb");
  EXPECT_EQ(queue.takeFront().line, "a\n");
  EXPECT_TRUE(queue.empty());
  queue.append("c\n\n");
  EXPECT_EQ(queue.takeFront().line, "bc\n");
  EXPECT_EQ(queue.takeFront().line, "\n");
  EXPECT_TRUE(queue.empty());
}

TEST(RequestQueue, KnowsTheKindOfEachLine) {
  RequestQueue queue(kLimitBytes);
  queue.append("\n[]\n{\"method\": \"notifications/cancelled\"}\n");
  EXPECT_EQ(queue.takeFront().kind, LineKind::kSilent);
  EXPECT_EQ(queue.takeFront().kind, LineKind::kRequest);
  EXPECT_EQ(queue.takeFront().kind, LineKind::kNotification);
}

TEST(RequestQueue, TakesPingsOutOfTheMiddle) {
  RequestQueue queue(kLimitBytes);
  queue.append(std::string("first\n") + kPing + "second\n" + kPing);
  EXPECT_EQ(queue.takePing()->line, kPing);
  EXPECT_EQ(queue.takePing()->line, kPing);
  EXPECT_EQ(queue.takePing(), std::nullopt);
  EXPECT_EQ(queue.takeFront().line, "first\n");
  EXPECT_EQ(queue.takeFront().line, "second\n");
}

TEST(RequestQueue, HasTheRoomOfAPingAgainThatWasTaken) {
  RequestQueue queue(std::string(kPing).size());
  queue.append(std::string("\n") + kPing);
  EXPECT_FALSE(queue.hasRoom());
  queue.takePing();
  EXPECT_TRUE(queue.hasRoom());
}

TEST(RequestQueue, ForgetsAPingThatWasTakenInItsTurn) {
  RequestQueue queue(kLimitBytes);
  queue.append(kPing);
  queue.takeFront();
  EXPECT_EQ(queue.takePing(), std::nullopt);
}

TEST(RequestQueue, HasRoomForOneLineOfAnyLengthAndNoMoreBehindIt) {
  RequestQueue queue(kLimitBytes);
  queue.append(std::string(3 * kLimitBytes, 'x'));
  EXPECT_TRUE(queue.hasRoom());
  queue.append("\n");
  EXPECT_FALSE(queue.hasRoom());
  queue.takeFront();
  EXPECT_TRUE(queue.hasRoom());
}

TEST(RequestQueue, CountsWhatHasComeOfTheNextLine) {
  RequestQueue queue(kLimitBytes);
  queue.append("a\n" + std::string(kLimitBytes - 3, 'x'));
  EXPECT_TRUE(queue.hasRoom());
  queue.append("x");
  EXPECT_FALSE(queue.hasRoom());
}

}  // namespace
