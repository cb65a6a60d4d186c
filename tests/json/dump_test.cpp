// Values to text, byte for byte.

#include "json/json.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

using json11::Json;

namespace {

const double kInfinity = std::numeric_limits<double>::infinity();

struct DumpRow {
  const char* label;
  Json value;
  std::string text;
};

void expectDumps(const std::vector<DumpRow>& rows) {
  for (const DumpRow& row : rows) EXPECT_EQ(row.value.dump(), row.text) << row.label;
}

std::string textOf(const std::string& value) {
  std::string out;
  json11::dump(value, out);
  return out;
}

bool isSeparatorAt(const std::string& value, std::size_t i) {
  return value.compare(i, 3, "\xE2\x80\xA8") == 0 || value.compare(i, 3, "\xE2\x80\xA9") == 0;
}

/// The rules of quoting, one byte at a time.
std::string quotedSlowly(const std::string& value) {
  std::string out = "\"";
  for (std::size_t i = 0; i < value.size(); ++i) {
    const auto byte = static_cast<unsigned char>(value[i]);
    const std::size_t named = std::string("\b\t\n\f\r\"\\").find(value[i]);
    if (byte != 0 && named != std::string::npos) {
      out += '\\';
      out += "btnfr\"\\"[named];
    } else if (byte <= 0x1F) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", byte);
      out += escape;
    } else if (isSeparatorAt(value, i)) {
      out += value[i + 2] == '\xA8' ? "\\u2028" : "\\u2029";
      i += 2;
    } else {
      out += value[i];
    }
  }
  return out + "\"";
}

TEST(Dump, PrintsTheLiterals) {
  expectDumps({
      {"null", Json(), "null"},
      {"true", Json(true), "true"},
      {"false", Json(false), "false"},
  });
}

TEST(Dump, PrintsNumbersByTheirClass) {
  expectDumps({
      {"int", Json(5), "5"},
      {"zero", Json(0), "0"},
      {"lowest int", Json(-2147483647 - 1), "-2147483648"},
      {"highest int", Json(2147483647), "2147483647"},
      {"highest unsigned", Json(18446744073709551615UL), "18446744073709551615"},
      {"unsigned zero", Json(0UL), "0"},
      {"an address", Json(0xFFFFFFFF80000001UL), "18446744071562067969"},
      {"integral double", Json(5.0), "5"},
      {"large integral double", Json(1234567890.0), "1234567890"},
      {"large double", Json(1e21), "1e+21"},
      {"last without exponent", Json(12345678901234567.0), "12345678901234568"},
      {"first with exponent", Json(1e17), "1e+17"},
      {"17 digits", Json(0.1), "0.10000000000000001"},
      {"negative zero", Json(-0.0), "-0"},
      {"small", Json(0.0001), "0.0001"},
      {"smaller", Json(0.00001), "1.0000000000000001e-05"},
      {"least denormal", Json(5e-324), "4.9406564584124654e-324"},
      {"greatest", Json(std::numeric_limits<double>::max()), "1.7976931348623157e+308"},
      {"half", Json(-1.5), "-1.5"},
  });
}

TEST(Dump, PrintsWhatIsNoNumberAsNull) {
  expectDumps({
      {"infinity", Json(kInfinity), "null"},
      {"minus infinity", Json(-kInfinity), "null"},
      {"NaN", Json(std::numeric_limits<double>::quiet_NaN()), "null"},
      {"NaN with sign", Json(-std::numeric_limits<double>::quiet_NaN()), "null"},
      {"in an array", Json(Json::array{kInfinity, 1}), "[null, 1]"},
  });
}

TEST(Dump, PutsOneSpaceAfterEachCommaAndColon) {
  expectDumps({
      {"empty array", Json(Json::array{}), "[]"},
      {"empty object", Json(Json::object{}), "{}"},
      {"one element", Json(Json::array{1}), "[1]"},
      {"elements", Json(Json::array{1, 2, Json::object{}}), "[1, 2, {}]"},
      {"one member", Json(Json::object{{"a", 1}}), "{\"a\": 1}"},
      {"nested", Json(Json::object{{"a", Json::array{Json::array{}, Json::object{{"b", nullptr}}}}}),
       "{\"a\": [[], {\"b\": null}]}"},
  });
}

TEST(Dump, PrintsMembersInTheOrderOfTheirKeysBytes) {
  Json::object members;
  members["b"] = 2;
  members["a"] = 1;
  EXPECT_EQ(Json(members).dump(), "{\"a\": 1, \"b\": 2}");
  const Json more =
      Json::object{{"b", 1}, {"a\xC3", 2}, {"a", 3}, {"", 4}, {"aa", 5}, {"B", 6}, {"\xC3\xA9", 7}, {"_", 8}};
  EXPECT_EQ(more.dump(),
            "{\"\": 4, \"B\": 6, \"_\": 8, \"a\": 3, \"aa\": 5, \"a\xC3\": 2, \"b\": 1, \"\xC3\xA9\": 7}");
}

TEST(Dump, QuotesKeysLikeStrings) {
  EXPECT_EQ(Json(Json::object{{"\"\n\xE2\x80\xA8", 1}}).dump(), R"({"\"\n\u2028": 1})");
}

TEST(Dump, AppendsToWhatIsThere) {
  std::string out = "before ";
  Json(Json::array{1, "x"}).dump(out);
  EXPECT_EQ(out, "before [1, \"x\"]");
  json11::dump("y\n", out);
  EXPECT_EQ(out, "before [1, \"x\"]\"y\\n\"");
}

