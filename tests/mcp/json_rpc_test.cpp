// Messages and their replies, compared as whole lines.

#include "mcp/json_rpc.h"

#include "support/recording_transport.h"
#include "support/replies.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using json11::Json;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using namespace std::string_literals;

const std::string kNoTools = resultReply(1, R"({"tools": []})");

const std::string kNotAnObject = errorReply("null", -32700, "Parse error");

struct MessageRow {
  const char* label;
  std::string line;
  std::string reply;
};

/// Expects each line to be answered, by a server without tools, with exactly one reply.
void expectReplies(const std::vector<MessageRow>& rows) {
  for (const MessageRow& row : rows) {
    McpServer server;
    handleMessage(server, row.line);
    EXPECT_THAT(server.replies, ElementsAre(row.reply)) << row.label << ": " << row.line;
  }
}

// --- the envelopes ---

TEST(SendResult, BuildsTheResultEnvelope) {
  McpServer server;
  sendResult(server, 7, Json::object{{"b", 1}, {"a", 2}});
  sendResult(server, "x", nullptr);
  EXPECT_THAT(server.replies, ElementsAre(R"({"id": 7, "jsonrpc": "2.0", "result": {"a": 2, "b": 1}})",
                                          R"({"id": "x", "jsonrpc": "2.0", "result": null})"));
}

TEST(SendError, BuildsTheErrorEnvelopeWithData) {
  McpServer server;
  sendError(server, 7, -32000, "message", "data");
  EXPECT_THAT(server.replies,
              ElementsAre(R"({"error": {"code": -32000, "data": "data", "message": "message"}, )"
                          R"("id": 7, "jsonrpc": "2.0"})"));
}

TEST(SendError, LeavesEmptyDataOut) {
  McpServer server;
  sendError(server, nullptr, 5, "", "");
  sendError(server, nullptr, 5, "");
  const char* const reply = R"({"error": {"code": 5, "message": ""}, "id": null, "jsonrpc": "2.0"})";
  EXPECT_THAT(server.replies, ElementsAre(reply, reply));
}

TEST(SendError, WritesTheCodeAsAPlainInteger) {
  McpServer server;
  sendError(server, 1, -2147483647 - 1, "m");
  EXPECT_THAT(server.replies,
              ElementsAre(R"({"error": {"code": -2147483648, "message": "m"}, "id": 1, "jsonrpc": "2.0"})"));
}

// --- what is no request ---

TEST(HandleMessage, AnswersWhatIsNotJsonWithTheParsersMessage) {
  expectReplies({
      {"unended object", "{", parseErrorReply("unexpected end of input")},
      {"letter", "x", parseErrorReply("expected value, got 'x' (120)")},
      {"vertical tab", "\v", parseErrorReply("expected value, got (11)")},
      {"trailing text", "{} x", parseErrorReply("unexpected trailing 'x' (120)")},
      {"two messages", R"({"id":1,"method":"a"}{"id":2,"method":"b"})",
       parseErrorReply("unexpected trailing '{' (123)")},
      {"comment", R"({"id":1,"method":"a"} // c)", parseErrorReply("unexpected trailing '/' (47)")},
      {"comment before", R"(/**/{"id":1,"method":"a"})", parseErrorReply("expected value, got '/' (47)")},
      {"quotation mark in the message", "{1:2}", parseErrorReply(R"(expected '\"' in object, got '1' (49))")},
      {"zero byte", "\0"s, parseErrorReply("expected value, got (0)")},
      {"high byte", "\xC3", parseErrorReply("expected value, got (-61)")},
      {"trailing number", "[] 5", parseErrorReply("unexpected trailing '5' (53)")},
      {"bad escape", R"({"id":"\u12"})", parseErrorReply(R"(bad \\u escape: 12\"})")},
  });
}

TEST(HandleMessage, AnswersWhatIsNotAnObjectWithoutData) {
  expectReplies({
      {"empty batch", "[]", kNotAnObject},
      {"batch", R"([{"id":1,"method":"initialize"},{"id":2,"method":"tools/list"}])", kNotAnObject},
      {"string", "\"initialize\"", kNotAnObject},
      {"number", "5", kNotAnObject},
      {"true", "true", kNotAnObject},
      {"false", "false", kNotAnObject},
      {"null", "null", kNotAnObject},
  });
}

