// Json::parseMulti: value after value, and where it stopped.

#include "json/json.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using json11::Json;
using json11::JsonParse;

namespace {

using namespace std::string_literals;

struct MultiRow {
  const char* label;
  std::string text;
  std::string printed;  ///< the array of the values
  std::size_t stop;
  std::string error;  ///< empty: none, the error string is left alone
  JsonParse strategy = JsonParse::Standard;
};

void expectMulti(const std::vector<MultiRow>& rows) {
  for (const MultiRow& row : rows) {
    std::string::size_type stop = 77;
    std::string error = "left alone";
    const Json values = Json::parseMulti(row.text, stop, error, row.strategy);
    EXPECT_EQ(values.dump(), row.printed) << row.label;
    EXPECT_EQ(stop, row.stop) << row.label;
    EXPECT_EQ(error, row.error.empty() ? "left alone" : row.error) << row.label;
  }
}

TEST(ParseMulti, ReadsValuesToTheEnd) {
  expectMulti({
      {"nothing", "", "[]", 0, ""},
      {"one", "1", "[1]", 1, ""},
      {"two", "1 2", "[1, 2]", 3, ""},
      {"white space behind", "1 2 \n", "[1, 2]", 5, ""},
      {"white space before", "  1", "[1]", 3, ""},
      {"touching", "{}[]\"a\"truefalse", "[{}, [], \"a\", true, false]", 16, ""},
      {"minus parts numbers", "1-2", "[1, -2]", 3, ""},
      {"lines", "{\"a\":1}\n{\"a\":2}\n", "[{\"a\": 1}, {\"a\": 2}]", 16, ""},
      {"null is a value", "null null", "[null, null]", 9, ""},
  });
}

TEST(ParseMulti, AppendsNullForTheValueThatFails) {
  expectMulti({
      {"at once", "x", "[null]", 0, "expected value, got 'x' (120)"},
      {"only white space", " ", "[null]", 0, "unexpected end of input"},
      {"behind a value", "1 x", "[1, null]", 2, "expected value, got 'x' (120)"},
      {"behind two", "1 [2]  [3", "[1, [2], null]", 7, "unexpected end of input"},
      {"first error of the value", "1 [2 3] x", "[1, null]", 2, "expected ',' in list, got '3' (51)"},
      {"comma between", "1,2", "[1, null]", 1, "expected value, got ',' (44)"},
      {"zero byte", "1\0"s, "[1, null]", 1, "expected value, got (0)"},
      {"leading zeros", "01", "[null]", 0, "leading 0s not permitted in numbers"},
  });
}

TEST(ParseMulti, CountsCommentsAsWhiteSpace) {
  const JsonParse comments = JsonParse::Comments;
  expectMulti({
      {"behind", "1//c", "[1]", 4, "", comments},
      {"between", "1/*a*/2 ", "[1, 2]", 8, "", comments},
      {"before", "/*a*/1", "[1]", 6, "", comments},
      {"not in the standard mode", "1/*a*/2", "[1, null]", 1, "expected value, got '/' (47)"},
  });
}

TEST(ParseMulti, AppendsNothingWhenACommentFails) {
  const JsonParse comments = JsonParse::Comments;
  expectMulti({
      {"behind the first value", "1 /", "[1]", 0, "unexpected end of input after start of comment", comments},
      {"behind the second", "1 2 /x", "[1, 2]", 2, "malformed comment", comments},
      {"unended block", "1 2/* ", "[1, 2]", 2, "unexpected end of input inside multi-line comment", comments},
      {"before the first value", "/x", "[null]", 0, "malformed comment", comments},
  });
}

TEST(ParseMulti, StartsEveryValueAtTheOutermostDepth) {
  std::string nested(201, '[');
  nested += std::string(201, ']');
  const std::string text = nested + nested;
  std::string::size_type stop = 0;
  std::string error;
  EXPECT_EQ(Json::parseMulti(text, stop, error).size(), 2U);
  EXPECT_EQ(stop, text.size());
  EXPECT_EQ(error, "");
}

}  // namespace
