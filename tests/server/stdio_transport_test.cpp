#include "server/stdio_transport.h"

#include "mcp/json_rpc.h"
#include "server/scripted_descriptors.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <functional>

namespace {

using json11::Json;
using Lines = std::vector<std::string>;

std::string ping(const std::string& id) {
  return R"({"id":)" + id + R"(,"method":"ping"})";
}

std::string reply(const std::string& id) {
  return R"({"error": {"code": -32601, "data": "ping", "message": "Method not found"}, "id": )" + id +
         R"(, "jsonrpc": "2.0"})"
         "\n";
}

/// What `text` draws when it arrives in the pieces given.
std::string repliesTo(const std::vector<std::string>& pieces) {
  ScriptedDescriptors descriptors;
  for (const std::string& piece : pieces) descriptors.readGives(piece);
  McpServer server;
  EXPECT_FALSE(readAvailable(server));
  return descriptors.written();
}

std::string standardErrorOf(const std::function<void()>& action) {
  testing::internal::CaptureStderr();
  action();
  return testing::internal::GetCapturedStderr();
}

// --- readAvailable ---

TEST(ReadAvailable, Reads4096BytesAtATimeUntilThereIsNoMore) {
  ScriptedDescriptors descriptors;
  descriptors.readGives("abc");
  descriptors.readGives("def");
  descriptors.readFails(EAGAIN);
  McpServer server;
  EXPECT_TRUE(readAvailable(server));
  EXPECT_EQ(server.inputBuffer, "abcdef");
  EXPECT_EQ(descriptors.calls(), (Lines{"read 4096", "read 4096", "read 4096"}));
}

TEST(ReadAvailable, HandlesTheLinesOfAChunkBeforeItReadsTheNext) {
  ScriptedDescriptors descriptors;
  descriptors.readGives(ping("1") + "\n" + ping("2") + "\n" + ping("3").substr(0, 5));
  descriptors.readGives(ping("3").substr(5) + "\n");
  descriptors.readFails(EAGAIN);
  McpServer server;
  EXPECT_TRUE(readAvailable(server));
  const std::string write = "write " + std::to_string(reply("1").size());
  EXPECT_EQ(descriptors.calls(), (Lines{"read 4096", write, write, "read 4096", write, "read 4096"}));
  EXPECT_EQ(descriptors.written(), reply("1") + reply("2") + reply("3"));
  EXPECT_EQ(server.inputBuffer, "");
}

TEST(ReadAvailable, EndsAtTheEndOfInputAndDropsAnUnfinishedLine) {
  EXPECT_EQ(repliesTo({ping("1") + "\n" + ping("2")}), reply("1"));
}

TEST(ReadAvailable, EndsAndReportsWhenAReadFails) {
  for (const int error : {EINTR, EIO, EISDIR}) {
    ScriptedDescriptors descriptors;
    descriptors.readFails(error);
    McpServer server;
    bool goesOn = true;
    EXPECT_EQ(standardErrorOf([&] { goesOn = readAvailable(server); }),
              std::string("read(stdin) error: ") + std::strerror(error) + "\n");
    EXPECT_FALSE(goesOn);
  }
}

// --- processLines ---

TEST(ProcessLines, DropsOneCarriageReturnBeforeTheLineFeed) {
  EXPECT_EQ(repliesTo({ping("1") + "\r\n"}), reply("1"));
  EXPECT_EQ(repliesTo({ping("1") + "\r\r\n"}), reply("1")) << "the other is white space to the parser";
  EXPECT_EQ(
      repliesTo({"{\"a\":\r\n"}),
      R"({"error": {"code": -32700, "data": "unexpected end of input", "message": "Parse error"}, "id": null, )"
      R"("jsonrpc": "2.0"})"
      "\n");
}

TEST(ProcessLines, SkipsBlankLinesInSilence) {
  EXPECT_EQ(repliesTo({"\n\r\n \n\t\n \t \r\r\n\r\r\r\n"}), "");
}

TEST(ProcessLines, TakesVerticalTabsAndFormFeedsForText) {
  for (const char* const text : {"\v\n", "\f\n"}) {
    const std::string code = text[0] == '\v' ? "(11)" : "(12)";
    EXPECT_EQ(repliesTo({text}), R"({"error": {"code": -32700, "data": "expected value, got )" + code +
                                     R"(", "message": "Parse error"}, "id": null, "jsonrpc": "2.0"})" + "\n");
  }
}

