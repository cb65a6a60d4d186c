#include "json/json.h"
#include "support/json_cases.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using json11::Json;
using namespace std::string_literals;

std::string asString(const std::string& text) {
  std::string out;
  json11::dump(text, out);
  return out;
}

/// The rules of quoting one byte at a time, as they are stated; slow and plain.
std::string asStringByTheRules(const std::string& text) {
  std::string out = "\"";
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const std::string three = text.substr(i, 3);
    if (three == "\xE2\x80\xA8" || three == "\xE2\x80\xA9") {
      out += three == "\xE2\x80\xA8" ? "\\u2028" : "\\u2029";
      i += 2;
    } else if (byte == '\b') {
      out += "\\b";
    } else if (byte == '\t') {
      out += "\\t";
    } else if (byte == '\n') {
      out += "\\n";
    } else if (byte == '\f') {
      out += "\\f";
    } else if (byte == '\r') {
      out += "\\r";
    } else if (byte == '"' || byte == '\\') {
      out += std::string("\\") + text[i];
    } else if (byte <= 0x1F) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", byte);
      out += escape;
    } else {
      out += text[i];
    }
  }
  return out + "\"";
}

TEST(Dump, PrintsEachKind) {
  EXPECT_EQ(Json().dump(), "null");
  EXPECT_EQ(Json(true).dump(), "true");
  EXPECT_EQ(Json(false).dump(), "false");
  EXPECT_EQ(Json(7).dump(), "7");
  EXPECT_EQ(Json(18446744073709551615UL).dump(), "18446744073709551615");
  EXPECT_EQ(Json("a").dump(), "\"a\"");
  EXPECT_EQ(Json(Json::array{}).dump(), "[]");
  EXPECT_EQ(Json(Json::object{}).dump(), "{}");
  EXPECT_EQ(Json(Json::array{1, 2, Json::object{}}).dump(), "[1, 2, {}]");
}

TEST(Dump, SortsMembersByTheirBytes) {
  const Json value = Json::object{{"b", 2}, {"a", 1}, {"\xC3\xA9", 4}, {"Z", 0}, {"aa", 3}, {"", 5}};
  EXPECT_EQ(value.dump(), "{\"\": 5, \"Z\": 0, \"a\": 1, \"aa\": 3, \"b\": 2, \"\xC3\xA9\": 4}");
}

TEST(Dump, AppendsToWhatIsThere) {
  std::string out = "before ";
  Json(Json::array{nullptr}).dump(out);
  EXPECT_EQ(out, "before [null]");
  json11::dump("x", out);
  EXPECT_EQ(out, "before [null]\"x\"");
}

TEST(Dump, PrintsDoublesByTheirValueAndIntsByTheirs) {
  EXPECT_EQ(Json(5.0).dump(), "5");
  EXPECT_EQ(Json(0.1).dump(), "0.10000000000000001");
  EXPECT_EQ(Json(1234567890.0).dump(), "1234567890");
  EXPECT_EQ(Json(1e21).dump(), "1e+21");
  EXPECT_EQ(Json(-0.0).dump(), "-0");
  EXPECT_EQ(Json(std::numeric_limits<double>::infinity()).dump(), "null");
  EXPECT_EQ(Json(-std::numeric_limits<double>::infinity()).dump(), "null");
  EXPECT_EQ(Json(std::numeric_limits<double>::quiet_NaN()).dump(), "null");
}

TEST(Quote, EscapesControlCharactersQuotesAndBackslashesOnly) {
  EXPECT_EQ(asString("\t\"\x01\x7F"), "\"\\t\\\"\\u0001\x7F\"");
  EXPECT_EQ(asString("\b\t\n\f\r\"\\"), R"("\b\t\n\f\r\"\\")");
  EXPECT_EQ(asString("\x1B\x1F\v\0"s), R"("\u001b\u001f\u000b\u0000")");
  EXPECT_EQ(asString("/ \xC3\xA9 \xFF"), "\"/ \xC3\xA9 \xFF\"");
  EXPECT_EQ(asString(""), "\"\"");
}

TEST(Quote, EscapesTheLineAndParagraphSeparators) {
  EXPECT_EQ(asString("a\xE2\x80\xA8z"), R"("a\u2028z")");
  EXPECT_EQ(asString("a\xE2\x80\xA9z"), R"("a\u2029z")");
  EXPECT_EQ(asString("\xE2\x80\xA7\xE2\x80\xAA\xE2\x82\xAC"), "\"\xE2\x80\xA7\xE2\x80\xAA\xE2\x82\xAC\"");
}

TEST(Quote, CopiesASeparatorThatIsCutShort) {
  EXPECT_EQ(asString("\xE2\x80"), "\"\xE2\x80\"");
  EXPECT_EQ(asString("\xE2"), "\"\xE2\"");
  EXPECT_EQ(asString("\xE2\xE2\x80\xA8"), "\"\xE2\\u2028\"");
}

TEST(Quote, FollowsTheRulesForEveryByteAtEveryPlaceOfTextsOfEveryLength) {
  for (std::size_t length = 1; length <= 40; ++length) {
    for (std::size_t place = 0; place < length; ++place) {
      for (int byte = 0; byte < 256; ++byte) {
        std::string text(length, 'x');
        text[place] = static_cast<char>(byte);
        ASSERT_EQ(asString(text), asStringByTheRules(text)) << length << " " << place << " " << byte;
      }
    }
  }
}

TEST(Quote, FollowsTheRulesForTextsLongerThanAnyBuffer) {
  for (std::size_t length : {255U, 256U, 257U, 510U, 511U, 512U, 513U, 1024U, 5000U}) {
    for (const char* const piece : {"x", "\n", "\x01", "\xE2\x80\xA8", "x\"", "plain and \\ not "}) {
      std::string text;
      while (text.size() < length) text += piece;
      EXPECT_EQ(asString(text), asStringByTheRules(text));
      EXPECT_EQ(parsed(asString(text)).value.stringValue(), text);
    }
  }
}

TEST(Dump, OfWhatWasParsedParsesToTheSame) {
  const std::string text =
      R"({"a": [1, 2.5, 18446744073709551615, "\u0001é", null, true, {}], "b": {"c": []}})";
  EXPECT_EQ(parsed(text).value.dump(), text);
}

TEST(Dump, GrowsThroughManyMembers) {
  Json::object members;
  std::string expected = "{";
  for (int i = 1000; i < 9000; ++i) {
    const std::string key = "key" + std::to_string(i);
    members[key] = i;
    expected += (i > 1000 ? ", \"" : "\"") + key + "\": " + std::to_string(i);
  }
  EXPECT_EQ(Json(members).dump(), expected + "}");
}

}  // namespace
