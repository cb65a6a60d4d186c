// What the relay thinks of a message, compared with what the server does about it.

#include "companion/serve/client_line.h"

#include "support/server_process.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace std::string_literals;

struct Row {
  std::string line;
  bool expectsReply;
};

const Row kRows[] = {
    {R"({"id": 1, "method": "initialize"})", true},
    {R"({"method": "notifications/initialized"})", false},
    {R"({"id": 9, "method": "notifications/initialized"})", false},
    {R"({"method":"notifications\/initialized"})", false},
    {R"({"method":"notifications\u002finitialized"})", false},
    {R"({"method":"\u006eotifications/initialized"})", false},
    {R"({"m\u0065thod":"notifications\/initialized"})", false},
    {R"({"method": "notifications/initialized"} x)", true},
    {R"([{"method": "notifications/initialized"}])", true},
    {R"(["method", "notifications/initialized"])", true},
    {R"("notifications/initialized")", true},
    {R"({"method": "notifications/cancelled"})", true},
    {R"({"method": "Notifications/initialized"})", true},
    {R"({"method": "initialize", "params": {"method": "notifications/initialized"}})", true},
    {R"({"params": {"method": "initialize"}, "method": "notifications/initialized"})", false},
    {R"({"method": "notifications/initialized", "method": "ping"})", true},
    {R"({"method": "ping", "method": "notifications/initialized"})", false},
    {R"({"method": "notifications/initialized", "method": 5})", true},
    {R"({"method": "notifications/initialized", "method": ["notifications/initialized"]})", true},
    {"{\"method\": \"notifications/initialized\", \"x\": \"\xFF\xC3\"}", false},
    {R"({"method": "notifications/initialized", "x": "\uD800"})", false},
    {R"({"method": "notifications/initialized", "x": "\\uD800"})", false},
    {R"({"method": "notifications/initialized", "x": "\uD8"})", true},
    {"{\"method\": \"notifications/initialized\"}\0"s, true},
    {"\xEF\xBB\xBF{\"method\": \"notifications/initialized\"}", true},
    {"{\"method\": \"notifications/initialized\"}\r", false},
    {" \t{\"method\": \"notifications/initialized\"} ", false},
    {R"({"method": "notifications/initialized", "x": )" + std::string(200, '[') + std::string(200, ']') + "}",
     false},
    {R"({"method": "notifications/initialized", "x": )" + std::string(201, '[') + std::string(201, ']') + "}",
     true},
    {R"({"method": "notifications/initialized", "x": )" + std::string(200, '[') + "1" +
         std::string(200, ']') + "}",
     true},
    {R"({"method": "notifications/initialized", "x": 01})", true},
    {R"({"method": "notifications/initialized", "x": 1e999})", false},
    {R"({"method": "notifications/initialized", "x": -1e999})", false},
    {R"({"method": "notifications/initialized", "x": 123456789012345678901234567890})", false},
    {"{\"method\": \"notifications/initialized\", \"x\": \"\0\"}"s, true},
    {R"({"method": "notifications/initialized\u0000"})", true},
    {"", false},
    {" \t \r", false},
    {"\v", true},
    {"{", true},
};

TEST(ExpectsReply, KnowsTheSilentLines) {
  for (const Row& row : kRows) EXPECT_EQ(expectsReply(row.line), row.expectsReply) << row.line;
}

TEST(ExpectsReply, AgreesWithTheServer) {
  constexpr char kEndMark[] = R"({"id": "end", "method": "end"})";
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path()});
  const std::string end = server.ask(kEndMark);
  for (const Row& row : kRows) {
    server.writeLine(row.line);
    server.writeLine(kEndMark);
    const std::string first = server.readLine();
    EXPECT_EQ(first != end, row.expectsReply) << row.line;
    if (first != end) server.readLine();
  }
}

TEST(FailureReply, IsSpelledLikeTheServersErrors) {
  EXPECT_EQ(failureReply(R"({"method": "x", "id": 7})", "why"),
            R"({"error": {"code": -32000, "message": "why"}, "id": 7, "jsonrpc": "2.0"})");
}

TEST(FailureReply, CarriesTheIdAsTheServerEchoesIt) {
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path()});
  for (const std::string id :
       {"0", "-1", "999999999", "1000000000", "4294967295", "4294967296", "18446744073709551615", "1.5",
        "null", "true", R"("")", R"("a\"b\\\n\u0001é/\/")", "[]", "{}"}) {
    const std::string line = R"({"method": "nothing", "id": )" + id + "}";
    const std::string reply = server.ask(line);
    const std::string echoed = reply.substr(reply.find(R"("id": )"));
    const std::string ours = failureReply(line, "why");
    EXPECT_EQ(ours.substr(ours.find(R"("id": )")), echoed) << id;
  }
}

TEST(FailureReply, HasTheIdNullWhenThereIsNoneToBeFound) {
  for (const std::string line : {"{}", "[]", "{", "5", R"([{"id": 5}])"})
    EXPECT_EQ(failureReply(line, "why"),
              R"({"error": {"code": -32000, "message": "why"}, "id": null, "jsonrpc": "2.0"})");
}

TEST(FailureReply, FindsTheIdBesideTextThatIsNotUtf8) {
  EXPECT_EQ(failureReply("{\"id\": 5, \"x\": \"\xFF\"}", "why"),
            R"({"error": {"code": -32000, "message": "why"}, "id": 5, "jsonrpc": "2.0"})");
}

}  // namespace