TEST(ProcessLines, LeavesAnUnfinishedLineInTheBuffer) {
  ScriptedDescriptors descriptors;
  McpServer server;
  server.inputBuffer = "\n" + ping("1") + "\n{\"id\"";
  processLines(server);
  EXPECT_EQ(server.inputBuffer, "{\"id\"");
  EXPECT_EQ(descriptors.written(), reply("1"));
  processLines(server);
  EXPECT_EQ(server.inputBuffer, "{\"id\"");
}

/// The reply to a line that is no JSON.
std::string parseErrorReply(const std::string& data) {
  return R"({"error": {"code": -32700, "data": ")" + data +
         R"(", "message": "Parse error"}, "id": null, "jsonrpc": "2.0"})" + "\n";
}

TEST(ProcessLines, HandsZeroBytesOn) {
  EXPECT_EQ(repliesTo({std::string("\0\n", 2)}), parseErrorReply("expected value, got (0)"));
}

TEST(ProcessLines, GivesTheSameRepliesForEverySplitOfTheInput) {
  const std::string input = ping("1") + "\r\n\n" + ping("\"é\"") + "\n[1]\n" + ping("3") + "\n";
  const std::string expected = repliesTo({input});
  for (std::size_t first = 1; first < input.size(); ++first) {
    EXPECT_EQ(repliesTo({input.substr(0, first), input.substr(first)}), expected);
    for (const std::size_t length : {1U, 2U, 7U, 40U}) {
      const std::size_t second = first + length;
      if (second >= input.size()) continue;
      EXPECT_EQ(repliesTo({input.substr(0, first), input.substr(first, length), input.substr(second)}),
                expected);
    }
  }
}

TEST(ProcessLines, HandlesALineOfSeveralMebibytesThatComesInSmallChunks) {
  const std::string method(5 * 1024 * 1024, 'm');
  const std::string line = R"({"id":1,"method":")" + method + "\"}\n";
  std::vector<std::string> pieces;
  for (std::size_t at = 0; at < line.size(); at += 4096) pieces.push_back(line.substr(at, 4096));
  EXPECT_EQ(repliesTo(pieces), R"({"error": {"code": -32601, "data": ")" + method +
                                   R"(", "message": "Method not found"}, "id": 1, "jsonrpc": "2.0"})" + "\n");
}

// --- run ---

TEST(Run, MakesInputNonBlockingAndSetsRunning) {
  ScriptedDescriptors descriptors;
  descriptors.selectReturns(1);
  McpServer server;
  EXPECT_FALSE(server.running);
  EXPECT_EQ(run(server), 0);
  EXPECT_TRUE(server.running);
  EXPECT_EQ(descriptors.calls(),
            (Lines{"fcntl F_GETFL", "fcntl F_SETFL O_RDWR O_NONBLOCK", "select", "read 4096"}));
}

TEST(Run, WaitsAgainAfterAnInterruptedWait) {
  ScriptedDescriptors descriptors;
  descriptors.selectReturns(-1, EINTR);
  descriptors.selectReturns(1);
  McpServer server;
  EXPECT_EQ(run(server), 0);
  EXPECT_EQ(descriptors.calls().size(), 5U);
}

