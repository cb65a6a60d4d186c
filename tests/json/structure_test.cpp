// Literals, arrays, objects, their depth, and what may stand around a value.

#include "json/json.h"
#include "json/parse_rows.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

using json11::Json;

namespace {

using namespace std::string_literals;

constexpr const char* kEnd = "unexpected end of input";
constexpr const char* kTooDeep = "exceeded maximum nesting depth";

std::string repeated(int count, const std::string& piece) {
  std::string text;
  for (; count > 0; --count) text += piece;
  return text;
}

// --- around a value ---

TEST(Parse, SkipsTheFourWhiteSpaceBytes) {
  expectGood({
      {"before and behind", " \t\r\n1 \t\r\n", "1"},
      {"in an empty array", "[ \t\r\n]", "[]"},
      {"in an empty object", "{ \t\r\n}", "{}"},
      {"around elements", "[ 1 , 2 ]", "[1, 2]"},
      {"around members", "{ \"a\" : 1 , \"b\" : 2 }", "{\"a\": 1, \"b\": 2}"},
  });
}

TEST(Parse, TakesNothingElseForWhiteSpace) {
  expectBad({
      {"vertical tab", "\v1", "expected value, got (11)"},
      {"form feed", "\f1", "expected value, got (12)"},
      {"vertical tab behind", "1\v", "unexpected trailing (11)"},
      {"form feed behind", "1 \f", "unexpected trailing (12)"},
      {"no-break space",
       "\xC2\xA0"
       "1",
       "expected value, got (-62)"},
      {"byte order mark",
       "\xEF\xBB\xBF"
       "1",
       "expected value, got (-17)"},
      {"zero byte",
       "\0"
       "1"s,
       "expected value, got (0)"},
  });
}

TEST(Parse, NeedsAValue) {
  expectBad({
      {"empty", "", kEnd},
      {"only blanks", "  ", kEnd},
      {"all white space", " \t\r\n", kEnd},
      {"zero byte", "\0"s, "expected value, got (0)"},
      {"letter", "x", "expected value, got 'x' (120)"},
      {"capital literal", "True", "expected value, got 'T' (84)"},
      {"closing bracket", "]", "expected value, got ']' (93)"},
      {"closing brace", "}", "expected value, got '}' (125)"},
      {"comma", ",", "expected value, got ',' (44)"},
      {"apostrophe", "'a'", "expected value, got ''' (39)"},
      {"high byte", "\xC3\xA9", "expected value, got (-61)"},
      {"byte 0x80", "\x80", "expected value, got (-128)"},
      {"byte 0xFF", "\xFF", "expected value, got (-1)"},
      {"byte 0x7F", "\x7F", "expected value, got '\x7F' (127)"},
      {"byte 0x1F", "\x1F", "expected value, got (31)"},
      {"slash", "/", "expected value, got '/' (47)"},
  });
}

TEST(Parse, QuotesEveryByteInItsMessages) {
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const int code = byte < 128 ? byte : byte - 256;
    const std::string number = "(" + std::to_string(code) + ")";
    const std::string quoted = code < 32 ? number : std::string("'") + c + "' " + number;
    std::string error;
    Json::parse("[1" + std::string(1, c), error);
    const bool continuesTheArray =
        std::string_view(" \t\r\n],.eE0123456789").find(c) != std::string_view::npos;
    if (continuesTheArray) continue;
    EXPECT_EQ(error, "expected ',' in list, got " + quoted);
  }
}

TEST(Parse, RefusesWhatFollowsTheValue) {
  expectBad({
      {"letter behind an object", "{} x", "unexpected trailing 'x' (120)"},
      {"second value", "1 2", "unexpected trailing '2' (50)"},
      {"second bracket", "[]]", "unexpected trailing ']' (93)"},
      {"comma", "1,", "unexpected trailing ',' (44)"},
      {"zero byte", "{}\0"s, "unexpected trailing (0)"},
      {"zero byte behind a blank", "{} \0"s, "unexpected trailing (0)"},
      {"high byte", "\"a\"\xC3", "unexpected trailing (-61)"},
      {"letter behind a literal", "nullx", "unexpected trailing 'x' (120)"},
      {"second line", "{}\n{}", "unexpected trailing '{' (123)"},
  });
}

