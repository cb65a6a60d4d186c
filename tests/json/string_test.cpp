// Strings: their escapes, surrogates, and what breaks them off.

#include "json/json.h"
#include "json/parse_rows.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

using json11::Json;

namespace {

using namespace std::string_literals;

struct StringRow {
  const char* label;
  std::string text;  ///< between the quotes
  std::string value;
};

void expectStrings(const std::vector<StringRow>& rows) {
  for (const StringRow& row : rows) {
    std::string error = "left alone";
    const Json value = Json::parse("\"" + row.text + "\"", error);
    EXPECT_EQ(value.type(), Json::Type::String) << row.label;
    EXPECT_EQ(value.stringValue(), row.value) << row.label;
    EXPECT_EQ(error, "left alone") << row.label;
  }
}

std::string valueOf(const std::string& text) {
  return parsed("\"" + text + "\"").stringValue();
}

std::string unicodeEscape(int unit, const char* format = "\\u%04x") {
  char text[8];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  std::snprintf(text, sizeof text, format, static_cast<unsigned>(unit));
#pragma GCC diagnostic pop
  return text;
}

/// UTF-8, written with divisions instead of shifts.
std::string utf8(int codePoint) {
  const auto byte = [](int value) { return std::string(1, static_cast<char>(value)); };
  const auto tail = [byte](int value) { return byte(128 + value % 64); };
  if (codePoint < 0x80) return byte(codePoint);
  if (codePoint < 0x800) return byte(192 + codePoint / 64) + tail(codePoint);
  if (codePoint < 0x10000) return byte(224 + codePoint / 4096) + tail(codePoint / 64) + tail(codePoint);
  return byte(240 + codePoint / 262144) + tail(codePoint / 4096) + tail(codePoint / 64) + tail(codePoint);
}

TEST(ParseString, CopiesBytesUnchanged) {
  expectStrings({
      {"empty", "", ""},
      {"letters", "abc", "abc"},
      {"0x20 and 0x7F", " \x7F", " \x7F"},
      {"UTF-8", "\xC3\xA9\xF0\x9F\x98\x80", "\xC3\xA9\xF0\x9F\x98\x80"},
      {"not UTF-8", "\xFF\x80\xC3", "\xFF\x80\xC3"},
      {"U+2028", "\xE2\x80\xA8", "\xE2\x80\xA8"},
      {"brackets and comment marks", "[{//,/*:", "[{//,/*:"},
  });
}

TEST(ParseString, ReadsTheShortEscapes) {
  expectStrings({
      {"all", R"(\b\f\n\r\t\"\\\/)", "\b\f\n\r\t\"\\/"},
      {"between letters", R"(a\nb)", "a\nb"},
      {"backslash before what looks like an escape", R"(\\n)", "\\n"},
      {"backslash before what looks like a code point", R"(\\u0041)", "\\u0041"},
      {"escaped quote at the end", R"(x\")", "x\""},
  });
}

TEST(ParseString, ReadsCodePointEscapes) {
  expectStrings({
      {"letter", R"(\u0041)", "A"},
      {"zero", R"(a\u0000b)", "a\0b"s},
      {"zeros", R"(\u0000\u0000)", "\0\0"s},
      {"both cases of digits", R"(\u00e9\u00E9\uABCD\uabcd)", "\xC3\xA9\xC3\xA9\xEA\xAF\x8D\xEA\xAF\x8D"},
      {"a fifth digit is a letter", R"(\u00411)", "A1"},
      {"last of one byte", R"(\u007F)", "\x7F"},
      {"first of two bytes", R"(\u0080)", "\xC2\x80"},
      {"last of two bytes", R"(\u07FF)", "\xDF\xBF"},
      {"first of three bytes", R"(\u0800)", "\xE0\xA0\x80"},
      {"last of three bytes", R"(\uFFFF)", "\xEF\xBF\xBF"},
      {"control character", R"(\u001f)", "\x1F"},
      {"quotation mark", R"(\u0022)", "\""},
  });
}

TEST(ParseString, JoinsAHighAndALowSurrogate) {
  expectStrings({
      {"U+1F600", R"(\uD83D\uDE00)", "\xF0\x9F\x98\x80"},
      {"first pair", R"(\uD800\uDC00)", "\xF0\x90\x80\x80"},
      {"last pair", R"(\uDBFF\uDFFF)", "\xF4\x8F\xBF\xBF"},
      {"two pairs", R"(\uD83D\uDE00\uD83D\uDE01)", "\xF0\x9F\x98\x80\xF0\x9F\x98\x81"},
      {"lower-case digits", R"(\ud83d\ude00)", "\xF0\x9F\x98\x80"},
      {"then a letter", R"(\uD83D\uDE00x)", "\xF0\x9F\x98\x80x"},
  });
}

// U+D83D alone is ED A0 BD, U+DE00 alone ED B8 80.
TEST(ParseString, EncodesLoneSurrogatesAsThreeBytes) {
  expectStrings({
      {"high at the end", R"(\uD83D)", "\xED\xA0\xBD"},
      {"low at the end", R"(\uDE00)", "\xED\xB8\x80"},
      {"low, high", R"(\uDE00\uD83D)", "\xED\xB8\x80\xED\xA0\xBD"},
      {"high, high", R"(\uD83D\uD83D)", "\xED\xA0\xBD\xED\xA0\xBD"},
      {"low, low", R"(\uDE00\uDE00)", "\xED\xB8\x80\xED\xB8\x80"},
      {"high, pair", R"(\uD83D\uD83D\uDE00)", "\xED\xA0\xBD\xF0\x9F\x98\x80"},
      {"pair, low", R"(\uD83D\uDE00\uDE00)", "\xF0\x9F\x98\x80\xED\xB8\x80"},
      {"pair, high", R"(\uD83D\uDE00\uD83D)", "\xF0\x9F\x98\x80\xED\xA0\xBD"},
      {"low, pair", R"(\uDE00\uD83D\uDE00)", "\xED\xB8\x80\xF0\x9F\x98\x80"},
      {"high, letter escape", R"(\uD83D\u0041)",
       "\xED\xA0\xBD"
       "A"},
      {"letter escape, low", R"(\u0041\uDE00)", "A\xED\xB8\x80"},
      {"before the high ones", R"(\uD7FF\uDE00)", "\xED\x9F\xBF\xED\xB8\x80"},
      {"last high, first beyond the low ones", R"(\uDBFF\uE000)", "\xED\xAF\xBF\xEE\x80\x80"},
      {"last high twice, first low", R"(\uDBFF\uDBFF\uDC00)", "\xED\xAF\xBF\xF4\x8F\xB0\x80"},
  });
}

TEST(ParseString, JoinsNoSurrogatesWithSomethingBetween) {
  expectStrings({
      {"letter", R"(\uD83Dx\uDE00)", "\xED\xA0\xBDx\xED\xB8\x80"},
      {"short escape", R"(\uD83D\n\uDE00)", "\xED\xA0\xBD\n\xED\xB8\x80"},
      {"escaped backslash", R"(\uD83D\\\uDE00)", "\xED\xA0\xBD\\\xED\xB8\x80"},
      {"escaped backslash and u", R"(\uD83D\\uDE00)", "\xED\xA0\xBD\\uDE00"},
      {"byte above 0x7F", "\\uD83D\xFF\\uDE00", "\xED\xA0\xBD\xFF\xED\xB8\x80"},
      {"raw low surrogate", "\\uD83D\xED\xB8\x80", "\xED\xA0\xBD\xED\xB8\x80"},
  });
}

TEST(ParseString, FlushesAPendingCodePointBeforeAnyOtherByte) {
  expectStrings({
      {"before a letter", R"(\u0041b)", "Ab"},
      {"before a short escape", R"(\u0041\n)", "A\n"},
      {"before the end", R"(x\u0041)", "xA"},
      {"before many letters", R"(\u00410123456789abcdef)", "A0123456789abcdef"},
      {"of a key", R"(\u0041\u0042)", "AB"},
  });
  expectGood({{"at the end of a key", R"({"\uD83D":1,"\u0041":2})", "{\"A\": 2, \"\xED\xA0\xBD\": 1}"}});
}

TEST(ParseString, EncodesEveryUnit) {
  for (int unit = 0; unit <= 0xFFFF; ++unit) {
    ASSERT_EQ(valueOf(unicodeEscape(unit)), utf8(unit)) << unit;
    ASSERT_EQ(valueOf(unicodeEscape(unit, "\\u%04X")), utf8(unit)) << unit;
  }
}

TEST(ParseString, JoinsEverySurrogateWithTheOthersEnds) {
  const auto joined = [](int high, int low) {
    return utf8((high - 0xD800) * 0x400 + low - 0xDC00 + 0x10000);
  };
  for (int i = 0; i < 0x400; ++i) {
    for (const int other : {0, 1, 0x1FF, 0x200, 0x3FE, 0x3FF}) {
      const int high = 0xD800 + i;
      const int low = 0xDC00 + other;
      ASSERT_EQ(valueOf(unicodeEscape(high) + unicodeEscape(low)), joined(high, low)) << high << ' ' << low;
      const int otherHigh = 0xD800 + other;
      const int everyLow = 0xDC00 + i;
      ASSERT_EQ(valueOf(unicodeEscape(otherHigh) + unicodeEscape(everyLow)), joined(otherHigh, everyLow))
          << otherHigh << ' ' << everyLow;
    }
  }
}

TEST(ParseString, BreaksOffAtTheEndOfInput) {
  const char* const message = "unexpected end of input in string";
  expectBad({
      {"after the quote", "\"", message},
      {"after letters", "\"abc", message},
      {"after a long text", "\"" + std::string(1000, 'x'), message},
      {"after a backslash", "\"abc\\", message},
      {"after an escape", R"("\n)", message},
      {"after an escaped quote", R"("\")", message},
      {"after a code point", R"("\u0041)", message},
      {"after a surrogate", R"("\uD83D)", message},
      {"after a surrogate and a backslash", R"("\uD83D\)", message},
      {"in a key", "{\"a", message},
      {"in an element", "[\"a]", message},
  });
}

TEST(ParseString, RefusesRawBytesBelow0x20) {
  expectBad({
      {"zero byte", "\"\0\""s, "unescaped (0) in string"},
      {"zero byte behind letters", "\"abcdefghij\0\""s, "unescaped (0) in string"},
      {"tab", "\"\t\"", "unescaped (9) in string"},
      {"line feed", "\"a\nb\"", "unescaped (10) in string"},
      {"carriage return", "\"a\r\"", "unescaped (13) in string"},
      {"0x1F", "\"\x1F\"", "unescaped (31) in string"},
      {"behind an escape", "\"\\n\x01\"", "unescaped (1) in string"},
      {"behind a surrogate", "\"\\uD83D\x02\"", "unescaped (2) in string"},
      {"in a key", "{\"\n\":1}", "unescaped (10) in string"},
  });
}

TEST(ParseString, RefusesUnknownEscapes) {
  expectBad({
      {"letter", R"("\x41")", "invalid escape character 'x' (120)"},
      {"capital of a known one", R"("\N")", "invalid escape character 'N' (78)"},
      {"capital U", R"("\U0041")", "invalid escape character 'U' (85)"},
      {"apostrophe", R"("\'")", "invalid escape character ''' (39)"},
      {"digit", R"("\0")", "invalid escape character '0' (48)"},
      {"blank", R"("\ ")", "invalid escape character ' ' (32)"},
      {"zero byte", "\"\\\0\""s, "invalid escape character (0)"},
      {"line feed", "\"\\\n\"", "invalid escape character (10)"},
      {"high byte", "\"\\\xC3\xA9\"", "invalid escape character (-61)"},
      {"byte 0x80", "\"\\\x80\"", "invalid escape character (-128)"},
      {"byte 0xFF", "\"\\\xFF\"", "invalid escape character (-1)"},
      {"byte 0x7F", "\"\\\x7F\"", "invalid escape character '\x7F' (127)"},
  });
}

TEST(ParseString, RefusesCodePointEscapesWithoutFourDigits) {
  expectBad({
      {"end of input", R"("\u)", "bad \\u escape: "},
      {"one byte", R"("\u1)", "bad \\u escape: 1"},
      {"three bytes", R"("\u123)", "bad \\u escape: 123"},
      {"three digits and the quote", R"("\u123")", "bad \\u escape: 123\""},
      {"no digits and the quote", R"("\u")", "bad \\u escape: \""},
      {"letter first", R"("\ug000")", "bad \\u escape: g000"},
      {"letter last", R"("\u000g")", "bad \\u escape: 000g"},
      {"only the next four bytes", R"("\uxyz12345")", "bad \\u escape: xyz1"},
      {"sign", R"("\u+123")", "bad \\u escape: +123"},
      {"blank", R"("\u 123")", "bad \\u escape:  123"},
      {"hexadecimal mark", R"("\u0x41")", "bad \\u escape: 0x41"},
      {"zero byte",
       "\"\\u00\0"
       "00\""s,
       "bad \\u escape: 00\0"
       "0"s},
      {"high bytes", "\"\\u\xC3\xA9\xC3\xA9\"", "bad \\u escape: \xC3\xA9\xC3\xA9"},
      {"before the digits", R"("\u/000")", "bad \\u escape: /000"},
      {"behind the digits", R"("\u:000")", "bad \\u escape: :000"},
      {"before the capitals", R"("\u@000")", "bad \\u escape: @000"},
      {"before the letters", R"("\u`000")", "bad \\u escape: `000"},
      {"behind the capitals", R"("\uG000")", "bad \\u escape: G000"},
      {"second half of a pair", R"("\uD83D\uDE0")", "bad \\u escape: DE0\""},
      {"line feed is not looked at", "\"\\u00\n\"", "bad \\u escape: 00\n\""},
  });
}

TEST(ParseString, ReadsWhatDumpPrints) {
  constexpr std::uint64_t kSeed = 4711;
  std::mt19937_64 random(kSeed);
  for (int i = 0; i < 20000; ++i) {
    std::string value(random() % 100, ' ');
    for (char& c : value) c = static_cast<char>(random());
    ASSERT_EQ(parsed(Json(value).dump()).stringValue(), value) << "seed " << kSeed << ", text " << i;
  }
}

TEST(ParseString, FindsItsEndAtEveryPlace) {
  for (std::size_t length = 0; length <= 600; ++length) {
    const std::string letters(length, 'a');
    ASSERT_EQ(valueOf(letters), letters);
    ASSERT_EQ(valueOf(letters + "\\t" + letters), letters + "\t" + letters);
    ASSERT_EQ(valueOf(letters + "\xFF" + letters + "\\\\"), letters + "\xFF" + letters + "\\");
  }
}

TEST(ParseString, ReadsLongTexts) {
  std::string text;
  std::string value;
  for (int i = 0; i < 50000; ++i) {
    text += "plain letters \\n\\u00e9\\uD83D\\uDE00";
    value += "plain letters \n\xC3\xA9\xF0\x9F\x98\x80";
  }
  EXPECT_EQ(valueOf(text), value);
}

}  // namespace
