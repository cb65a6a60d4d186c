// Writing a message, call by call.

#include "mcp/transport.h"
#include "server/mcp_server.h"
#include "server/scripted_calls.h"
#include "support/stdio_pipes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

using json11::Json;
using testing::ElementsAre;

namespace {

struct Sent {
  std::vector<std::string> calls;
  std::string output;
  std::string diagnostics;
};

Sent sent(const std::vector<Json>& messages, std::vector<ScriptedCall> script = {}) {
  Sent sent;
  McpServer server;
  const CapturedDescriptor diagnostics(2);
  const ScriptedCalls calls(std::move(script));
  for (const Json& message : messages) sendMessage(server, message);
  EXPECT_TRUE(calls.isOver());
  sent.calls = calls.record();
  sent.output = calls.output();
  sent.diagnostics = diagnostics.text();
  return sent;
}

// Ten bytes with the line feed: [1, 2, 3]
const Json kMessage = Json::array{1, 2, 3};
constexpr const char* kLine = "[1, 2, 3]\n";

TEST(SendMessage, WritesTheMessageAndItsLineFeedInOneCall) {
  const Sent result = sent({kMessage});
  EXPECT_THAT(result.calls, ElementsAre("write(1, 10)"));
  EXPECT_EQ(result.output, kLine);
  EXPECT_EQ(result.diagnostics, "");
}

TEST(SendMessage, GoesOnWhereAShortWriteStopped) {
  const Sent result = sent({kMessage}, {writes(3), writes(1), writes(6)});
  EXPECT_THAT(result.calls, ElementsAre("write(1, 10) = 3", "write(1, 7) = 1", "write(1, 6) = 6"));
  EXPECT_EQ(result.output, kLine);
}

TEST(SendMessage, WritesTheLineFeedAloneWhenOnlyItIsLeft) {
  const Sent result = sent({kMessage}, {writes(9), writes(1)});
  EXPECT_THAT(result.calls, ElementsAre("write(1, 10) = 9", "write(1, 1) = 1"));
  EXPECT_EQ(result.output, kLine);
}

TEST(SendMessage, TriesAgainAfterAWriteOfNothing) {
  const Sent result = sent({kMessage}, {writes(0), writes(0), writes(4), writes(0), writes(6)});
  EXPECT_THAT(result.calls, ElementsAre("write(1, 10) = 0", "write(1, 10) = 0", "write(1, 10) = 4",
                                        "write(1, 6) = 0", "write(1, 6) = 6"));
  EXPECT_EQ(result.output, kLine);
  EXPECT_EQ(result.diagnostics, "");
}

TEST(SendMessage, TriesAgainWhenItIsInterrupted) {
  const Sent result = sent({kMessage}, {writeFails(EINTR), writes(4), writeFails(EINTR), writes(6)});
  EXPECT_THAT(result.calls, ElementsAre("write(1, 10) = EINTR", "write(1, 10) = 4", "write(1, 6) = EINTR",
                                        "write(1, 6) = 6"));
  EXPECT_EQ(result.output, kLine);
  EXPECT_EQ(result.diagnostics, "");
}

TEST(SendMessage, AbandonsTheRestAfterAnyOtherFailure) {
  const std::pair<int, const char*> failures[] = {
      {EPIPE, "write(stdout) error: Broken pipe\n"},
      {EAGAIN, "write(stdout) error: Resource temporarily unavailable\n"},
      {ENOSPC, "write(stdout) error: No space left on device\n"},
      {EBADF, "write(stdout) error: Bad file descriptor\n"},
  };
  for (const auto& [error, text] : failures) {
    const Sent result = sent({kMessage}, {writes(4), writeFails(error)});
    EXPECT_EQ(result.calls.size(), 2U) << text;
    EXPECT_EQ(result.output, "[1, ") << text;
    EXPECT_EQ(result.diagnostics, text);
  }
}

TEST(SendMessage, WritesTheNextMessageNormallyAfterAFailure) {
  const Sent result = sent({kMessage, "next"}, {writes(4), writeFails(EPIPE)});
  EXPECT_EQ(result.output, "[1, \"next\"\n");
  EXPECT_EQ(result.diagnostics, "write(stdout) error: Broken pipe\n");
}

TEST(SendMessage, HoldsNoLineFeedBeforeItsEnd) {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
  const std::string output = sent({Json(Json::object{{bytes, bytes}})}).output;
  EXPECT_EQ(output.find('\n'), output.size() - 1);
}

TEST(SendMessage, AsksForAllOfALargeMessageAtOnce) {
  const std::string text(1'000'000, 'x');
  const Sent result = sent({text}, {writes(65536), writes(1'000'003 - 65536)});
  EXPECT_THAT(result.calls, ElementsAre("write(1, 1000003) = 65536", "write(1, 934467) = 934467"));
  EXPECT_EQ(result.output, "\"" + text + "\"\n");
}

}  // namespace
