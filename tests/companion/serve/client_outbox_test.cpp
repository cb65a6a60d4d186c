#include "companion/serve/client_outbox.h"

#include <gtest/gtest.h>

namespace {

std::string pass(ClientOutbox& buffer) {
  std::string passed(buffer.passable());
  buffer.markPassed(passed.size());
  return passed;
}

TEST(ClientOutbox, CountsTheLinesThatBytesComplete) {
  ClientOutbox buffer;
  EXPECT_EQ(buffer.append("a"), 0U);
  EXPECT_EQ(buffer.append("b\nc\n\nd"), 3U);
}

TEST(ClientOutbox, HoldsALineBackUntilItIsComplete) {
  ClientOutbox buffer;
  buffer.append("a\nb");
  EXPECT_EQ(pass(buffer), "a\n");
  EXPECT_EQ(pass(buffer), "");
  buffer.append("\n");
  EXPECT_EQ(pass(buffer), "b\n");
}

TEST(ClientOutbox, PassesALargerLineAsItComes) {
  ClientOutbox buffer;
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

TEST(ClientOutbox, WithdrawsAnUnfinishedLineThatNobodyHasSeen) {
  ClientOutbox buffer;
  buffer.append("a\nb");
  buffer.finishLine();
  EXPECT_EQ(pass(buffer), "a\n");
  buffer.append("c\n");
  EXPECT_EQ(pass(buffer), "c\n");
}

TEST(ClientOutbox, EndsAnUnfinishedLineThatTheClientHasInPart) {
  ClientOutbox buffer;
  buffer.append(std::string(kRelayBufferBytes, 'x'));
  pass(buffer);
  buffer.append("y");
  buffer.finishLine();
  EXPECT_EQ(pass(buffer), "y\n");
}

TEST(ClientOutbox, AddsNoLineEndWhenTheClientsLineIsCompleteInTheBuffer) {
  ClientOutbox buffer;
  buffer.append("line\nrest");
  buffer.markPassed(2);
  buffer.finishLine();
  EXPECT_EQ(pass(buffer), "ne\n");
}

TEST(ClientOutbox, PutsItsOwnLinesBehindTheServers) {
  ClientOutbox buffer;
  buffer.append("a\n");
  buffer.appendLine("own");
  EXPECT_EQ(pass(buffer), "a\nown\n");
}

}  // namespace
