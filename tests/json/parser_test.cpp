#include "json/json.h"
#include "support/json_cases.h"

#include <gtest/gtest.h>

namespace {

using json11::Json;
using json11::JsonParse;
using namespace std::string_literals;

class Parse : public testing::TestWithParam<ParseCase> {};

TEST_P(Parse, GivesTheValueOrTheFirstError) {
  const ParseCase& row = GetParam();
  const ParseOutcome outcome = parsed(row.text);
  EXPECT_EQ(outcome.error, row.error);
  EXPECT_EQ(outcome.value.dump(), row.error.empty() ? row.printed : "null");
}

std::string repeated(const std::string& text, int times) {
  std::string result;
  for (int i = 0; i < times; ++i) result += text;
  return result;
}

std::string nested(int depth) {
  return repeated("[", depth) + repeated("]", depth);
}

std::string nestedObjects(int depth) {
  return repeated("{\"a\":", depth) + "0" + repeated("}", depth);
}

const std::string kHighSurrogate = "\xED\xA0\xBD";  // U+D83D alone
const std::string kLowSurrogate = "\xED\xB8\x80";   // U+DE00 alone

const ParseCase kStructure[] = {
    {.label = "null", .text = "null", .printed = "null"},
    {.label = "true with white space around", .text = " \t\r\n true \t\r\n", .printed = "true"},
    {.label = "false", .text = "false", .printed = "false"},
    {.label = "empty object", .text = "{ }", .printed = "{}"},
    {.label = "empty array", .text = "[ ]", .printed = "[]"},
    {.label = "members are sorted",
     .text = R"({"b":2,"a":1,"":0,"ab":3})",
     .printed = R"({"": 0, "a": 1, "ab": 3, "b": 2})"},
    {.label = "the last of repeated members wins",
     .text = R"({"a":1,"b":5,"a":2})",
     .printed = R"({"a": 2, "b": 5})"},
    {.label = "a repeated member in order", .text = R"({"a":1,"a":2})", .printed = R"({"a": 2})"},
    {.label = "descending members",
     .text = R"({"c":1,"b":2,"a":3})",
     .printed = R"({"a": 3, "b": 2, "c": 1})"},
    {.label = "an escaped key", .text = R"({"\u0061":1,"a":2})", .printed = R"({"a": 2})"},
    {.label = "arrays in arrays",
     .text = R"([[],[1],[[2,3],4],{"a":[5]},6])",
     .printed = R"([[], [1], [[2, 3], 4], {"a": [5]}, 6])"},
    {.label = "empty text", .text = "", .error = "unexpected end of input"},
    {.label = "white space only", .text = " \n", .error = "unexpected end of input"},
    {.label = "open object", .text = "{", .error = "unexpected end of input"},
    {.label = "open array", .text = "[", .error = "unexpected end of input"},
    {.label = "array ends after a comma", .text = "[1,", .error = "unexpected end of input"},
    {.label = "array ends after an element", .text = "[1", .error = "unexpected end of input"},
    {.label = "object ends after a key", .text = R"({"a")", .error = "unexpected end of input"},
    {.label = "object ends after a colon", .text = R"({"a":)", .error = "unexpected end of input"},
    {.label = "object ends after a value", .text = R"({"a":1)", .error = "unexpected end of input"},
    {.label = "object ends after a comma", .text = R"({"a":1,)", .error = "unexpected end of input"},
    {.label = "comma before bracket", .text = "[1,]", .error = "expected value, got ']' (93)"},
    {.label = "no comma in array", .text = "[1 2]", .error = "expected ',' in list, got '2' (50)"},
    {.label = "brace in array", .text = "[1}", .error = "expected ',' in list, got '}' (125)"},
    {.label = "a key that is a number", .text = "{1:2}", .error = R"(expected '"' in object, got '1' (49))"},
    {.label = "comma before brace",
     .text = R"({"a":1,})",
     .error = R"(expected '"' in object, got '}' (125))"},
    {.label = "no colon", .text = R"({"a" 1})", .error = "expected ':' in object, got '1' (49)"},
    {.label = "no comma in object",
     .text = R"({"a":1 "b":2})",
     .error = "expected ',' in object, got '\"' (34)"},
    {.label = "text behind a value", .text = "{} x", .error = "unexpected trailing 'x' (120)"},
    {.label = "a second value", .text = "1 2", .error = "unexpected trailing '2' (50)"},
    {.label = "a zero byte", .text = "\0"s, .error = "expected value, got (0)"},
    {.label = "a zero byte behind a value", .text = "1\0"s, .error = "unexpected trailing (0)"},
    {.label = "a zero byte in an object", .text = "{\0"s, .error = "expected '\"' in object, got (0)"},
    {.label = "a zero byte for a colon", .text = "{\"a\"\0"s, .error = "expected ':' in object, got (0)"},
    {.label = "a zero byte for a comma in an object",
     .text = "{\"a\":1\0"s,
     .error = "expected ',' in object, got (0)"},
    {.label = "a zero byte for a comma in an array",
     .text = "[1\0"s,
     .error = "expected ',' in list, got (0)"},
    {.label = "a byte above 0x7F", .text = "\xC3\xA9", .error = "expected value, got (-61)"},
    {.label = "the highest byte", .text = "\xFF", .error = "expected value, got (-1)"},
    {.label = "the byte 0x80", .text = "\x80", .error = "expected value, got (-128)"},
    {.label = "delete", .text = "\x7F", .error = "expected value, got '\x7F' (127)"},
    {.label = "vertical tab", .text = "\v1", .error = "expected value, got (11)"},
    {.label = "form feed", .text = "\f1", .error = "expected value, got (12)"},
    {.label = "byte 31", .text = "\x1F", .error = "expected value, got (31)"},
    {.label = "plus sign", .text = "+1", .error = "expected value, got '+' (43)"},
    {.label = "a slash in the standard mode", .text = "/", .error = "expected value, got '/' (47)"},
    {.label = "a comment in the standard mode", .text = "1 /", .error = "unexpected trailing '/' (47)"},
    {.label = "true cut short", .text = "tru", .error = "parse error: expected true, got tru"},
    {.label = "true misspelt", .text = "trux and more", .error = "parse error: expected true, got trux"},
    {.label = "false misspelt", .text = "fals", .error = "parse error: expected false, got fals"},
    {.label = "null misspelt", .text = "nul]", .error = "parse error: expected null, got nul]"},
    {.label = "null of one letter", .text = "n", .error = "parse error: expected null, got n"},
    {.label = "literals are case-sensitive", .text = "True", .error = "expected value, got 'T' (84)"},
    {.label = "text behind a literal", .text = "truex", .error = "unexpected trailing 'x' (120)"},
    {.label = "201 levels", .text = nested(201), .printed = nested(201)},
    {.label = "202 levels", .text = nested(202), .error = "exceeded maximum nesting depth"},
    {.label = "a value at level 201",
     .text = repeated("[", 201) + "1" + repeated("]", 201),
     .error = "exceeded maximum nesting depth"},
    {.label = "201 open levels", .text = repeated("[", 201), .error = "unexpected end of input"},
    {.label = "202 open levels", .text = repeated("[", 202), .error = "exceeded maximum nesting depth"},
    {.label = "201 levels of objects", .text = nestedObjects(201), .error = "exceeded maximum nesting depth"},
    {.label = "the first error wins",
     .text = R"([tru, "\x)",
     .error = "parse error: expected true, got tru,"},
};

const ParseCase kStrings[] = {
    {.label = "empty string", .text = R"("")", .printed = R"("")"},
    {.label = "short escapes", .text = R"("\b\f\n\r\t\"\\\/")", .printed = R"("\b\f\n\r\t\"\\/")"},
    {.label = "escapes among plain text",
     .text = R"("plain text, long enough\tto be copied in runs\\end")",
     .printed = R"("plain text, long enough\tto be copied in runs\\end")"},
    {.label = "U+0000", .text = R"("\u0000")", .printed = R"("\u0000")"},
    {.label = "U+001F", .text = R"("\u001F")", .printed = R"("\u001f")"},
    {.label = "U+007F", .text = R"("\u007f")", .printed = "\"\x7F\""},
    {.label = "U+0080", .text = R"("\u0080")", .printed = "\"\xC2\x80\""},
    {.label = "U+07FF", .text = R"("\u07ff")", .printed = "\"\xDF\xBF\""},
    {.label = "U+0800", .text = R"("\u0800")", .printed = "\"\xE0\xA0\x80\""},
    {.label = "U+FFFF", .text = R"("\uFFFF")", .printed = "\"\xEF\xBF\xBF\""},
    {.label = "U+10000", .text = R"("\ud800\udc00")", .printed = "\"\xF0\x90\x80\x80\""},
    {.label = "U+10FFFF", .text = R"("\uDBFF\uDFFF")", .printed = "\"\xF4\x8F\xBF\xBF\""},
    {.label = "U+1F600", .text = R"("\ud83d\ude00")", .printed = "\"\xF0\x9F\x98\x80\""},
    {.label = "a high surrogate alone", .text = R"("\ud83d")", .printed = "\"" + kHighSurrogate + "\""},
    {.label = "a low surrogate alone", .text = R"("\ude00")", .printed = "\"" + kLowSurrogate + "\""},
    {.label = "surrogates in the wrong order",
     .text = R"("\ude00\ud83d")",
     .printed = "\"" + kLowSurrogate + kHighSurrogate + "\""},
    {.label = "two high surrogates and a low one",
     .text = R"("\ud83d\ud83d\ude00")",
     .printed = "\"" + kHighSurrogate + "\xF0\x9F\x98\x80\""},
    {.label = "a pair and a low surrogate",
     .text = R"("\ud83d\ude00\ude00")",
     .printed = "\"\xF0\x9F\x98\x80" + kLowSurrogate + "\""},
    {.label = "a letter between surrogates",
     .text = R"("\ud83dx\ude00")",
     .printed = "\"" + kHighSurrogate + "x" + kLowSurrogate + "\""},
    {.label = "an escape between surrogates",
     .text = R"("\ud83d\n\ude00")",
     .printed = "\"" + kHighSurrogate + "\\n" + kLowSurrogate + "\""},
    {.label = "a code point behind a code point", .text = R"("\u0041\u0042")", .printed = R"("AB")"},
    {.label = "the edges of the surrogates",
     .text = R"("\ud7ff\udc00\udbff\ue000")",
     .printed = "\"\xED\x9F\xBF\xED\xB0\x80\xED\xAF\xBF\xEE\x80\x80\""},
    {.label = "bytes that are not UTF-8", .text = "\"\xFF\x80\xC3\"", .printed = "\"\xFF\x80\xC3\""},
    {.label = "no end", .text = R"("abc)", .error = "unexpected end of input in string"},
    {.label = "no end of a long string",
     .text = "\"" + std::string(100, 'x'),
     .error = "unexpected end of input in string"},
    {.label = "end behind a backslash", .text = R"("abc\)", .error = "unexpected end of input in string"},
    {.label = "end behind an escape", .text = R"("abc\n)", .error = "unexpected end of input in string"},
    {.label = "a line feed", .text = "\"a\nb\"", .error = "unescaped (10) in string"},
    {.label = "a zero byte in a string", .text = "\"a\0b\""s, .error = "unescaped (0) in string"},
    {.label = "byte 31 in a string",
     .text = "\"a long text before it \x1F\"",
     .error = "unescaped (31) in string"},
    {.label = "an unknown escape", .text = R"("\x41")", .error = "invalid escape character 'x' (120)"},
    {.label = "an escaped byte above 0x7F", .text = "\"\\\xC3\"", .error = "invalid escape character (-61)"},
    {.label = "an escaped zero byte", .text = "\"\\\0\""s, .error = "invalid escape character (0)"},
    {.label = "three hexadecimal digits", .text = R"("\u123")", .error = R"(bad \u escape: 123")"},
    {.label = "end in the digits", .text = R"("\u12)", .error = R"(bad \u escape: 12)"},
    {.label = "end before the digits", .text = R"("\u)", .error = R"(bad \u escape: )"},
    {.label = "a digit that is none", .text = R"("\u12G4")", .error = R"(bad \u escape: 12G4)"},
    {.label = "a sign among the digits", .text = R"("\u+123")", .error = R"(bad \u escape: +123)"},
    {.label = "a key without end", .text = R"({"a)", .error = "unexpected end of input in string"},
};

std::string labelOf(const testing::TestParamInfo<ParseCase>& test) {
  std::string name;
  for (const char c : std::string(test.param.label))
    name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
  return name;
}

INSTANTIATE_TEST_SUITE_P(Structure, Parse, testing::ValuesIn(kStructure), labelOf);
INSTANTIATE_TEST_SUITE_P(Strings, Parse, testing::ValuesIn(kStrings), labelOf);

TEST(Parse, LeavesTheErrorAloneOnSuccess) {
  std::string error = "before";
  EXPECT_EQ(Json::parse("1", error), Json(1));
  EXPECT_EQ(error, "before");
}

TEST(Parse, FindsTheEndOfAStringOfEveryLength) {
  for (std::size_t length = 0; length < 600; ++length) {
    const std::string text(length, 'x');
    EXPECT_EQ(parsed("\"" + text + "\"").value.stringValue(), text);
    EXPECT_EQ(parsed("\"" + text + "\\n\"").value.stringValue(), text + "\n");
    EXPECT_EQ(parsed("[\"\\t" + text + "\\u00e9" + text + "\"]").value[0].stringValue(),
              "\t" + text + "\xC3\xA9" + text);
  }
}

TEST(Parse, NeedsNoStackForTheLengthOfAnArray) {
  const std::string text = "[" + repeated("0,", 200000) + "0]";
  EXPECT_EQ(parsed(text).value.arrayItems().size(), 200001U);
}

// --- comments ---

class ParseComments : public testing::TestWithParam<ParseCase> {};

TEST_P(ParseComments, GivesTheValueOrTheFirstError) {
  const ParseCase& row = GetParam();
  const ParseOutcome outcome = parsed(row.text, JsonParse::Comments);
  EXPECT_EQ(outcome.error, row.error);
  EXPECT_EQ(outcome.value.dump(), row.error.empty() ? row.printed : "null");
}

const ParseCase kComments[] = {
    {.label = "a block before and a line behind", .text = "/* a */ 1 // b", .printed = "1"},
    {.label = "everywhere",
     .text = "/**/{//x\n\"a\"/*y*/:/*z*/[1/**/,//\n2/**/]/**/}//",
     .printed = R"({"a": [1, 2]})"},
    {.label = "several in a row", .text = "//a\n//b\n/*c*//*d*/1", .printed = "1"},
    {.label = "stars in a block", .text = "/***/1/* ** / **/", .printed = "1"},
    {.label = "a line comment ends at the line feed", .text = "1 // x\r still\n", .printed = "1"},
    {.label = "none at all", .text = "[1]", .printed = "[1]"},
    {.label = "inside a string they are text", .text = R"("/* // */")", .printed = R"("/* // */")"},
    {.label = "a slash at the end", .text = "1 /", .error = "unexpected end of input after start of comment"},
    {.label = "a slash and a letter", .text = "/x", .error = "malformed comment"},
    {.label = "a block without end",
     .text = "/* 1",
     .error = "unexpected end of input inside multi-line comment"},
    {.label = "a block that ends at its beginning",
     .text = "/*/",
     .error = "unexpected end of input inside multi-line comment"},
    {.label = "a block of one star",
     .text = "/*",
     .error = "unexpected end of input inside multi-line comment"},
    {.label = "a block with half an end",
     .text = "1/* *",
     .error = "unexpected end of input inside multi-line comment"},
    {.label = "nothing but a comment", .text = "// x", .error = "unexpected end of input"},
    {.label = "text behind", .text = "1 /**/ x", .error = "unexpected trailing 'x' (120)"},
};

INSTANTIATE_TEST_SUITE_P(All, ParseComments, testing::ValuesIn(kComments), labelOf);

// --- parseMulti ---

struct MultiCase {
  const char* label;
  std::string text;
  std::string printed;  ///< all values as one array
  std::string error;
  std::size_t stop;
};

class ParseMulti : public testing::TestWithParam<std::tuple<MultiCase, JsonParse>> {};

TEST_P(ParseMulti, GivesAllValuesUpToTheFirstErrorAndWhereTheLastOneEnded) {
  const auto& [row, strategy] = GetParam();
  SCOPED_TRACE(row.label);
  std::string error;
  std::size_t stop = 77;
  EXPECT_EQ(Json(Json::parseMulti(row.text, stop, error, strategy)).dump(), row.printed);
  EXPECT_EQ(error, row.error);
  EXPECT_EQ(stop, row.stop);
}

const MultiCase kMulti[] = {
    {"empty", "", "[]", "", 0},
    {"one", "1", "[1]", "", 1},
    {"touching", "{}[]\"a\"null1", "[{}, [], \"a\", null, 1]", "", 12},
    {"white space between and behind", "1 2 \n 3 \t", "[1, 2, 3]", "", 9},
    {"white space only", " ", "[null]", "unexpected end of input", 0},
    {"an error behind a value", "[1] x 2", "[[1], null]", "expected value, got 'x' (120)", 4},
    {"an error at the start", "x 2", "[null]", "expected value, got 'x' (120)", 0},
};

INSTANTIATE_TEST_SUITE_P(All, ParseMulti,
                         testing::Combine(testing::ValuesIn(kMulti),
                                          testing::Values(JsonParse::Standard, JsonParse::Comments)));

TEST(ParseMulti, SkipsCommentsBetweenValues) {
  std::string error;
  std::size_t stop = 0;
  EXPECT_EQ(Json(Json::parseMulti("1//\n2/**/", stop, error, JsonParse::Comments)).dump(), "[1, 2]");
  EXPECT_EQ(stop, 9U);
  EXPECT_EQ(error, "");
}

TEST(ParseMulti, StopsAtABadCommentBehindAValueAndKeepsTheValue) {
  std::string error;
  std::size_t stop = 0;
  EXPECT_EQ(Json(Json::parseMulti("1 2 /x", stop, error, JsonParse::Comments)).dump(), "[1, 2]");
  EXPECT_EQ(stop, 2U);
  EXPECT_EQ(error, "malformed comment");
}

}  // namespace