TEST(HandleMessage, NeedsAMethod) {
  expectReplies({
      {"missing", R"({"id": 3})", missingMethodReply("3")},
      {"number", R"({"id": 3, "method": 5})", missingMethodReply("3")},
      {"empty", R"({"id": 3, "method": ""})", missingMethodReply("3")},
      {"null", R"({"id": "a", "method": null})", missingMethodReply("\"a\"")},
      {"array", R"({"id": 3, "method": ["initialize"]})", missingMethodReply("3")},
      {"empty object", "{}", missingMethodReply("null")},
      {"without id", R"({"params": {}})", missingMethodReply("null")},
      {"a reply", R"({"id": 3, "jsonrpc": "2.0", "result": {}})", missingMethodReply("3")},
  });
}

TEST(HandleMessage, RefusesUnknownMethods) {
  expectReplies({
      {"ping", R"({"method": "ping", "id": 7})", unknownMethodReply("7", "ping")},
      {"other case", R"({"method": "Initialize", "id": 7})", unknownMethodReply("7", "Initialize")},
      {"other case of the list", R"({"method": "tools/List", "id": 7})",
       unknownMethodReply("7", "tools/List")},
      {"longer", R"({"method": "initialized", "id": 7})", unknownMethodReply("7", "initialized")},
      {"shorter", R"({"method": "tools", "id": 7})", unknownMethodReply("7", "tools")},
      {"blank behind", R"({"method": "initialize ", "id": 7})", unknownMethodReply("7", "initialize ")},
      {"zero behind", R"({"method": "initialize\u0000", "id": 7})",
       unknownMethodReply("7", "initialize\\u0000")},
      {"only a blank", R"({"method": " ", "id": 7})", unknownMethodReply("7", " ")},
      {"other notification", R"({"method": "notifications/cancelled"})",
       unknownMethodReply("null", "notifications/cancelled")},
      {"accepted notification in capitals", R"({"method": "notifications/Initialized"})",
       unknownMethodReply("null", "notifications/Initialized")},
      {"resources", R"({"method": "resources/list", "id": 7})", unknownMethodReply("7", "resources/list")},
      {"control character", R"({"method": "a\nb", "id": 7})", unknownMethodReply("7", "a\\nb")},
  });
}

TEST(HandleMessage, NeverReadsTheVersionMember) {
  expectReplies({
      {"1.0", R"({"jsonrpc": "1.0", "method": "initialize", "id": "a"})", welcomeReply("\"a\"")},
      {"missing", R"({"method": "initialize", "id": "a"})", welcomeReply("\"a\"")},
      {"no string", R"({"jsonrpc": {}, "method": "initialize", "id": "a"})", welcomeReply("\"a\"")},
  });
}

TEST(HandleMessage, EchoesEveryId) {
  const auto ask = [](const std::string& id) { return R"({"id":)" + id + R"(,"method":"initialize"})"; };
  expectReplies({
      {"number", ask("5"), welcomeReply("5")},
      {"fraction", ask("1.5"), welcomeReply("1.5")},
      {"fraction that is not exact", ask("0.1"), welcomeReply("0.10000000000000001")},
      {"highest unsigned 64-bit", ask("18446744073709551615"), welcomeReply("18446744073709551615")},
      {"beyond it", ask("18446744073709551616"), welcomeReply("18446744073709551615")},
      {"ten digits", ask("1234567890"), welcomeReply("1234567890")},
      {"exponent", ask("1e3"), welcomeReply("1000")},
      {"lost exponent", ask("5000000e10"), welcomeReply("5000000")},
      {"infinite", ask("1e999"), welcomeReply("null")},
      {"string", ask("\"a\""), welcomeReply("\"a\"")},
      {"string with escapes", ask(R"("\u0041\/\u2028")"), welcomeReply(R"("A/\u2028")")},
      {"null", ask("null"), welcomeReply("null")},
      {"boolean", ask("false"), welcomeReply("false")},
      {"array", ask("[1,2]"), welcomeReply("[1, 2]")},
      {"object", ask(R"({"b":1,"a":[]})"), welcomeReply(R"({"a": [], "b": 1})")},
  });
}

