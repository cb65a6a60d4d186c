#include "companion/clients/json_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

const KeyPath kPath = {"servers", "ours"};
const OrderedJson kValue = {{"command", "/bin/server"}};

struct Row {
  const char* label;
  std::string before;
  std::string after;  ///< with {"servers": {"ours": {"command": "/bin/server"}}} set
};

const Row kSetRows[] = {
    {"nothing there", "{}",
     "{\n  \"servers\": {\n    \"ours\": {\n      \"command\": \"/bin/server\"\n    }\n  }\n}"},
    {"empty over two lines", "{\n}\n",
     "{\n  \"servers\": {\n    \"ours\": {\n      \"command\": \"/bin/server\"\n    }\n  }\n}\n"},
    {"all on one line", R"({"b": 1, "a": [2]})",
     R"({"b": 1, "a": [2], "servers": {"ours":{"command":"/bin/server"}}})"},
    {"another server, four blanks",
     "{\n    \"servers\": {\n        \"other\": {}\n    },\n    \"z\": 1.0\n}\n",
     "{\n    \"servers\": {\n        \"other\": {},\n        \"ours\": {\n            \"command\": "
     "\"/bin/server\"\n"
     "        }\n    },\n    \"z\": 1.0\n}\n"},
    {"tabs and carriage returns", "{\r\n\t\"servers\": {}\r\n}\r\n",
     "{\r\n\t\"servers\": {\r\n\t\t\"ours\": {\r\n\t\t\t\"command\": "
     "\"/bin/server\"\r\n\t\t}\r\n\t}\r\n}\r\n"},
    {"replaced where it stands", "{\n \"servers\": {\n  \"ours\": [1, 2],\n  \"z\": 1\n }\n}",
     "{\n \"servers\": {\n  \"ours\": {\n   \"command\": \"/bin/server\"\n  },\n  \"z\": 1\n }\n}"},
    {"the last of two of the same name", R"({"servers": {"ours": 1, "ours": 2}})",
     "{\"servers\": {\"ours\": 1, \"ours\": {\n  \"command\": \"/bin/server\"\n}}}"},
    {"an escaped name", R"({"serv\u0065rs": {"ours": 2}})",
     "{\"serv\\u0065rs\": {\"ours\": {\n  \"command\": \"/bin/server\"\n}}}"},
    {"brackets in strings", R"({"a": "}]\"{", "servers": {"b": ["]}", {"c": "\\"}]}})",
     R"({"a": "}]\"{", "servers": {"b": ["]}", {"c": "\\"}], "ours": {"command":"/bin/server"}}})"},
    {"a byte order mark", "\xEF\xBB\xBF{}",
     "\xEF\xBB\xBF{\n  \"servers\": {\n    \"ours\": {\n      \"command\": \"/bin/server\"\n    }\n  }\n}"},
    {"comments", "// top\n{\n  \"a\": 1 // one, {\n  /* end } */\n}\n// below",
     "// top\n{\n  \"a\": 1, // one, {\n  /* end } */\n  \"servers\": {\n    \"ours\": {\n"
     "      \"command\": \"/bin/server\"\n    }\n  }\n}\n// below"},
    {"comments in the old value",
     "{\n  \"servers\": {\n    \"ours\": [ // one\r\n      \"//\", /* two */ 1\n    ]\n  }\n}",
     "{\n  \"servers\": {\n    // one\r\n    /* two */\r\n    \"ours\": {\r\n      \"command\": "
     "\"/bin/server\"\r\n    }\n  }\n}"},
    {"a comma behind the last member", "{\n  \"a\": \"//\", // x\n}",
     "{\n  \"a\": \"//\", // x\n  \"servers\": {\n    \"ours\": {\n      \"command\": \"/bin/server\"\n    "
     "}\n  }\n}"},
};

TEST(WithMember, ChangesNothingElse) {
  for (const Row& row : kSetRows) EXPECT_EQ(withMember(row.before, kPath, kValue), row.after) << row.label;
}

TEST(WithMember, GivesTextThatParsesToTheSameButForTheMember) {
  for (const Row& row : kSetRows) {
    std::string error;
    OrderedJson expected = parseJson(row.before, JsonDialect::kCommented, error).value();
    expected["servers"]["ours"] = kValue;
    const std::string text = withMember(row.before, kPath, kValue);
    EXPECT_EQ(parseJson(text, JsonDialect::kCommented, error), expected) << row.label << error;
  }
}