// --- literals ---

TEST(ParseLiteral, ReadsTheThree) {
  expectGood({
      {"true", "true", "true"},
      {"false", "false", "false"},
      {"null", "null", "null"},
      {"in an array", "[true,false,null]", "[true, false, null]"},
  });
  EXPECT_EQ(parsed("true").type(), Json::Type::Bool);
  EXPECT_EQ(parsed("null").type(), Json::Type::Null);
}

TEST(ParseLiteral, ShowsAsManyBytesAsItExpected) {
  expectBad({
      {"end of input in true", "tru", "parse error: expected true, got tru"},
      {"only the first letter", "t", "parse error: expected true, got t"},
      {"end of input in false", "fals", "parse error: expected false, got fals"},
      {"end of input in null", "nul", "parse error: expected null, got nul"},
      {"other letters", "trap doors", "parse error: expected true, got trap"},
      {"five bytes for false", "falling", "parse error: expected false, got falli"},
      {"four bytes for null", "none at all", "parse error: expected null, got none"},
      {"capitals", "tRUE", "parse error: expected true, got tRUE"},
      {"zero byte", "tr\0e"s, "parse error: expected true, got tr\0e"s},
      {"high bytes", "nu\xC3\xA9", "parse error: expected null, got nu\xC3\xA9"},
      {"in an array", "[tru]", "parse error: expected true, got tru]"},
      {"in an object", "{\"a\":fal}", "parse error: expected false, got fal}"},
      {"behind white space", "  nil", "parse error: expected null, got nil"},
  });
}

// --- arrays ---

TEST(ParseArray, ReadsItsElementsInOrder) {
  expectGood({
      {"empty", "[]", "[]"},
      {"one", "[1]", "[1]"},
      {"several", "[1,\"a\",null,[],{}]", "[1, \"a\", null, [], {}]"},
      {"nested after elements", "[1,[2,[3,4],5],6]", "[1, [2, [3, 4], 5], 6]"},
      {"nested first", "[[[1],2],3]", "[[[1], 2], 3]"},
      {"in an object in an array", "[0,{\"a\":[1,2]},3]", "[0, {\"a\": [1, 2]}, 3]"},
  });
}

TEST(ParseArray, ReadsManyElements) {
  const std::string ones = repeated(200000, "1, ");
  EXPECT_EQ(parsed("[" + ones + "2]").dump(), "[" + ones + "2]");
}

TEST(ParseArray, NeedsCommasBetweenElements) {
  expectBad({
      {"second element", "[1 2]", "expected ',' in list, got '2' (50)"},
      {"colon", "[1:2]", "expected ',' in list, got ':' (58)"},
      {"closing brace", "[1}", "expected ',' in list, got '}' (125)"},
      {"zero byte", "[1\0]"s, "expected ',' in list, got (0)"},
      {"high byte", "[1\xC3]", "expected ',' in list, got (-61)"},
      {"string", "[\"a\"\"b\"]", "expected ',' in list, got '\"' (34)"},
      {"end of input", "[1", kEnd},
      {"end of input behind white space", "[1 ", kEnd},
  });
}

TEST(ParseArray, NeedsAnElementBehindAComma) {
  expectBad({
      {"comma before bracket", "[1,]", "expected value, got ']' (93)"},
      {"comma, blank, bracket", "[1, ]", "expected value, got ']' (93)"},
      {"two commas", "[1,,2]", "expected value, got ',' (44)"},
      {"comma first", "[,1]", "expected value, got ',' (44)"},
      {"closing brace", "[}", "expected value, got '}' (125)"},
      {"zero byte", "[\0]"s, "expected value, got (0)"},
      {"zero byte behind a comma", "[1,\0]"s, "expected value, got (0)"},
      {"high byte", "[\xC3]", "expected value, got (-61)"},
      {"end of input", "[", kEnd},
      {"end of input behind white space", "[ ", kEnd},
      {"end of input behind a comma", "[1,", kEnd},
      {"end of input behind comma and white space", "[1, ", kEnd},
  });
}

TEST(ParseArray, StopsAtTheFirstError) {
  expectBad({
      {"in the first element", "[tru, fals", "parse error: expected true, got tru,"},
      {"deep inside", "[[[x]]", "expected value, got 'x' (120)"},
      {"after good elements", "[1,[2,3],-]", "invalid ']' (93) in number"},
  });
}

