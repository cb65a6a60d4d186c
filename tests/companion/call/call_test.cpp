// `orvane-mcp call` with one call on its command line, and `orvane-mcp tools`.

#include "companion/companion_process.h"
#include "support/scripted_host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <future>

namespace {

using testing::AllOf;
using testing::HasSubstr;

/// Runs the program while `host` answers one request with `reply`. The request goes to `request`.
Outcome callAnswered(const TemporaryFolder& folder, const std::vector<std::string>& arguments,
                     const std::string& reply, std::string& request) {
  ScriptedHost host(folder.socketPath());
  auto outcome = std::async(std::launch::async, [&] { return runCompanion(folder, arguments); });
  host.accept();
  request = host.readLine();
  host.reply(reply);
  return outcome.get();
}

TEST(Call, PrintsTheTextOfTheResult) {
  const TemporaryFolder folder;
  std::string request;
  const Outcome outcome = callAnswered(folder, {"call", "comment", "address=0x10"},
                                       R"({"success": true, "result": "two\nlines"})", request);
  EXPECT_EQ(request, R"({"args":["0x10"],"request":"commentAtAddress:withReply:"})");
  EXPECT_EQ(outcome.output, "two\nlines\n");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

TEST(Call, SendsValuesAsTheSchemaHasThem) {
  const TemporaryFolder folder;
  std::string request;
  callAnswered(folder, {"call", "search_strings", "pattern=true", "case_sensitive=true"},
               R"({"success": true, "result": {}})", request);
  EXPECT_EQ(request,
            R"({"args":["true",true],"request":"searchStringUsingPattern:caseSensitive:withReply:"})");
  const TemporaryFolder other;
  callAnswered(other, {"call", "set_addresses_names", R"(names={"0x10":"start"})"},
               R"({"success": true, "result": {}})", request);
  EXPECT_EQ(request, R"({"args":[{"0x10":"start"}],"request":"setNamesOfAddresses:withReply:"})");
}

TEST(Call, PrintsJsonAsItIsWithoutATerminal) {
  const TemporaryFolder folder;
  std::string request;
  EXPECT_EQ(
      callAnswered(folder, {"call", "list_documents"}, R"({"success": true, "result": ["a", "b"]})", request)
          .output,
      "[\"a\", \"b\"]\n");
}

TEST(Call, ReportsTheHostsError) {
  const TemporaryFolder folder;
  std::string request;
  const Outcome outcome = callAnswered(folder, {"call", "goto_address", "address=nowhere"},
                                       R"({"success": false, "error": "Unknown address"})", request);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.error, "orvane-mcp: Unknown address\n");
  EXPECT_EQ(outcome.output, "");
}

TEST(Call, ReportsThatNoHostAnswers) {
  const TemporaryFolder folder;
  const Outcome outcome = runCompanion(folder, {"call", "list_documents"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.error,
            "orvane-mcp: no host answers at " + folder.socketPath() + "; try \"orvane-mcp doctor\"\n");
}

TEST(Call, ReportsAServerThatEnds) {
  const TemporaryFolder folder;
  const Outcome outcome =
      runCompanion(folder, {"call", "x", "--server", ORVANE_FAKE_SERVER}, {"FAKE_SERVER=ends"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.error, "orvane-mcp: the server ended with exit status 1\n");
}

TEST(Call, RefusesWrongUsageInOneLine) {
  const TemporaryFolder folder;
  const std::vector<std::vector<std::string>> commandLines = {
      {"call"},
      {"call", "no_such_tool"},
      {"call", "comment", "0x10"},
      {"call", "comment", "addres=0x10"},
      {"call", "search_name", "case_sensitive=1"},
      {"call", "--repl", "comment"},
      {"call", "comment", "--no-such-option"},
  };
  for (const std::vector<std::string>& arguments : commandLines) {
    const Outcome outcome = runCompanion(folder, arguments);
    EXPECT_EQ(outcome.status, 2) << testing::PrintToString(arguments);
    EXPECT_EQ(std::count(outcome.error.begin(), outcome.error.end(), '\n'), 1) << outcome.error;
    EXPECT_EQ(outcome.output, "");
  }
}

TEST(Tools, AreNamedWithTheirArgumentsInTheServersOrder) {
  const TemporaryFolder folder;
  const Outcome outcome = runCompanion(folder, {"tools"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 34);
  EXPECT_THAT(outcome.output, HasSubstr("\nsearch_strings [case_sensitive=boolean] [pattern=string]\n"));
}

TEST(Tools, AreDescribedByName) {
  const TemporaryFolder folder;
  const Outcome outcome = runCompanion(folder, {"tools", "goto_address"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.output, testing::StartsWith("goto_address\n  "));
  EXPECT_THAT(outcome.output,
              testing::EndsWith("\n  address (string): The address in hexadecimal, or a label name.\n"));
}

TEST(Tools, RefusesAToolThatThereIsNot) {
  const TemporaryFolder folder;
  const Outcome outcome = runCompanion(folder, {"tools", "no_such_tool"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.error,
            "orvane-mcp: there is no tool \"no_such_tool\"; \"orvane-mcp tools\" names them\n");
}

TEST(Tools, AreSuggestedForANameThatIsAlmostOne) {
  const TemporaryFolder folder;
  EXPECT_EQ(runCompanion(folder, {"tools", "list_documnts"}).error,
            "orvane-mcp: there is no tool \"list_documnts\" (did you mean \"list_documents\"?); "
            "\"orvane-mcp tools\" names them\n");
  EXPECT_THAT(runCompanion(folder, {"call", "List_Documents"}).error,
              HasSubstr("(did you mean \"list_documents\"?); \"orvane-mcp tools\" names them\n"));
  EXPECT_THAT(
      runCompanion(folder, {"call", "--repl"}, {}, "list_documnts\nhelp list_documnts\n").error,
      AllOf(HasSubstr("line 1: there is no tool \"list_documnts\" (did you mean \"list_documents\"?); help"),
            HasSubstr("line 2: there is no tool \"list_documnts\" (did you mean")));
}

TEST(Tools, ReportsAServerThatEnds) {
  const TemporaryFolder folder;
  const Outcome outcome =
      runCompanion(folder, {"tools", "--server", ORVANE_FAKE_SERVER}, {"FAKE_SERVER=ends"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.error, "orvane-mcp: the server ended with exit status 1\n");
}

}  // namespace
