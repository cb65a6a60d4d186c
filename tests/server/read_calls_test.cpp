// Draining standard input: which reads are made and when lines are handled.

#include "server/mcp_server.h"
#include "server/messages.h"
#include "server/scripted_calls.h"
#include "server/stdio_transport.h"
#include "support/stdio_pipes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

using testing::ElementsAre;

namespace {

struct Drained {
  bool result = false;
  std::vector<std::string> calls;
  std::string replies;
  std::string diagnostics;
  std::string left;
  bool scriptIsOver = false;
};

Drained drained(std::vector<ScriptedCall> script, const std::string& buffered = "") {
  Drained drained;
  McpServer server;
  server.inputBuffer = buffered;
  const CapturedDescriptor diagnostics(2);
  const ScriptedCalls calls(std::move(script));
  drained.result = readAvailable(server);
  drained.calls = calls.record();
  drained.replies = calls.output();
  drained.diagnostics = diagnostics.text();
  drained.left = server.inputBuffer;
  drained.scriptIsOver = calls.isOver();
  return drained;
}

std::string read(std::size_t result) {
  return "read(0, 4096) = " + std::to_string(result);
}

std::string write(const std::string& reply) {
  return "write(1, " + std::to_string(reply.size()) + ")";
}

TEST(ReadAvailable, ReadsInChunksUntilNothingIsLeft) {
  const Drained result = drained({reads("abc"), reads("d"), readFails(EAGAIN)});
  EXPECT_TRUE(result.result);
  EXPECT_THAT(result.calls, ElementsAre(read(3), read(1), "read(0, 4096) = EAGAIN"));
  EXPECT_EQ(result.left, "abcd");
  EXPECT_EQ(result.diagnostics, "");
}

TEST(ReadAvailable, ReturnsTrueWhenNothingIsThere) {
  const Drained result = drained({readFails(EAGAIN)});
  EXPECT_TRUE(result.result);
  EXPECT_EQ(result.diagnostics, "");
}

TEST(ReadAvailable, HandlesAChunksLinesBeforeTheNextRead) {
  const std::string chunk = ping(1) + "\n" + ping(2) + "\n";
  const Drained result = drained({reads(chunk), reads(ping(3) + "\n"), readFails(EAGAIN)});
  EXPECT_THAT(result.calls, ElementsAre(read(chunk.size()), write(pong(1)), write(pong(2)),
                                        read(ping(3).size() + 1), write(pong(3)), "read(0, 4096) = EAGAIN"));
  EXPECT_EQ(result.replies, pong(1) + pong(2) + pong(3));
  EXPECT_EQ(result.left, "");
}

TEST(ReadAvailable, HandlesAMessageOfSeveralChunksWhenItsLineFeedArrives) {
  const std::string message = ping(1);
  const Drained result = drained({reads(message.substr(0, 5)), reads(message.substr(5, 7)),
                                  reads(message.substr(12)), reads("\n"), readFails(EAGAIN)});
  EXPECT_THAT(result.calls, ElementsAre(read(5), read(7), read(message.size() - 12), read(1), write(pong(1)),
                                        "read(0, 4096) = EAGAIN"));
  EXPECT_EQ(result.replies, pong(1));
}

TEST(ReadAvailable, AppendsToWhatWasBuffered) {
  const Drained result = drained({reads("\n"), readFails(EAGAIN)}, ping(1));
  EXPECT_EQ(result.replies, pong(1));
  EXPECT_EQ(result.left, "");
}

TEST(ReadAvailable, GivesTheSameRepliesForEveryPairOfCuts) {
  const std::string input = ping(1) + "\r\n\v\r\r\n\n" + ping(2) + "\n rest";
  const std::string replies = pong(1) + parseErrorLine("expected value, got (11)") + pong(2);
  for (std::size_t first = 1; first < input.size(); ++first) {
    for (std::size_t second = first + 1; second < input.size(); ++second) {
      const Drained result =
          drained({reads(input.substr(0, first)), reads(input.substr(first, second - first)),
                   reads(input.substr(second)), readFails(EAGAIN)});
      ASSERT_EQ(result.replies, replies) << "cut at " << first << " and " << second;
      ASSERT_EQ(result.left, " rest") << "cut at " << first << " and " << second;
    }
  }
}

TEST(ReadAvailable, TakesALineOfMegabytesIn4096ByteChunks) {
  const std::string method(3'000'000, 'm');
  const std::string input = R"({"id": 1, "method": ")" + method + "\"}\n" + ping(2) + "\n";
  std::vector<ScriptedCall> script;
  for (std::size_t at = 0; at < input.size(); at += 4096) script.push_back(reads(input.substr(at, 4096)));
  script.push_back(readFails(EAGAIN));
  const Drained result = drained(script);
  EXPECT_TRUE(result.scriptIsOver);
  EXPECT_EQ(result.replies, unknownMethodReply(1, method) + "\n" + pong(2));
}

TEST(ReadAvailable, ReturnsFalseAtTheEndOfInput) {
  const Drained result = drained({reads(ping(1) + "\n" + ping(2)), inputEnds()});
  EXPECT_FALSE(result.result);
  EXPECT_EQ(result.replies, pong(1));
  EXPECT_EQ(result.left, ping(2));
  EXPECT_EQ(result.diagnostics, "");
}

TEST(ReadAvailable, ReportsAnyOtherFailureAndReturnsFalse) {
  const std::pair<int, const char*> failures[] = {
      {EINTR, "read(stdin) error: Interrupted system call\n"},
      {EIO, "read(stdin) error: Input/output error\n"},
      {EBADF, "read(stdin) error: Bad file descriptor\n"},
      {EINVAL, "read(stdin) error: Invalid argument\n"},
  };
  for (const auto& [error, text] : failures) {
    const Drained result = drained({readFails(error)});
    EXPECT_FALSE(result.result) << text;
    EXPECT_EQ(result.diagnostics, text);
    EXPECT_EQ(result.calls.size(), 1U) << text;
    EXPECT_EQ(result.replies, "") << text;
  }
}

TEST(ReadAvailable, KeepsTheRepliesThatCameBeforeAFailure) {
  const Drained result = drained({reads(ping(1) + "\n" + ping(2)), readFails(EINTR)});
  EXPECT_FALSE(result.result);
  EXPECT_EQ(result.replies, pong(1));
  EXPECT_EQ(result.left, ping(2));
}

}  // namespace