// --- objects ---

TEST(ParseObject, KeepsMembersInTheOrderOfTheirKeys) {
  expectGood({
      {"empty", "{}", "{}"},
      {"one", R"({"a":1})", R"({"a": 1})"},
      {"ascending", R"({"a":1,"b":2,"c":3})", R"({"a": 1, "b": 2, "c": 3})"},
      {"descending", R"({"c":3,"b":2,"a":1})", R"({"a": 1, "b": 2, "c": 3})"},
      {"mixed", R"({"m":1,"z":2,"a":3,"n":4,"":5})", R"({"": 5, "a": 3, "m": 1, "n": 4, "z": 2})"},
      {"prefix behind the longer", R"({"ab":1,"a":2})", R"({"a": 2, "ab": 1})"},
      {"bytes above 0x7F last", "{\"\xC3\xA9\":1,\"z\":2}", "{\"z\": 2, \"\xC3\xA9\": 1}"},
      {"nested", R"({"b":{"d":1,"c":2},"a":[{}]})", R"({"a": [{}], "b": {"c": 2, "d": 1}})"},
      {"key with escapes", R"({"\n\"":1})", R"({"\n\"": 1})"},
      {"key with a zero", R"({"a\u0000b":1,"a":2})", R"({"a": 2, "a\u0000b": 1})"},
  });
}

TEST(ParseObject, LetsTheLastOfARepeatedKeyWin) {
  expectGood({
      {"side by side", R"({"a":1,"a":2})", R"({"a": 2})"},
      {"far apart", R"({"a":1,"b":2,"c":3,"a":4})", R"({"a": 4, "b": 2, "c": 3})"},
      {"last key repeated", R"({"a":1,"z":2,"b":3,"z":4})", R"({"a": 1, "b": 3, "z": 4})"},
      {"descending", R"({"b":1,"a":2,"b":3,"a":4})", R"({"a": 4, "b": 3})"},
      {"three times", R"({"a":1,"a":2,"a":3})", R"({"a": 3})"},
      {"other kind", R"({"a":[1],"a":null})", R"({"a": null})"},
      {"written differently", R"({"a":1,"\u0061":2})", R"({"a": 2})"},
      {"empty key", R"({"":1,"":2})", R"({"": 2})"},
  });
}

TEST(ParseObject, ReadsManyMembersInAnyOrder) {
  std::string text = "{";
  Json::object expected;
  for (int i = 0; i < 2000; ++i) {
    const std::string key = std::to_string((i * 7919) % 2000);
    text += (i > 0 ? ", \"" : "\"") + key + "\": " + std::to_string(i);
    expected[key] = i;
  }
  EXPECT_EQ(parsed(text + "}").dump(), Json(expected).dump());
}

TEST(ParseObject, NeedsAStringForAKey) {
  const std::string message = "expected '\"' in object, got ";
  expectBad({
      {"number", "{1:2}", message + "'1' (49)"},
      {"letter", "{a:1}", message + "'a' (97)"},
      {"apostrophe", "{'a':1}", message + "''' (39)"},
      {"comma", "{,}", message + "',' (44)"},
      {"comma before brace", R"({"a":1,})", message + "'}' (125)"},
      {"two commas", R"({"a":1,,"b":2})", message + "',' (44)"},
      {"bracket", "{]", message + "']' (93)"},
      {"zero byte", "{\0}"s, message + "(0)"},
      {"zero byte behind a comma", "{\"a\":1,\0}"s, message + "(0)"},
      {"high byte", "{\xC3}", message + "(-61)"},
      {"number behind a comma", R"({"a":1,2:3})", message + "'2' (50)"},
      {"end of input", "{", kEnd},
      {"end of input behind a comma", R"({"a":1,)", kEnd},
      {"end of input behind white space", "{ ", kEnd},
  });
}

