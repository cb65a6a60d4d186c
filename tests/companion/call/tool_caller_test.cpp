#include "companion/call/tool_caller.h"

#include "companion/call/repl.h"

#include <gtest/gtest.h>

namespace {

using Json = ServerSession::Json;

const Tool kTool{.name = "search",
                 .description = "Searches.",
                 .arguments = {{"case_sensitive", "boolean", ""},
                               {"count", "integer", ""},
                               {"names", "object", ""},
                               {"pattern", "string", ""}}};
const std::vector<Tool> kTools = {kTool, {.name = "segments", .description = "", .arguments = {}}};

std::string mistakeIn(const std::vector<std::string>& words) {
  std::string error;
  EXPECT_EQ(readArguments(kTool, words, error), std::nullopt);
  return error;
}

TEST(ReadArguments, TakesEachValueAsItsSchemaHasIt) {
  std::string error;
  EXPECT_EQ(readArguments(kTool, {"case_sensitive=true", "names={\"0x1\":\"a\"}", "pattern=true", "count=7"},
                          error),
            (Json{{"case_sensitive", true}, {"names", {{"0x1", "a"}}}, {"pattern", "true"}, {"count", 7}}));
  EXPECT_EQ(error, "");
}

TEST(ReadArguments, TakesEverythingBehindTheFirstEqualsSignOfAString) {
  std::string error;
  EXPECT_EQ(readArguments(kTool, {"pattern= a=b \""}, error), (Json{{"pattern", " a=b \""}}));
  EXPECT_EQ(readArguments(kTool, {"pattern="}, error), (Json{{"pattern", ""}}));
  EXPECT_EQ(readArguments(kTool, {}, error), Json::object());
}

TEST(ReadArguments, TakesAllOfThemAsOneJsonObject) {
  std::string error;
  EXPECT_EQ(readArguments(kTool, {R"({"pattern": "a \"b\"", "case_sensitive": false})"}, error),
            (Json{{"pattern", "a \"b\""}, {"case_sensitive", false}}));
  EXPECT_EQ(readArguments(kTool, {"{}"}, error), Json::object());
  EXPECT_EQ(error, "");
}

TEST(ReadArguments, TellsWhatIsWrongInAJsonObject) {
  EXPECT_EQ(mistakeIn({"{\"pattern\": "}), "the arguments are no JSON object");
  EXPECT_EQ(mistakeIn({R"({"patern": "x"})"}), "search has no argument \"patern\"");
  EXPECT_EQ(mistakeIn({R"({"pattern": 7})"}), "pattern takes a JSON string, not \"7\"");
  EXPECT_EQ(mistakeIn({R"({"case_sensitive": "true"})"}),
            "case_sensitive takes true or false, not \"\"true\"\"");
}

TEST(ReadArguments, TellsWhatIsWrong) {
  EXPECT_EQ(mistakeIn({"pattern"}), "\"pattern\" is not of the form key=value");
  EXPECT_EQ(mistakeIn({"patern=x"}), "search has no argument \"patern\"");
  EXPECT_EQ(mistakeIn({"pattern=x", "pattern=y"}), "pattern is given twice");
  EXPECT_EQ(mistakeIn({"case_sensitive=yes"}), "case_sensitive takes true or false, not \"yes\"");
  EXPECT_EQ(mistakeIn({"names=[1]"}), "names takes a JSON object, not \"[1]\"");
  EXPECT_EQ(mistakeIn({"count=1.5"}), "count takes a JSON integer, not \"1.5\"");
}

using Words = std::vector<std::string>;

TEST(CompletionsOf, AreToolsAndSessionWordsAtFirst) {
  EXPECT_EQ(completionsOf("", kTools), (Words{"search ", "segments ", "help ", "quit "}));
  EXPECT_EQ(completionsOf(" se", kTools), (Words{"search ", "segments "}));
  EXPECT_EQ(completionsOf("sea", kTools), (Words{"search "}));
  EXPECT_EQ(completionsOf("x", kTools), Words{});
}

TEST(CompletionsOf, AreTheKeysThatAreNotInTheLineYet) {
  EXPECT_EQ(completionsOf("search ", kTools), (Words{"case_sensitive=", "count=", "names=", "pattern="}));
  EXPECT_EQ(completionsOf("search pattern=x c", kTools), (Words{"case_sensitive=", "count="}));
  EXPECT_EQ(completionsOf("search pattern=x pa", kTools), Words{});
  EXPECT_EQ(completionsOf("segments ", kTools), Words{});
  EXPECT_EQ(completionsOf("nothing ", kTools), Words{});
}

TEST(CompletionsOf, AreTrueAndFalseForABoolean) {
  EXPECT_EQ(completionsOf("search case_sensitive=", kTools),
            (Words{"case_sensitive=true ", "case_sensitive=false "}));
  EXPECT_EQ(completionsOf("search case_sensitive=t", kTools), (Words{"case_sensitive=true "}));
}

TEST(CompletionsOf, AreToolsBehindHelp) {
  EXPECT_EQ(completionsOf("help seg", kTools), (Words{"segments "}));
}

}  // namespace