TEST(HandleMessage, EchoesTheIdInEveryKindOfError) {
  expectReplies({
      {"no method", R"({"id": [1.5]})", missingMethodReply("[1.5]")},
      {"unknown method", R"({"id": {"a": 1}, "method": "x"})", unknownMethodReply("{\"a\": 1}", "x")},
      {"no tool name", R"({"id": true, "method": "tools/call"})", missingNameReply("true")},
      {"unknown tool", R"({"id": "i", "method": "tools/call", "params": {"name": "x"}})",
       toolErrorReply("\"i\"", "Unknown tool: x")},
  });
}

TEST(HandleMessage, AnswersWhatHasNoIdUnderNull) {
  expectReplies({
      {"initialize", R"({"method": "initialize"})", welcomeReply("null")},
      {"list", R"({"method": "tools/list"})", resultReply("null", R"({"tools": []})")},
      {"call without a name", R"({"method": "tools/call"})", missingNameReply("null")},
      {"call of an unknown tool", R"({"method": "tools/call", "params": {"name": "x"}})",
       toolErrorReply("null", "Unknown tool: x")},
      {"unknown method", R"({"method": "x"})", unknownMethodReply("null", "x")},
      {"no method", "{}", missingMethodReply("null")},
  });
  McpServer server;
  registerTool(server.registry, {.name = "t", .description = "", .inputSchema = Json()},
               [](const Json&, std::string&) { return Json("done"); });
  handleMessage(server, R"({"method": "tools/call", "params": {"name": "t"}})");
  EXPECT_THAT(server.replies, ElementsAre(textReply("null", "done")));
}

TEST(HandleMessage, TakesTheLastOfRepeatedMembers) {
  expectReplies({{"method and id", R"({"id":9,"method":"x","method":"tools/list","id":1})", kNoTools},
                 {"escaped method name", R"({"id":1,"method":"tools\/\u006cist"})", kNoTools}});
}

TEST(HandleMessage, AcceptsTheInitializedNotificationInSilence) {
  for (const char* const line :
       {R"({"jsonrpc": "2.0", "method": "notifications/initialized"})",
        R"({"method": "notifications/initialized", "id": 9})",
        R"({"method": "notifications/initialized", "id": null, "params": {"x": [1]}})"}) {
    McpServer server;
    handleMessage(server, line);
    EXPECT_THAT(server.replies, IsEmpty()) << line;
  }
}

TEST(HandleMessage, RemembersNothing) {
  McpServer server;
  handleMessage(server, R"({"id":1,"method":"tools/list"})");  // before initialize
  handleMessage(server, R"({"id":2,"method":"initialize"})");
  handleMessage(server, "{");
  handleMessage(server, R"({"id":2,"method":"initialize"})");  // again, with the same id
  handleMessage(server, R"({"id":1,"method":"tools/list"})");
  EXPECT_THAT(server.replies,
              ElementsAre(kNoTools, welcomeReply("2"), parseErrorReply("unexpected end of input"),
                          welcomeReply("2"), kNoTools));
}

// --- initialize, tools/list ---

TEST(HandleInitialize, IgnoresItsParams) {
  expectReplies({
      {"other version", R"({"id":1,"method":"initialize","params":{"protocolVersion":"1999-01-01"}})",
       welcomeReply("1")},
      {"array", R"({"id":1,"method":"initialize","params":[1,2]})", welcomeReply("1")},
      {"null", R"({"id":1,"method":"initialize","params":null})", welcomeReply("1")},
  });
}

TEST(HandleInitialize, MayBeCalledByItself) {
  McpServer server;
  handleInitialize(server, "i");
  EXPECT_THAT(server.replies, ElementsAre(welcomeReply("\"i\"")));
}

TEST(HandleToolsList, GivesTheWholeListWhateverItsParams) {
  McpServer server;
  for (const char* const name : {"z", "a"}) {
    const Tool tool{.name = name, .description = "d", .inputSchema = Json::object{}};
    registerTool(server.registry, tool, [](const Json&, std::string&) { return Json(); });
  }
  for (const char* const params : {"", R"(,"params":{"cursor":"1"})", R"(,"params":[])", R"(,"params":{})"}) {
    server.replies.clear();
    handleMessage(server, R"({"id":1,"method":"tools/list")" + std::string(params) + "}");
    EXPECT_THAT(server.replies, ElementsAre(R"({"id": 1, "jsonrpc": "2.0", "result": {"tools": [)"
                                            R"({"description": "d", "inputSchema": {}, "name": "z"}, )"
                                            R"({"description": "d", "inputSchema": {}, "name": "a"}]}})"));
  }
}

}  // namespace
