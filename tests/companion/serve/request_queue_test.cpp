#include "companion/serve/request_queue.h"

#include <gtest/gtest.h>

namespace {

constexpr char kSilent[] = "{\"method\": \"notifications/initialized\"}\n";

/// Sends the line that is next, whole.
std::string send(RequestQueue& queue) {
  std::string sent(queue.unsent());
  queue.markSent(sent.size());
  return sent;
}

TEST(RequestQueue, GivesOneLineAtATime) {
  RequestQueue queue;
  queue.append("a\nb\nc");
  EXPECT_EQ(send(queue), "a\n");
  EXPECT_EQ(send(queue), "b\n");
  EXPECT_EQ(send(queue), "c");
  EXPECT_EQ(send(queue), "");
}

TEST(RequestQueue, KnowsWhereALineBegins) {
  RequestQueue queue;
  EXPECT_TRUE(queue.beginsLine());
  queue.append("long");
  queue.markSent(2);
  EXPECT_FALSE(queue.beginsLine());
  EXPECT_EQ(send(queue), "ng");
  queue.append("er\nnext");
  EXPECT_FALSE(queue.beginsLine());
  EXPECT_EQ(send(queue), "er\n");
  EXPECT_TRUE(queue.beginsLine());
}

TEST(RequestQueue, AwaitsAReplyFromTheFirstByteSentToTheLastAnswer) {
  RequestQueue queue;
  queue.append("a\nb\n");
  EXPECT_FALSE(queue.awaitsReply());
  queue.markSent(1);
  EXPECT_TRUE(queue.awaitsReply());
  send(queue);
  send(queue);
  queue.markAnswered();
  EXPECT_TRUE(queue.awaitsReply());
  queue.markAnswered();
  EXPECT_FALSE(queue.awaitsReply());
  EXPECT_FALSE(queue.hasLine());
}

TEST(RequestQueue, DoesNotWaitForSilentLines) {
  RequestQueue queue;
  queue.append(std::string("\n") + kSilent);
  send(queue);
  EXPECT_EQ(send(queue), kSilent);
  EXPECT_FALSE(queue.awaitsReply());
  EXPECT_FALSE(queue.hasLine());
}

TEST(RequestQueue, SilentLinesBehindAMessageGoWithIt) {
  RequestQueue queue;
  queue.append(std::string("a\n") + kSilent + "b\n");
  for (int line = 0; line < 3; ++line) send(queue);
  queue.markAnswered();
  EXPECT_TRUE(queue.awaitsReply());
  queue.markAnswered();
  EXPECT_FALSE(queue.hasLine());
}

TEST(RequestQueue, LosesTheOldestUnansweredMessageAndSendsTheRestAgain) {
  RequestQueue queue;
  queue.append("a\nb\nc\nd");
  for (int line = 0; line < 4; ++line) send(queue);
  queue.markAnswered();
  EXPECT_EQ(queue.takeLost(), "b");
  EXPECT_FALSE(queue.awaitsReply());
  EXPECT_EQ(send(queue), "c\n");
  EXPECT_EQ(send(queue), "d");
}

TEST(RequestQueue, LosesNothingThatTheServerDidNotGetWhole) {
  RequestQueue queue;
  queue.append("a\nb\n");
  queue.markSent(1);
  EXPECT_EQ(queue.takeLost(), std::nullopt);
  EXPECT_EQ(send(queue), "a\n");
}

TEST(RequestQueue, TakesTheOldestLineWhetherSentOrNot) {
  RequestQueue queue;
  queue.append(std::string(kSilent) + "a\n");
  EXPECT_EQ(queue.takeOldest(), std::nullopt);
  EXPECT_EQ(queue.takeOldest(), "a");
  EXPECT_EQ(queue.takeOldest(), std::nullopt);
}

TEST(RequestQueue, IgnoresAnswersToNothing) {
  RequestQueue queue;
  queue.append("a\n");
  queue.markAnswered();
  EXPECT_EQ(send(queue), "a\n");
}

TEST(RequestQueue, HasRoomForOneLineOfAnyLengthAndNoMoreBehindIt) {
  RequestQueue queue;
  queue.append(std::string(3 * kRelayBufferBytes, 'x'));
  EXPECT_TRUE(queue.hasRoom());
  queue.append("\n");
  EXPECT_FALSE(queue.hasRoom());
  send(queue);
  EXPECT_FALSE(queue.hasRoom());
  queue.markAnswered();
  EXPECT_TRUE(queue.hasRoom());
}

}  // namespace