TEST(ParseObject, NeedsAColonBehindAKey) {
  const std::string message = "expected ':' in object, got ";
  expectBad({
      {"value", R"({"a" 1})", message + "'1' (49)"},
      {"equals sign", R"({"a"=1})", message + "'=' (61)"},
      {"comma", R"({"a",1})", message + "',' (44)"},
      {"closing brace", R"({"a"})", message + "'}' (125)"},
      {"zero byte", "{\"a\"\0:1}"s, message + "(0)"},
      {"high byte", "{\"a\"\xC3:1}", message + "(-61)"},
      {"second member", R"({"a":1,"b"})", message + "'}' (125)"},
      {"end of input", R"({"a")", kEnd},
      {"end of input behind white space", "{\"a\"\t", kEnd},
  });
}

TEST(ParseObject, NeedsAValueBehindAColon) {
  expectBad({
      {"closing brace", R"({"a":})", "expected value, got '}' (125)"},
      {"comma", R"({"a":,"b":1})", "expected value, got ',' (44)"},
      {"two colons", R"({"a"::1})", "expected value, got ':' (58)"},
      {"zero byte", "{\"a\":\0}"s, "expected value, got (0)"},
      {"high byte", "{\"a\":\xC3}", "expected value, got (-61)"},
      {"end of input", R"({"a":)", kEnd},
      {"bad value of a repeated key", R"({"a":1,"a":x})", "expected value, got 'x' (120)"},
  });
}

TEST(ParseObject, NeedsCommasBetweenMembers) {
  const std::string message = "expected ',' in object, got ";
  expectBad({
      {"second member", R"({"a":1 "b":2})", message + "'\"' (34)"},
      {"semicolon", R"({"a":1;"b":2})", message + "';' (59)"},
      {"bracket", R"({"a":1])", message + "']' (93)"},
      {"zero byte", "{\"a\":1\0}"s, message + "(0)"},
      {"high byte", "{\"a\":1\xC3}", message + "(-61)"},
      {"end of input", R"({"a":1)", kEnd},
      {"end of input behind white space", "{\"a\":1\r\n", kEnd},
  });
}

// --- depth ---

TEST(ParseDepth, Allows201NestedArrays) {
  const std::string text = repeated(201, "[") + repeated(201, "]");
  expectGood({{"201 arrays", text, text}});
}

TEST(ParseDepth, Allows201NestedObjects) {
  const std::string text = repeated(200, "{\"a\": ") + "{}" + repeated(200, "}");
  expectGood({{"201 objects", text, text}});
}

TEST(ParseDepth, Allows201NestedArraysAndObjects) {
  const std::string text = repeated(100, "[{\"a\": ") + "[]" + repeated(100, "}]");
  expectGood({{"201 arrays and objects", text, text}});
}

TEST(ParseDepth, AllowsAPlainValueIn200Arrays) {
  const std::string text = repeated(200, "[") + "1" + repeated(200, "]");
  expectGood({{"number", text, text}});
}

TEST(ParseDepth, RefusesOneMore) {
  expectBad({
      {"202 arrays", repeated(202, "[") + repeated(202, "]"), kTooDeep},
      {"202 objects", repeated(201, "{\"a\":") + "{}" + repeated(201, "}"), kTooDeep},
      {"202 arrays and objects", repeated(101, "[{\"a\":") + repeated(101, "}]"), kTooDeep},
      {"value in 201 arrays", repeated(201, "[") + "1" + repeated(201, "]"), kTooDeep},
      {"value in 201 objects", repeated(201, "{\"a\":") + "1" + repeated(201, "}"), kTooDeep},
      {"far too deep", repeated(100000, "["), kTooDeep},
      {"far too deep objects", repeated(100000, "{\"a\":"), kTooDeep},
      {"not in the first element", repeated(200, "[") + "1,[1]", kTooDeep},
  });
}

TEST(ParseDepth, IsCheckedBeforeTheValueIsLookedAt) {
  expectBad({
      {"end of input behind a colon", repeated(201, "{\"a\":"), kTooDeep},
      {"end of input behind a bracket", repeated(201, "["), kEnd},
      {"no value behind a bracket", repeated(201, "[") + "x", kTooDeep},
      {"no value one level up", repeated(200, "[") + "x", "expected value, got 'x' (120)"},
      {"zero byte behind a bracket", repeated(201, "[") + "\0"s, kTooDeep},
  });
}

TEST(ParseDepth, CountsOnlyWhatIsOpen) {
  const std::string text = "[" + repeated(500, "[[]], ") + "{}]";
  expectGood({{"side by side", text, text}});
}

}  // namespace
