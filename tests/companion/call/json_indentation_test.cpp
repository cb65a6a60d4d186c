#include "companion/call/json_indentation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

std::string indented(const std::string& text) {
  return indentedJson(text).value_or("nothing");
}

TEST(IndentedJson, HasALineForEachMemberAndElement) {
  EXPECT_EQ(indented(R"({"a": [1, {"b": "c"}], "d": null})"),
            "{\n  \"a\": [\n    1,\n    {\n      \"b\": \"c\"\n    }\n  ],\n  \"d\": null\n}");
}

TEST(IndentedJson, KeepsEmptyObjectsAndArraysOnTheirLine) {
  EXPECT_EQ(indented(R"([{}, [ ], { }])"), "[\n  {},\n  [],\n  {}\n]");
  EXPECT_EQ(indented("{}"), "{}");
}

TEST(IndentedJson, KeepsTheSpellingOfNumbersAndStrings) {
  const std::string numbers[] = {"1.1000000000000001",      "-0",    "1E+5",
                                 "12345678901234567890123", "1e999", "0.10"};
  for (const std::string& number : numbers) EXPECT_EQ(indented('[' + number + ']'), "[\n  " + number + "\n]");
  EXPECT_EQ(indented(R"(["\u00e9\/\" {[,:]} \\"])"), "[\n  \"\\u00e9\\/\\\" {[,:]} \\\\\"\n]");
}

TEST(IndentedJson, ChangesOnlyTheWhiteSpaceBetweenTokens) {
  EXPECT_EQ(indented(" {\r\n\t\"a b\" :1 ,\"c\":  true} "), "{\n  \"a b\": 1,\n  \"c\": true\n}");
}

TEST(IndentedJson, IsNothingForWhatIsNotPutTogetherAsJson) {
  const std::string texts[] = {"",          "text",  "12",     "\"a\"",   "[1",     "[1]]",     "[1}",
                               "{\"a\": 1", "[1 2]", "[1][2]", "[,]",     "[1,]",   "[\"a]",    "[\"a\\",
                               "[note]",    "{:}",   "[1:2]",  "[] text", "[1,,2]", "{\"a\":}", "[(note)]"};
  for (const std::string& text : texts) EXPECT_EQ(indentedJson(text), std::nullopt) << text;
}

TEST(IndentedJson, IsNothingBeyondTheDepthThatIsRead) {
  EXPECT_NE(indentedJson(std::string(256, '[') + std::string(256, ']')), std::nullopt);
  EXPECT_EQ(indentedJson(std::string(257, '[') + std::string(257, ']')), std::nullopt);
}

TEST(IndentedJson, TakesTimeThatGrowsWithTheText) {
  std::string text = "{\"0\": \"\"";
  for (int member = 1; member < 200000; ++member) text += ", \"" + std::to_string(member) + "\": \"name\"";
  const std::string result = indented(text + '}');
  EXPECT_EQ(std::count(result.begin(), result.end(), '\n'), 200001);
}

}  // namespace