TEST(Run, ReportsAFailedWaitWithoutLineFeedAndReturns1) {
  ScriptedDescriptors descriptors;
  descriptors.selectReturns(-1, EBADF);
  McpServer server;
  int result = 0;
  EXPECT_EQ(standardErrorOf([&] { result = run(server); }), "select() error: Bad file descriptor");
  EXPECT_EQ(result, 1);
}

TEST(Run, ReadsNothingWhenDescriptor0IsNotReadable) {
  ScriptedDescriptors descriptors;
  descriptors.selectReturns(0, 0, false);
  descriptors.selectReturns(1);
  McpServer server;
  EXPECT_EQ(run(server), 0);
  EXPECT_EQ(descriptors.calls(),
            (Lines{"fcntl F_GETFL", "fcntl F_SETFL O_RDWR O_NONBLOCK", "select", "select", "read 4096"}));
}

TEST(Run, ServesUntilInputEnds) {
  ScriptedDescriptors descriptors;
  descriptors.selectReturns(1);
  descriptors.readGives(ping("1") + "\n");
  descriptors.readFails(EAGAIN);
  descriptors.selectReturns(1);
  descriptors.readGives(ping("2") + "\n");
  McpServer server;
  EXPECT_EQ(run(server), 0);
  EXPECT_EQ(descriptors.written(), reply("1") + reply("2"));
}

TEST(Run, Returns0WhenRunningIsFoundFalse) {
  ScriptedDescriptors descriptors;
  descriptors.selectReturns(1);
  descriptors.readGives(R"({"id":1,"method":"tools/call","params":{"name":"stop"}})"
                        "\n");
  descriptors.readFails(EAGAIN);
  McpServer server;
  registerTool(server.registry, {"stop", "", Json()}, [&server](const Json&, std::string&) {
    server.running = false;
    return Json();
  });
  EXPECT_EQ(run(server), 0);
}

// --- sendMessage ---

TEST(SendMessage, WritesTheTextAndOneLineFeed) {
  ScriptedDescriptors descriptors;
  McpServer server;
  sendMessage(server, Json::object{{"b", "x\ny"}, {"a", 1}});
  EXPECT_EQ(descriptors.written(), "{\"a\": 1, \"b\": \"x\\ny\"}\n");
  EXPECT_EQ(descriptors.calls(), Lines{"write 22"});
}

TEST(SendMessage, GoesOnAfterShortEmptyAndInterruptedWrites) {
  ScriptedDescriptors descriptors;
  descriptors.writeTakes(3);
  descriptors.writeTakes(0);
  descriptors.writeFails(EINTR);
  descriptors.writeTakes(1);
  McpServer server;
  EXPECT_EQ(standardErrorOf([&] { sendMessage(server, Json("12345678")); }), "");
  EXPECT_EQ(descriptors.written(), "\"12345678\"\n");
  EXPECT_EQ(descriptors.calls(), (Lines{"write 11", "write 8", "write 8", "write 8", "write 7"}));
}

TEST(SendMessage, AbandonsTheRestOfAMessageThatCannotBeWrittenAndWritesTheNext) {
  for (const int error : {EAGAIN, EPIPE, ENOSPC}) {
    ScriptedDescriptors descriptors;
    descriptors.writeTakes(3);
    descriptors.writeFails(error);
    McpServer server;
    EXPECT_EQ(standardErrorOf([&] {
                sendMessage(server, Json("lost"));
                sendMessage(server, Json("next"));
              }),
              std::string("write(stdout) error: ") + std::strerror(error) + "\n");
    EXPECT_EQ(descriptors.written(), "\"lo\"next\"\n");
  }
}

// --- the server object ---

TEST(McpServer, BeginsEmptyAndShowsItsRegistry) {
  McpServer server;
  EXPECT_FALSE(server.running);
  EXPECT_EQ(server.inputBuffer, "");
  EXPECT_TRUE(server.registry.tools.empty());
  EXPECT_TRUE(server.registry.handlers.empty());
  EXPECT_EQ(toolRegistry(server), &server.registry);
}

}  // namespace
