#include "mcp/json_rpc.h"

#include "support/recording_transport.h"

#include <gtest/gtest.h>

namespace {

using json11::Json;

/// A server with four tools: one that shows its arguments, one that answers with text, one that fails, one
/// that answers with null.
McpServer serverWithTools() {
  McpServer server;
  registerTool(server.registry, {"echo", "Shows its arguments.", Json::object{}},
               [](const Json& arguments, std::string&) { return arguments; });
  registerTool(server.registry, {"text", "Answers with text.", Json::object{}},
               [](const Json&, std::string&) { return Json("{\"b\":1, \"a\":2}"); });
  registerTool(server.registry, {"fail", "Fails.", Json::object{}}, [](const Json&, std::string& error) {
    error = "No such \"thing\".";
    return Json("ignored");
  });
  registerTool(server.registry, {"nothing", "Answers with null.", Json::object{}},
               [](const Json&, std::string&) { return Json(); });
  return server;
}

struct Exchange {
  const char* label;
  std::string line;
  std::vector<std::string> replies;
};

std::ostream& operator<<(std::ostream& out, const Exchange& row) {
  return out << row.label << ": " << row.line;
}

class HandleMessage : public testing::TestWithParam<Exchange> {};

TEST_P(HandleMessage, AnswersAsStated) {
  McpServer server = serverWithTools();
  handleMessage(server, GetParam().line);
  EXPECT_EQ(server.replies, GetParam().replies);
}

std::string parseErrorReply(const std::string& data) {
  return R"({"error": {"code": -32700, "data": ")" + data +
         R"(", "message": "Parse error"}, "id": null, "jsonrpc": "2.0"})";
}

std::string unknownMethodReply(const std::string& method, const std::string& id) {
  return R"({"error": {"code": -32601, "data": ")" + method + R"(", "message": "Method not found"}, "id": )" +
         id + R"(, "jsonrpc": "2.0"})";
}

std::string missingMethodReply(const std::string& id) {
  return R"({"error": {"code": -32600, "data": "Missing method", "message": "Invalid Request"}, "id": )" +
         id + R"(, "jsonrpc": "2.0"})";
}

std::string missingNameReply(const std::string& id) {
  return R"({"error": {"code": -32602, "data": "Missing params.name", "message": "Invalid params"}, "id": )" +
         id + R"(, "jsonrpc": "2.0"})";
}

std::string welcome(const std::string& id) {
  return R"({"id": )" + id +
         R"(, "jsonrpc": "2.0", "result": {"capabilities": {"tools": {"listChanged": false}}, )"
         R"("protocolVersion": "2025-03-26", "serverInfo": {"name": "OrvaneMCPServer", "version": "1.0.0"}}})";
}

std::string textReply(const std::string& text) {
  return R"({"id": 1, "jsonrpc": "2.0", "result": {"content": [{"text": ")" + text +
         R"(", "type": "text"}]}})";
}

std::string call(const std::string& params) {
  return R"({"id":1,"method":"tools/call","params":)" + params + "}";
}

const std::string kNotAnObject =
    R"({"error": {"code": -32700, "message": "Parse error"}, "id": null, "jsonrpc": "2.0"})";

