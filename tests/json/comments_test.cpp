// Comments, which the parser skips only when it is asked to.

#include "json/json.h"
#include "json/parse_rows.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using json11::JsonParse;

namespace {

using namespace std::string_literals;

constexpr JsonParse kComments = JsonParse::Comments;

TEST(ParseComments, SkipsBothForms) {
  expectGood({
      {"block and line", "/* a */ 1 // b", "1", kComments},
      {"line first", "// a\n1", "1", kComments},
      {"touching", "/*a*/1//b", "1", kComments},
      {"several", "/*a*//*b*/ //c\n/*d*/1//e\n//f\n/*g*/", "1", kComments},
      {"empty block", "/**/1", "1", kComments},
      {"block of stars", "/***/1/****/", "1", kComments},
      {"block of a slash", "/*/*/1", "1", kComments},
      {"block over lines", "/* a\nb */1", "1", kComments},
      {"line comment in a block", "/* // */1", "1", kComments},
      {"block in a line comment", "// /*\n1", "1", kComments},
      {"empty line comment", "//\n1", "1", kComments},
      {"line comment ends with the input", "1//", "1", kComments},
      {"carriage return does not end a line", "1 // a\r2", "1", kComments},
      {"line end of two bytes", "// a\r\n1", "1", kComments},
      {"zero byte inside", "/*\0*/1//\0"s, "1", kComments},
      {"high bytes inside", "/*\xC3\xFF*/1//\xC3", "1", kComments},
      {"quotation mark inside", "/*\"*/1//\"", "1", kComments},
  });
}

TEST(ParseComments, StayTextInStrings) {
  expectGood({{"in a string", R"("/*a*/ //b")", R"("/*a*/ //b")", kComments},
              {"in a key", R"({"//":1})", R"({"//": 1})", kComments}});
}

TEST(ParseComments, MayStandBetweenAnyTwoTokens) {
  const std::vector<std::string> tokens = {"{", "\"a\"", ":", "[",     "1", ",",    "true", ",", "\"x\"",
                                           ",", "{",     "}", ",",     "[", "]",    "]",    ",", "\"b\"",
                                           ":", "-1.5",  ",", "\"c\"", ":", "null", "}"};
  const std::string expected = R"({"a": [1, true, "x", {}, []], "b": -1.5, "c": null})";
  for (const char* const comment : {"/**/", "/* x */", "//\n", "// x\n", " /*a*/ //b\n /*c*/ "}) {
    for (std::size_t at = 0; at <= tokens.size(); ++at) {
      std::string text;
      for (std::size_t i = 0; i < tokens.size(); ++i) text += (i == at ? comment : "") + tokens[i];
      if (at == tokens.size()) text += comment;
      expectGood({{"comment at a place", text, expected, kComments}});
    }
  }
}

TEST(ParseComments, MayNotStandInsideAToken) {
  expectBad({
      {"literal", "tr/**/ue", "parse error: expected true, got tr/*", kComments},
      {"number", "1/**/2", "unexpected trailing '2' (50)", kComments},
      {"minus", "-/**/1", "invalid '/' (47) in number", kComments},
      {"fraction", "1./**/5", "at least one digit required in fractional part", kComments},
  });
}

TEST(ParseComments, AloneAreNoValue) {
  expectBad({
      {"block", "/* a */", "unexpected end of input", kComments},
      {"line", "// a", "unexpected end of input", kComments},
      {"line with its end", "// a\n", "unexpected end of input", kComments},
      {"in an array behind a comma", "[1,/*a*/", "unexpected end of input", kComments},
      {"in an array before its end", "[1,/*a*/]", "expected value, got ']' (93)", kComments},
  });
}

TEST(ParseComments, DoNotNest) {
  expectBad({{"block in a block", "/* /* */ 1 */", "unexpected trailing '*' (42)", kComments},
             {"end without start", "1 */", "unexpected trailing '*' (42)", kComments}});
}

TEST(ParseComments, BreakOffAfterTheirFirstSlash) {
  const char* const message = "unexpected end of input after start of comment";
  expectBad({
      {"alone", "/", message, kComments},
      {"behind a value", "1 /", message, kComments},
      {"behind a comment", "/**/ /", message, kComments},
      {"in an array", "[/", message, kComments},
      {"behind a comma", "[1,/", message, kComments},
      {"behind a key", "{\"a\"/", message, kComments},
      {"behind a colon", "{\"a\":/", message, kComments},
      {"in an object", "{/", message, kComments},
  });
}

TEST(ParseComments, BreakOffInsideABlock) {
  const char* const message = "unexpected end of input inside multi-line comment";
  expectBad({
      {"no byte", "/*", message, kComments},
      {"one byte", "/* ", message, kComments},
      {"one star", "/**", message, kComments},
      {"one slash", "/*/", message, kComments},
      {"slash, text", "/*/ 1", message, kComments},
      {"star at the end", "/* a *", message, kComments},
      {"star and slash apart", "/* a * /", message, kComments},
      {"long", "1 /*" + std::string(1000, 'x'), message, kComments},
      {"zero byte", "/*\0"s, message, kComments},
      {"behind a comma", "[1,/*]", message, kComments},
  });
}

TEST(ParseComments, NeedASlashOrStarSecond) {
  const char* const message = "malformed comment";
  expectBad({
      {"letter", "/x", message, kComments},
      {"letter behind a value", "1 /x", message, kComments},
      {"blank", "/ /", message, kComments},
      {"line feed", "/\n/", message, kComments},
      {"zero byte", "/\0"s, message, kComments},
      {"high byte", "/\xC3", message, kComments},
      {"behind a comment", "/**//1", message, kComments},
      {"in an array", "[1/2]", message, kComments},
  });
}

TEST(ParseComments, AreRefusedInTheStandardMode) {
  expectBad({
      {"before a value", "/* a */ 1 // b", "expected value, got '/' (47)"},
      {"behind a value", "1 // b", "unexpected trailing '/' (47)"},
      {"block behind a value", "1 /* b */", "unexpected trailing '/' (47)"},
      {"lone slash behind a value", "1 /", "unexpected trailing '/' (47)"},
      {"slash and letter behind a value", "1 /x", "unexpected trailing '/' (47)"},
      {"slash and letter", "/x", "expected value, got '/' (47)"},
      {"in an empty array", "[/**/]", "expected value, got '/' (47)"},
      {"behind an element", "[1/**/]", "expected ',' in list, got '/' (47)"},
      {"behind a comma", "[1,/**/2]", "expected value, got '/' (47)"},
      {"in an empty object", "{/**/}", "expected '\"' in object, got '/' (47)"},
      {"behind a key", "{\"a\"/**/:1}", "expected ':' in object, got '/' (47)"},
      {"behind a colon", "{\"a\":/**/1}", "expected value, got '/' (47)"},
      {"behind a member", "{\"a\":1/**/}", "expected ',' in object, got '/' (47)"},
      {"line comment behind a line", "1\n//x", "unexpected trailing '/' (47)"},
  });
}

}  // namespace
