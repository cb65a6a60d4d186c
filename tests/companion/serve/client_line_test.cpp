// What the relay thinks of a message, compared with what the server does about it.

#include "companion/serve/client_line.h"

#include "json/json.h"
#include "mcp/json_rpc.h"
#include "support/recording_transport.h"
#include "support/replies.h"
#include "support/server_process.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <random>
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

TEST(LineKind, KnowsTheSilentLines) {
  for (const Row& row : kRows) EXPECT_EQ(kindOf(row.line) != LineKind::kSilent, row.expectsReply) << row.line;
}

TEST(LineKind, AgreesWithTheServer) {
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

// --- kinds
// --------------------------------------------------------------------------------------------------

TEST(LineKind, TellsPingsAndNotificationsFromRequests) {
  const struct {
    const char* line;
    LineKind kind;
  } rows[] = {
      {R"({"id": 1, "method": "ping"})", LineKind::kPing},
      {R"({"id": null, "method": "ping", "params": {"id": 2}})", LineKind::kPing},
      {R"({"i\u0064": 1, "\u006dethod": "pin\u0067"})", LineKind::kPing},
      {R"({"id": 1, "method": "ping"} x)", LineKind::kRequest},
      {R"({"id": 1, "method": "pinG"})", LineKind::kRequest},
      {R"({"id": 1, "params": {"method": "ping"}})", LineKind::kRequest},
      {R"({"method": "ping"})", LineKind::kNotification},
      {R"({"method": "notifications/cancelled", "params": {"id": 1, "x": ["id", "\"id\":"]}})",
       LineKind::kNotification},
      {R"({"method": "tools/call"})", LineKind::kNotification},
      {R"({"method": "tools/call", "id": null})", LineKind::kRequest},
      {R"({"method": ""})", LineKind::kRequest},
      {R"({"method": 5})", LineKind::kRequest},
      {R"({})", LineKind::kRequest},
      {R"({"method": "x", "y": })", LineKind::kRequest},
      {R"([{"method": "x"}])", LineKind::kRequest},
  };
  for (const auto& row : rows) EXPECT_EQ(kindOf(row.line), row.kind) << row.line;
}

/// What the server itself makes of `line`, told from its replies and from its own reading.
LineKind kindByTheServer(const std::string& line) {
  // The transport drops blank lines and one carriage return at the end.
  const std::string text = line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
  if (text.find_first_not_of(" \t\n\r") == std::string::npos) return LineKind::kSilent;
  McpServer server;
  handleMessage(server, text);
  if (server.replies.empty()) return LineKind::kSilent;
  std::string error;
  const json11::Json message = json11::Json::parse(text, error);
  const std::string method = message["method"].stringValue();
  if (method.empty()) return LineKind::kRequest;
  if (!message.objectItems().contains("id")) return LineKind::kNotification;
  return method == "ping" ? LineKind::kPing : LineKind::kRequest;
}

/// A text that is nearly a message: made of the pieces that matter, with a fault here and there.
std::string oddLine(std::mt19937& random) {
  const auto one = [&random](std::initializer_list<const char*> of) {
    return std::string(of.begin()[random() % of.size()]);
  };
  const auto key = [&one] {
    return one({R"("method")", R"("id")", R"("params")", R"("m\u0065thod")", R"("\u0069d")", R"("me\thod")",
                R"("")", R"("id\\")", R"("\"id")"});
  };
  std::function<std::string(int)> value = [&](int depth) -> std::string {
    if (depth == 0 || random() % 3 != 0)
      return one({"1",
                  "-1.5e999",
                  "1e999",
                  "null",
                  "true",
                  "\"\"",
                  R"("ping")",
                  R"("notifications/initialized")",
                  R"("notifications\/initialized")",
                  R"("notifications/cancelled")",
                  R"("initialize")",
                  R"("p\u0069ng")",
                  R"("\\")",
                  R"("\"")",
                  R"("\uD800")",
                  "\"\xFF\"",
                  "[]",
                  "{}",
                  "01",
                  "1.",
                  "nul",
                  "\"\x01\""});
    std::string text = random() % 2 == 0 ? "[" : "{";
    const bool isArray = text == "[";
    for (std::size_t count = random() % 4; count > 0; --count)
      text += (isArray ? "" : key() + ":") + value(depth - 1) + (count > 1 ? "," : "");
    return text + (isArray ? "]" : "}");
  };
  std::string text = one({"{", "{", "{", " {", "[", "\xEF\xBB\xBF{"});
  for (std::size_t count = random() % 5; count > 0; --count)
    text += key() + one({":", " : "}) + value(3) + (count > 1 ? one({",", " , "}) : "");
  text += one({"}", "}", "}", "} ", "}\r", "} x", "}}", ""});
  if (random() % 4 == 0 && !text.empty()) text[random() % text.size()] = static_cast<char>(random() % 256);
  if (random() % 8 == 0) text.erase(random() % (text.size() + 1), 1);
  for (char& byte : text)
    if (byte == '\n') byte = '\t';
  return text;
}

TEST(LineKind, AgreesWithTheServerOnOddLines) {
  constexpr int kLines = 200000;
  std::mt19937 random(1);
  std::array<int, 4> seen{};
  for (int count = 0; count < kLines; ++count) {
    const std::string line = oddLine(random);
    const LineKind expected = kindByTheServer(line);
    ++seen[static_cast<std::size_t>(expected)];
    ASSERT_EQ(kindOf(line), expected) << line;
  }
  for (const int each : seen) EXPECT_GT(each, kLines / 1000);
}

// --- replies in the server's place
// --------------------------------------------------------------------------

TEST(PingReply, CarriesTheIdAsTheServerEchoesIt) {
  EXPECT_EQ(pingReply(R"({"id": 4294967296, "method": "ping"})"),
            R"({"id": 4294967296, "jsonrpc": "2.0", "result": {}})");
}

TEST(EmptyText, IsToldFromOtherReplies) {
  EXPECT_TRUE(isEmptyText(textReply(1, "")));
  EXPECT_FALSE(isEmptyText(textReply(1, "x")));
  EXPECT_FALSE(isEmptyText(toolErrorReply(1, "")));
  const std::string deceptive =
      R"("\"jsonrpc\": \"2.0\", \"result\": {\"content\": [{\"text\": \"\", \"type\": \"text\"}]}}")";
  EXPECT_FALSE(isEmptyText(toolErrorReply(deceptive, "x")));
  EXPECT_FALSE(
      isEmptyText(textReply(1, R"(\"result\": {\"content\": [{\"text\": \"\", \"type\": \"text\"}]}})")));
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