const Exchange kExchanges[] = {
    // Not a request at all.
    {"an open brace", "{", {parseErrorReply("unexpected end of input")}},
    {"a vertical tab", "\v", {parseErrorReply("expected value, got (11)")}},
    {"text behind an object", "{} x", {parseErrorReply("unexpected trailing 'x' (120)")}},
    {"a comment", "{} // x", {parseErrorReply("unexpected trailing '/' (47)")}},
    {"an error with a quotation mark",
     R"({"a" "b"})",
     {parseErrorReply(R"(expected ':' in object, got '\"' (34))")}},
    {"an empty array", "[]", {kNotAnObject}},
    {"a batch", R"([{"id":1,"method":"initialize"},{"id":2,"method":"initialize"}])", {kNotAnObject}},
    {"a string", R"("initialize")", {kNotAnObject}},
    {"a number", "1", {kNotAnObject}},
    {"true", "true", {kNotAnObject}},
    {"false", "false", {kNotAnObject}},
    {"null", "null", {kNotAnObject}},
    // No method.
    {"an empty object", "{}", {missingMethodReply("null")}},
    {"a method that is a number", R"({"id":3,"method":5})", {missingMethodReply("3")}},
    {"a method that is null", R"({"id":3,"method":null})", {missingMethodReply("3")}},
    {"an empty method", R"({"id":3,"method":""})", {missingMethodReply("3")}},
    {"a method that is an array", R"({"id":3,"method":["initialize"]})", {missingMethodReply("3")}},
    // Methods.
    {"initialize",
     R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":"1"}})",
     {welcome("1")}},
    {"initialize without id", R"({"method":"initialize"})", {welcome("null")}},
    {"another jsonrpc and a text for id",
     R"({"jsonrpc":"1.0","method":"initialize","id":"a"})",
     {welcome("\"a\"")}},
    {"params that are an array", R"({"id":1,"method":"initialize","params":[1]})", {welcome("1")}},
    {"notifications/initialized", R"({"method":"notifications/initialized"})", {}},
    {"notifications/initialized with an id", R"({"method":"notifications/initialized","id":9})", {}},
    {"ping", R"({"method":"ping","id":7})", {unknownMethodReply("ping", "7")}},
    {"another notification",
     R"({"method":"notifications/cancelled"})",
     {unknownMethodReply("notifications/cancelled", "null")}},
    {"another case", R"({"id":1,"method":"Initialize"})", {unknownMethodReply("Initialize", "1")}},
    {"a blank behind", R"({"id":1,"method":"initialize "})", {unknownMethodReply("initialize ", "1")}},
    {"a zero byte behind",
     R"({"id":1,"method":"initialize\u0000"})",
     {unknownMethodReply("initialize\\u0000", "1")}},
    {"server/discover",
     R"({"id":0,"method":"server/discover"})",
     {unknownMethodReply("server/discover", "0")}},
    // Ids.
    {"an id of 1.5", R"({"id":1.5,"method":"x"})", {unknownMethodReply("x", "1.5")}},
    {"an id of 64 bits",
     R"({"id":18446744073709551615,"method":"x"})",
     {unknownMethodReply("x", "18446744073709551615")}},
    {"an id of 0.1", R"({"id":0.1,"method":"x"})", {unknownMethodReply("x", "0.10000000000000001")}},
    {"an id that is an object",
     R"({"id":{"b":[1],"a":true},"method":"x"})",
     {unknownMethodReply("x", R"({"a": true, "b": [1]})")}},
    {"an id that is false", R"({"id":false,"method":"x"})", {unknownMethodReply("x", "false")}},
    {"the last of two ids", R"({"id":1,"id":2,"method":"x"})", {unknownMethodReply("x", "2")}},
    // Calls.
    {"no params", R"({"id":1,"method":"tools/call"})", {missingNameReply("1")}},
    {"params that are text", R"({"id":1,"method":"tools/call","params":"echo"})", {missingNameReply("1")}},
    {"a name that is a number", call(R"({"name":5})"), {missingNameReply("1")}},
    {"an empty name", call(R"({"name":""})"), {missingNameReply("1")}},
    {"an unknown tool",
     call(R"({"name":"fly"})"),
     {R"({"error": {"code": -32000, "message": "Unknown tool: fly"}, "id": 1, "jsonrpc": "2.0"})"}},
    {"a tool in another case",
     call(R"({"name":"Echo"})"),
     {R"({"error": {"code": -32000, "message": "Unknown tool: Echo"}, "id": 1, "jsonrpc": "2.0"})"}},
    {"a tool that fails",
     call(R"({"name":"fail"})"),
     {R"({"error": {"code": -32000, "message": "No such \"thing\"."}, "id": 1, "jsonrpc": "2.0"})"}},
    {"arguments",
     call(R"({"name":"echo","arguments":{"b":1,"a":"x"}})"),
     {textReply(R"({\"a\": \"x\", \"b\": 1})")}},
    {"no arguments", call(R"({"name":"echo"})"), {textReply("{}")}},
    {"arguments that are null", call(R"({"name":"echo","arguments":null})"), {textReply("{}")}},
    {"arguments that are an array", call(R"({"name":"echo","arguments":[1]})"), {textReply("{}")}},
    {"arguments that are text", call(R"({"name":"echo","arguments":"x"})"), {textReply("{}")}},
    {"a result that is JSON text", call(R"({"name":"text"})"), {textReply(R"({\"b\":1, \"a\":2})")}},
    {"a result that is null", call(R"({"name":"nothing"})"), {textReply("null")}},
};

INSTANTIATE_TEST_SUITE_P(All, HandleMessage, testing::ValuesIn(kExchanges));

TEST(HandleMessage, AnswersInitializeTheSameEachTime) {
  McpServer server;
  for (int i = 0; i < 3; ++i) handleMessage(server, R"({"id":1,"method":"initialize"})");
  EXPECT_EQ(server.replies, std::vector<std::string>(3, welcome("1")));
}

TEST(HandleMessage, ListsToolsInOrderWhateverTheParams) {
  McpServer server = serverWithTools();
  for (const char* const params : {"{}", "null", "[1]", R"({"cursor":"2"})"}) {
    server.replies.clear();
    handleMessage(server, R"({"id":1,"method":"tools/list","params":)" + std::string(params) + "}");
    EXPECT_EQ(server.replies,
              std::vector<std::string>{
                  R"({"id": 1, "jsonrpc": "2.0", "result": {"tools": [)"
                  R"({"description": "Shows its arguments.", "inputSchema": {}, "name": "echo"}, )"
                  R"({"description": "Answers with text.", "inputSchema": {}, "name": "text"}, )"
                  R"({"description": "Fails.", "inputSchema": {}, "name": "fail"}, )"
                  R"({"description": "Answers with null.", "inputSchema": {}, "name": "nothing"}]}})"});
  }
}

TEST(SendResult, BuildsTheEnvelope) {
  McpServer server;
  sendResult(server, "a", Json::object{{"x", 1}});
  EXPECT_EQ(server.replies[0], R"({"id": "a", "jsonrpc": "2.0", "result": {"x": 1}})");
}

TEST(SendError, LeavesEmptyDataOut) {
  McpServer server;
  sendError(server, 1, -5, "message", "data");
  sendError(server, 1, -5, "message", "");
  sendError(server, 1, -5, "message");
  const std::string without = R"({"error": {"code": -5, "message": "message"}, "id": 1, "jsonrpc": "2.0"})";
  EXPECT_EQ(server.replies,
            (std::vector<std::string>{
                R"({"error": {"code": -5, "data": "data", "message": "message"}, "id": 1, "jsonrpc": "2.0"})",
                without, without}));
}

}  // namespace
