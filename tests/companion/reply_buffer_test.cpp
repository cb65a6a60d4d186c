#include "reply_buffer.h"

#include <gtest/gtest.h>

namespace {

std::string pass(ReplyBuffer& buffer) {
  std::string passed(buffer.passable());
  buffer.markPassed(passed.size());
  return passed;
}

TEST(ReplyBuffer, CountsTheLinesThatBytesComplete) {
  ReplyBuffer buffer;
  EXPECT_EQ(buffer.append("a"), 0U);
  EXPECT_EQ(buffer.append("b\nc\n\nd"), 3U);
}

TEST(ReplyBuffer, HoldsALineBackUntilItIsComplete) {
  ReplyBuffer buffer;
  buffer.append("a\nb");
  EXPECT_EQ(pass(buffer), "a\n");
  EXPECT_EQ(pass(buffer), "");
  buffer.append("\n");
  EXPECT_EQ(pass(buffer), "b\n");
}

TEST(ReplyBuffer, PassesALargerLineAsItComes) {
  ReplyBuffer buffer;
  const std::string much(kRelayBufferBytes, 'x');
  buffer.append(much);
  EXPECT_FALSE(buffer.hasRoom());
  EXPECT_EQ(pass(buffer), much);
  EXPECT_TRUE(buffer.hasRoom());
  buffer.append("y");
  EXPECT_EQ(pass(buffer), "y");
  buffer.append("z\nnext");
  EXPECT_EQ(pass(buffer), "z\n");
  EXPECT_EQ(pass(buffer), "");
}

TEST(ReplyBuffer, WithdrawsAnUnfinishedLineThatNobodyHasSeen) {
  ReplyBuffer buffer;
  buffer.append("a\nb");
  buffer.finishLine();
  EXPECT_EQ(pass(buffer), "a\n");
  buffer.append("c\n");
  EXPECT_EQ(pass(buffer), "c\n");
}

TEST(ReplyBuffer, EndsAnUnfinishedLineThatTheClientHasInPart) {
  ReplyBuffer buffer;
  buffer.append(std::string(kRelayBufferBytes, 'x'));
  pass(buffer);
  buffer.append("y");
  buffer.finishLine();
  EXPECT_EQ(pass(buffer), "y\n");
}

TEST(ReplyBuffer, AddsNoLineEndWhenTheClientsLineIsCompleteInTheBuffer) {
  ReplyBuffer buffer;
  buffer.append("line\nrest");
  buffer.markPassed(2);
  buffer.finishLine();
  EXPECT_EQ(pass(buffer), "ne\n");
}

TEST(ReplyBuffer, PutsItsOwnLinesBehindTheServers) {
  ReplyBuffer buffer;
  buffer.append("a\n");
  buffer.appendLine("own");
  EXPECT_EQ(pass(buffer), "a\nown\n");
}

}  // namespace