TEST(WithoutMember, TakesOutWhatWithMemberPutIn) {
  for (const std::string text :
       {"{\n  \"servers\": {}\n}\n", "{\n  \"servers\": {\n    \"a\": 1\n  }\n}", R"({"servers": {"a": 1}})",
        "{\n  \"servers\": {\n    \"a\": 1 // one\n    // two\n  }\n}", "{\"servers\": {}, \"b\": [1,  2]}"})
    EXPECT_EQ(withoutMember(withMember(text, kPath, kValue), kPath), text);
}

struct RemoveRow {
  const char* label;
  std::string before;
  std::string after;
};

const RemoveRow kRemovals[] = {
    {"first of two", "{\"servers\": {\n  \"ours\": {},\n  \"b\": 2\n}}", "{\"servers\": {\n  \"b\": 2\n}}"},
    {"in the middle of a line", R"({"servers": {"a": 1, "ours": {}, "b": 2}})",
     R"({"servers": {"a": 1,  "b": 2}})"},
    {"behind a comment that ends its line", "{\"servers\": {// c\n\"ours\": {}, \"b\": 2}}",
     "{\"servers\": {// c\n \"b\": 2}}"},
    {"the last, with a comma", "{\"servers\": {\n  \"a\": 1,\n  \"ours\": {},\n}}",
     "{\"servers\": {\n  \"a\": 1,\n}}"},
    {"a comment before the comma", "{\"servers\": {\"ours\": {} /* a */, \"b\": 2}}",
     "{\"servers\": { /* a */ \"b\": 2}}"},
    {"a comment before the closing brace's line", "{\"servers\": {\"b\": 2, // c\n\"ours\": {} }}",
     "{\"servers\": {\"b\": 2 // c\n }}"},
    {"comments stay", "{\"servers\": {\n  \"a\": 1, // a\n  // ours\n  \"ours\": {} // end\n}}",
     "{\"servers\": {\n  \"a\": 1 // a\n  // ours // end\n}}"},
};

TEST(WithoutMember, ChangesNothingElse) {
  for (const RemoveRow& row : kRemovals) {
    std::string error;
    const std::string text = withoutMember(row.before, kPath);
    EXPECT_EQ(text, row.after) << row.label;
    OrderedJson expected = parseJson(row.before, JsonDialect::kCommented, error).value();
    expected["servers"].erase("ours");
    EXPECT_EQ(parseJson(text, JsonDialect::kCommented, error), expected) << row.label << error;
  }
}

TEST(ParseJson, TellsThePlaceOfAMistake) {
  std::string error;
  EXPECT_EQ(parseJson("{\n  \"a\": 1,\n  b\n}", JsonDialect::kStrict, error), std::nullopt);
  EXPECT_THAT(error, testing::StartsWith("line 3, column 3: "));
  EXPECT_EQ(parseJson("", JsonDialect::kStrict, error), std::nullopt);
  EXPECT_THAT(error, testing::StartsWith("line 1, column 1: "));
}

TEST(ParseJson, TakesCommentsAndLastCommasOnlyWhereTheyAreUsual) {
  const std::string text = "{\"a\": [1, 2, /* three */ ], // a\n}";
  std::string error;
  EXPECT_EQ(parseJson(text, JsonDialect::kStrict, error), std::nullopt);
  EXPECT_EQ(parseJson(text, JsonDialect::kCommented, error), OrderedJson({{"a", {1, 2}}}));
}

TEST(ParseJson, LeavesCommasInStringsAlone) {
  std::string error;
  EXPECT_EQ(parseJson(R"(["a,]", "\",}"])", JsonDialect::kCommented, error), OrderedJson({"a,]", "\",}"}));
}

TEST(ParseJson, RefusesBrokenTextsOfEitherDialect) {
  for (const std::string text :
       {"{", "{\"", "{\"\\", "{\"a\": 1,", "{} /", "{} /*", "[,]", "[1,,]", "{\"a\":,}", "{,}", "{\"a\" 1}"})
    for (const JsonDialect dialect : {JsonDialect::kStrict, JsonDialect::kCommented}) {
      std::string error;
      EXPECT_EQ(parseJson(text, dialect, error), std::nullopt) << text;
      EXPECT_NE(error, "") << text;
    }
}

}  // namespace
