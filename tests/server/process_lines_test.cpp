// Cutting the input into lines.

#include "mcp/transport.h"
#include "server/mcp_server.h"
#include "server/messages.h"
#include "server/stdio_transport.h"
#include "support/stdio_pipes.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace std::string_literals;

struct Processed {
  std::string replies;
  std::string left;
};

Processed processed(const std::string& input) {
  McpServer server;
  server.inputBuffer = input;
  const CapturedDescriptor output(1);
  processLines(server);
  return {output.text(), server.inputBuffer};
}

struct LineRow {
  const char* label;
  std::string input;
  std::string replies;
  std::string left = "";
};

void expectLines(const std::vector<LineRow>& rows) {
  for (const LineRow& row : rows) {
    const Processed result = processed(row.input);
    EXPECT_EQ(result.replies, row.replies) << row.label;
    EXPECT_EQ(result.left, row.left) << row.label;
  }
}

TEST(McpServer, StartsStoppedAndEmpty) {
  const McpServer server;
  EXPECT_FALSE(server.running);
  EXPECT_EQ(server.inputBuffer, "");
  EXPECT_TRUE(server.registry.tools.empty());
  EXPECT_TRUE(server.registry.handlers.empty());
}

TEST(McpServer, GivesAccessToItsRegistry) {
  McpServer server;
  EXPECT_EQ(toolRegistry(server), &server.registry);
}

TEST(ProcessLines, TakesWholeLinesOffTheFront) {
  expectLines({
      {"nothing", "", ""},
      {"one line", ping(1) + "\n", pong(1)},
      {"two lines in order", ping(1) + "\n" + ping(2) + "\n", pong(1) + pong(2)},
      {"unfinished line", ping(1), "", ping(1)},
      {"line and unfinished line", ping(1) + "\n" + ping(2), pong(1), ping(2)},
      {"unfinished blanks", ping(1) + "\n \r", pong(1), " \r"},
  });
}

TEST(ProcessLines, DropsOneCarriageReturnBeforeTheLineFeed) {
  expectLines({
      {"message", ping(1) + "\r\n" + ping(2) + "\r\n", pong(1) + pong(2)},
      // An open string shows which bytes arrive: none behind the quotation mark, or the second one.
      {"none left", "\"\r\n", parseErrorLine("unexpected end of input in string")},
      {"one of two left", "\"\r\r\n", parseErrorLine("unescaped (13) in string")},
      {"the second is white space", ping(1) + "\r\r\n", pong(1)},
      {"not at the front", "\r" + ping(1) + "\n", pong(1)},
      {"not before a blank", "\"\r \n", parseErrorLine("unescaped (13) in string")},
      {"alone it ends no line", ping(1) + "\r" + ping(2) + "\n",
       parseErrorLine("unexpected trailing '{' (123)")},
      {"unfinished", ping(1) + "\r", "", ping(1) + "\r"},
  });
}

TEST(ProcessLines, SkipsLinesOfBlanksTabsAndCarriageReturns) {
  expectLines({
      {"empty", "\n", ""},
      {"many", "\n\n\n", ""},
      {"carriage return", "\r\n", ""},
      {"two carriage returns", "\r\r\n", ""},
      {"blank", " \n", ""},
      {"tab", "\t\n", ""},
      {"all", " \t\r \t\r\r\n", ""},
      {"between messages", "\n" + ping(1) + "\n \r\n\t\n" + ping(2) + "\n\n", pong(1) + pong(2)},
  });
}

TEST(ProcessLines, HandsEverythingElseToTheParser) {
  expectLines({
      {"vertical tab", "\v\n", parseErrorLine("expected value, got (11)")},
      {"form feed", "\f\n", parseErrorLine("expected value, got (12)")},
      {"vertical tab among blanks", " \t\v \r\n", parseErrorLine("expected value, got (11)")},
      {"zero byte", "\0\n"s, parseErrorLine("expected value, got (0)")},
      {"no-break space", "\xC2\xA0\n", parseErrorLine("expected value, got (-62)")},
      {"unended object", "{\n", parseErrorLine("unexpected end of input")},
      {"blanks around a message", " \t" + ping(1) + " \t\n", pong(1)},
  });
}

TEST(ProcessLines, SkipsALineOfNoOtherByte) {
  for (int byte = 0; byte < 256; ++byte) {
    const char character = static_cast<char>(byte);
    if (std::string_view(" \t\r\n").find(character) != std::string_view::npos) continue;
    EXPECT_NE(processed({character, '\n'}).replies, "") << byte;
  }
}

TEST(ProcessLines, EndsLinesAtLineFeedsAlone) {
  expectLines({
      {"zero byte", ping(1) + "\0"s + "\n", parseErrorLine("unexpected trailing (0)")},
      {"vertical tab", ping(1) + "\v" + ping(2) + "\n", parseErrorLine("unexpected trailing (11)")},
      {"line separator", ping(1) + "\xE2\x80\xA8" + ping(2) + "\n",
       parseErrorLine("unexpected trailing (-30)")},
      {"escaped line feed",
       R"({"id": 1, "method": "ping", "x": "\n"})"
       "\n",
       pong(1)},
      {"line feed inside a message", "{\"id\": 1,\n\"method\": \"ping\"}\n",
       parseErrorLine("unexpected end of input") + parseErrorLine("unexpected trailing ':' (58)")},
  });
}

TEST(ProcessLines, LeavesTheRestWhenAHandlerThrows) {
  McpServer server;
  registerTool(server.registry, {.name = "t", .description = "", .inputSchema = json11::Json()},
               [](const json11::Json&, std::string&) -> json11::Json { throw 42; });
  server.inputBuffer = R"({"id":1,"method":"tools/call","params":{"name":"t"}})"
                       "\nnext\n";
  EXPECT_THROW(processLines(server), int);
  EXPECT_EQ(server.inputBuffer, "next\n");
}

TEST(ProcessLines, HandlesManyLines) {
  std::string input;
  std::string replies;
  for (int id = 0; id < 2000; ++id) {
    input += ping(id) + "\r\n";
    replies += pong(id);
  }
  EXPECT_EQ(processed(input).replies, replies);
}

}  // namespace