TEST(DumpString, EscapesControlBytesQuotesAndBackslashes) {
  expectDumps({
      {"empty", Json(""), R"("")"},
      {"tab, quotation mark, 0x01 and 0x7F", Json("\t\"\x01\x7F"), "\"\\t\\\"\\u0001\x7F\""},
      {"named escapes", Json("\b\t\n\f\r\"\\"), R"("\b\t\n\f\r\"\\")"},
      {"escape character", Json("\x1B"), R"("\u001b")"},
      {"vertical tab", Json("\v"), R"("\u000b")"},
      {"zero byte", Json(std::string("a\0b", 3)), R"("a\u0000b")"},
      {"slash", Json("/"), R"("/")"},
      {"0x1F and 0x20", Json("\x1F "), R"("\u001f ")"},
  });
}

TEST(DumpString, CopiesBytesAbove0x7FUnchanged) {
  expectDumps({
      {"two-byte character", Json("\xC3\xA9"), "\"\xC3\xA9\""},
      {"four-byte character", Json("\xF0\x9F\x98\x80"), "\"\xF0\x9F\x98\x80\""},
      {"not UTF-8", Json("\xFF\x80\xC3"), "\"\xFF\x80\xC3\""},
      {"lone surrogate", Json("\xED\xA0\xBD"), "\"\xED\xA0\xBD\""},
  });
}

TEST(DumpString, EscapesLineAndParagraphSeparators) {
  expectDumps({
      {"U+2028", Json("\xE2\x80\xA8"), R"("\u2028")"},
      {"U+2029", Json("\xE2\x80\xA9"), R"("\u2029")"},
      {"between letters", Json("a\xE2\x80\xA8z"), R"("a\u2028z")"},
      {"twice", Json("\xE2\x80\xA9\xE2\x80\xA8"), R"("\u2029\u2028")"},
      {"U+2027", Json("\xE2\x80\xA7"), "\"\xE2\x80\xA7\""},
      {"U+202A", Json("\xE2\x80\xAA"), "\"\xE2\x80\xAA\""},
      {"U+2068", Json("\xE2\x81\xA8"), "\"\xE2\x81\xA8\""},
      {"cut after one byte", Json("\xE2"), "\"\xE2\""},
      {"cut after two bytes", Json("a\xE2\x80"), "\"a\xE2\x80\""},
      {"cut by another", Json("\xE2\xE2\x80\xA8"), "\"\xE2\\u2028\""},
      {"cut by another after two bytes", Json("\xE2\x80\xE2\x80\xA9"), "\"\xE2\x80\\u2029\""},
      {"zero byte instead of the last", Json(std::string("\xE2\x80\0", 3)), "\"\xE2\x80\\u0000\""},
      {"quotation mark instead of the last", Json("\xE2\x80\""), "\"\xE2\x80\\\"\""},
  });
}

TEST(DumpString, TreatsEveryByteAlikeAtEveryPlace) {
  for (std::size_t length = 1; length <= 40; ++length) {
    for (std::size_t at = 0; at < length; ++at) {
      for (int byte = 0; byte < 256; ++byte) {
        std::string value(length, 'a');
        value[at] = static_cast<char>(byte);
        ASSERT_EQ(textOf(value), quotedSlowly(value)) << "byte " << byte << " at " << at << " of " << length;
      }
    }
  }
}

TEST(DumpString, FollowsTheRulesForRandomText) {
  constexpr std::uint64_t kSeed = 20250326;
  // Mostly the bytes that matter, so that sequences of them meet.
  const std::string bytes("\xE2\x80\xA8\xA9\xE2\x80\xA8\"\\\n\0\x1F\x7F\xFFxyz", 18);
  std::mt19937_64 random(kSeed);
  for (int i = 0; i < 50000; ++i) {
    std::string value(random() % 1100 / (i % 50 == 0 ? 1 : 40), ' ');
    for (char& c : value) c = bytes[random() % bytes.size()];
    ASSERT_EQ(textOf(value), quotedSlowly(value)) << "seed " << kSeed << ", text " << i;
  }
}

TEST(DumpString, FollowsTheRulesForTextsAboutAsLongAsABuffer) {
  for (const std::size_t length : {255U, 256U, 257U, 510U, 511U, 512U, 513U, 1024U, 5000U}) {
    for (const char* const piece : {"x", "\n", "\x01", "\xE2\x80\xA8", "x\"", "plain and \\ not "}) {
      std::string text;
      while (text.size() < length) text += piece;
      EXPECT_EQ(textOf(text), quotedSlowly(text));
    }
  }
}

TEST(Dump, NeverHoldsAByteBelow0x20) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  const std::string text = Json(Json::object{{all, Json::array{all}}}).dump();
  for (const char c : text) EXPECT_GE(static_cast<unsigned char>(c), 0x20);
}

TEST(Dump, PrintsLongTextsAndLongArraysWhole) {
  const std::string text(300000, 'q');
  EXPECT_EQ(Json(text).dump(), "\"" + text + "\"");
  std::string expected = "[";
  Json::array numbers;
  for (int i = 0; i < 20000; ++i) {
    numbers.emplace_back(i);
    if (i > 0) expected += ", ";
    expected += std::to_string(i);
  }
  EXPECT_EQ(Json(numbers).dump(), expected + "]");
}

}  // namespace
