// Calls of tools and their replies, compared as whole lines.

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

/// A server whose tool "t" keeps its arguments, gives `result` and sets `error`.
class HandleToolsCall : public testing::Test {
 protected:
  HandleToolsCall() {
    registerTool(server_.registry, {.name = "t", .description = "", .inputSchema = Json()},
                 [this](const Json& arguments, std::string& error) {
                   arguments_.push_back(arguments.dump());
                   errorOnEntry_ += error;
                   if (!error_.empty()) error = error_;
                   return result_;
                 });
  }

  /// Handles a call with these params as id 4; returns its one reply.
  std::string reply(const std::string& params) {
    server_.replies.clear();
    handleMessage(server_, R"({"id":4,"method":"tools/call","params":)" + params + "}");
    EXPECT_EQ(server_.replies.size(), 1U);
    return server_.replies.empty() ? "" : server_.replies[0];
  }

  std::string replyFor(const Json& result) {
    result_ = result;
    return reply(R"({"name":"t"})");
  }

  McpServer server_;
  Json result_ = "done";
  std::string error_;
  std::string errorOnEntry_;
  std::vector<std::string> arguments_;
};

TEST_F(HandleToolsCall, NeedsAName) {
  for (const char* const params :
       {"{}", R"({"name":5})", R"({"name":""})", R"({"name":null})", R"({"name":["t"]})", R"(["t"])", "null",
        "\"t\"", R"({"Name":"t"})", R"({"arguments":{"name":"t"}})"}) {
    EXPECT_EQ(reply(params), missingNameReply("4")) << params;
  }
  EXPECT_THAT(arguments_, IsEmpty());
}

TEST_F(HandleToolsCall, NeedsParams) {
  handleMessage(server_, R"({"id":4,"method":"tools/call","name":"t"})");
  EXPECT_THAT(server_.replies, ElementsAre(missingNameReply("4")));
}

TEST_F(HandleToolsCall, RefusesUnknownTools) {
  EXPECT_EQ(reply(R"({"name":"x"})"), toolErrorReply(4, "Unknown tool: x"));
  EXPECT_EQ(reply(R"({"name":"T"})"), toolErrorReply(4, "Unknown tool: T"));
  EXPECT_EQ(reply(R"({"name":"t\u0000"})"), toolErrorReply(4, "Unknown tool: t\\u0000"));
  EXPECT_EQ(reply(R"({"name":"\n\"","arguments":{}})"), toolErrorReply(4, "Unknown tool: \\n\\\""));
  EXPECT_THAT(arguments_, IsEmpty());
}

TEST_F(HandleToolsCall, HandsOverTheArguments) {
  reply(R"({"name":"t","arguments":{"b":[1],"a":18446744073709551615}})");
  EXPECT_THAT(arguments_, ElementsAre(R"({"a": 18446744073709551615, "b": [1]})"));
}

TEST_F(HandleToolsCall, HandsOverAnEmptyObjectForAnythingElse) {
  for (const char* const arguments :
       {"", R"(,"arguments":null)", R"(,"arguments":[1])", R"(,"arguments":"x")", R"(,"arguments":5)",
        R"(,"arguments":true)", R"(,"arguments":{})"}) {
    EXPECT_EQ(reply(R"({"name":"t")" + std::string(arguments) + "}"), textReply(4, "done")) << arguments;
  }
  EXPECT_THAT(arguments_, testing::AllOf(testing::SizeIs(7), testing::Each("{}")));
}

TEST_F(HandleToolsCall, StartsWithAnEmptyErrorText) {
  error_ = "failed";
  reply(R"({"name":"t"})");
  reply(R"({"name":"t"})");
  EXPECT_EQ(errorOnEntry_, "");
}

TEST_F(HandleToolsCall, PassesAStringThroughUnquoted) {
  EXPECT_EQ(replyFor("plain"), textReply(4, "plain"));
  EXPECT_EQ(replyFor(""), textReply(4, ""));
  EXPECT_EQ(replyFor("{\"b\":1,\"a\":2}"), textReply(4, R"({\"b\":1,\"a\":2})"));
  EXPECT_EQ(replyFor("line\nline\xE2\x80\xA8\x7F"), textReply(4, "line\\nline\\u2028\x7F"));
}

TEST_F(HandleToolsCall, SerialisesAnythingElse) {
  EXPECT_EQ(replyFor(Json::object{{"b", 1}, {"a", "x"}}), textReply(4, R"({\"a\": \"x\", \"b\": 1})"));
  EXPECT_EQ(replyFor(Json::array{1, "two"}), textReply(4, R"([1, \"two\"])"));
  EXPECT_EQ(replyFor(nullptr), textReply(4, "null"));
  EXPECT_EQ(replyFor(42), textReply(4, "42"));
  EXPECT_EQ(replyFor(1.5), textReply(4, "1.5"));
  EXPECT_EQ(replyFor(18446744073709551615UL), textReply(4, "18446744073709551615"));
  EXPECT_EQ(replyFor(true), textReply(4, "true"));
  // Escaped twice: as a string of the result, and as a part of the text.
  EXPECT_EQ(replyFor(Json::array{"\n"}), textReply(4, R"([\"\\n\"])"));
}

TEST_F(HandleToolsCall, AnswersAnErrorTextWithAnErrorAloneAndWithoutData) {
  error_ = "it \"failed\"";
  EXPECT_EQ(replyFor("a value beside it"), toolErrorReply(4, R"(it \"failed\")"));
  EXPECT_EQ(replyFor(nullptr), toolErrorReply(4, R"(it \"failed\")"));
}

TEST_F(HandleToolsCall, TakesAnyNonEmptyErrorTextForAFailure) {
  error_ = " ";
  EXPECT_EQ(replyFor("x"), toolErrorReply(4, " "));
}

TEST_F(HandleToolsCall, MayBeCalledByItself) {
  handleToolsCall(server_, "i", Json::object{{"name", "t"}});
  EXPECT_THAT(server_.replies, ElementsAre(textReply("\"i\"", "done")));
}

TEST_F(HandleToolsCall, NeverSendsMoreThanOneReply) {
  const std::string large(3000000, 'x');
  EXPECT_EQ(replyFor(large), textReply(4, large));
}

}  // namespace
