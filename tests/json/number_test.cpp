// The classes of numbers, and their agreement with the C library's conversions.

#include "json/json.h"
#include "support/json_cases.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>

namespace {

using json11::Json;

struct NumberCase {
  const char* text;
  const char* printed;
};

class Number : public testing::TestWithParam<NumberCase> {};

TEST_P(Number, IsReadAndPrintedByTheClassOfItsText) {
  const ParseOutcome outcome = parsed(GetParam().text);
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.value.dump(), GetParam().printed) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(
    Texts, Number,
    testing::Values(NumberCase{"0", "0"}, NumberCase{"-0", "0"}, NumberCase{"-0.0", "-0"},
                    NumberCase{"123456789", "123456789"}, NumberCase{"-12345678", "-12345678"},
                    NumberCase{"-123456789", "-123456789"}, NumberCase{"1234567890", "1234567890"},
                    NumberCase{"4294967295", "4294967295"}, NumberCase{"4294967296", "4294967296"},
                    NumberCase{"12345678901", "12345678901"},
                    NumberCase{"9007199254740993", "9007199254740993"},
                    NumberCase{"18446744073709551615", "18446744073709551615"},
                    NumberCase{"18446744073709551616", "18446744073709551615"},
                    NumberCase{"99999999999999999999999", "18446744073709551615"},
                    NumberCase{"-9007199254740993", "-9007199254740992"},
                    NumberCase{"-18446744073709551615", "-1.8446744073709552e+19"},
                    NumberCase{"9007199254740993.0", "9007199254740992"}, NumberCase{"1.5e3", "1500"},
                    NumberCase{"0.1", "0.10000000000000001"}, NumberCase{"1e5", "100000"},
                    NumberCase{"1E+5", "100000"}, NumberCase{"1e-2", "0.01"}, NumberCase{"1e21", "1e+21"},
                    NumberCase{"1e400", "null"}, NumberCase{"-1e400", "null"}, NumberCase{"1e-400", "0"},
                    NumberCase{"5e-324", "4.9406564584124654e-324"},
                    // Long texts without fraction are read as integers up to their exponent.
                    NumberCase{"5000000e10", "5000000"}, NumberCase{"12345678901e2", "12345678901"},
                    NumberCase{"4294967e10", "4294967"}, NumberCase{"4294966e10", "42949660000000000"},
                    NumberCase{"5e10", "50000000000"}, NumberCase{"99999999e9", "99999999"},
                    NumberCase{"-5000000e10", "-50000000000000000"},
                    NumberCase{"5000000.0e10", "50000000000000000"}, NumberCase{"0e000000000", "0"}));

// How a number above the range of int reads as one tells its class: a double gives the lowest int, an
// unsigned value its low 32 bits.
constexpr int kReadOfADouble = std::numeric_limits<int>::min();

TEST(Number, From1000000000To4294967295IsADouble) {
  EXPECT_EQ(parsed("2147483649").value.intValue(), kReadOfADouble);
  EXPECT_EQ(parsed("4294967295").value.intValue(), kReadOfADouble);
}

TEST(Number, Above4294967295IsUnsigned) {
  EXPECT_EQ(parsed("4294967297").value.intValue(), 1);
  EXPECT_EQ(parsed("12345678901").value.intValue(), -539222987);
}

TEST(Number, WithASignOrAFractionIsADoubleHoweverLong) {
  EXPECT_EQ(parsed("-12345678901").value.intValue(), kReadOfADouble);
  EXPECT_EQ(parsed("12345678901.0").value.intValue(), kReadOfADouble);
}

class BadNumber : public testing::TestWithParam<ParseCase> {};

TEST_P(BadNumber, IsRefused) {
  EXPECT_EQ(parsed(GetParam().text).error, GetParam().error);
  EXPECT_EQ(parsed(GetParam().text).value, Json());
}

INSTANTIATE_TEST_SUITE_P(
    Texts, BadNumber,
    testing::Values(
        ParseCase{.label = "", .text = "01", .error = "leading 0s not permitted in numbers"},
        ParseCase{.label = "", .text = "-01", .error = "leading 0s not permitted in numbers"},
        ParseCase{.label = "", .text = "00", .error = "leading 0s not permitted in numbers"},
        ParseCase{.label = "", .text = "09", .error = "leading 0s not permitted in numbers"},
        ParseCase{.label = "", .text = "-", .error = "invalid (0) in number"},
        ParseCase{.label = "", .text = "-x", .error = "invalid 'x' (120) in number"},
        ParseCase{.label = "", .text = "--1", .error = "invalid '-' (45) in number"},
        ParseCase{.label = "", .text = "-.5", .error = "invalid '.' (46) in number"},
        ParseCase{.label = "", .text = "1.", .error = "at least one digit required in fractional part"},
        ParseCase{.label = "", .text = "1.e5", .error = "at least one digit required in fractional part"},
        ParseCase{.label = "", .text = "1e", .error = "at least one digit required in exponent"},
        ParseCase{.label = "", .text = "1e+", .error = "at least one digit required in exponent"},
        ParseCase{.label = "", .text = "1.5E-", .error = "at least one digit required in exponent"},
        ParseCase{.label = "", .text = "0x10", .error = "unexpected trailing 'x' (120)"},
        ParseCase{.label = "", .text = "1.5.5", .error = "unexpected trailing '.' (46)"},
        ParseCase{.label = "", .text = "1e5e5", .error = "unexpected trailing 'e' (101)"}));

// --- agreement with the C library ---

constexpr std::uint64_t kSeed = 20250326;

std::string formatted(double value) {
  std::array<char, 64> text;
  std::snprintf(text.data(), text.size(), "%.17g", value);
  return text.data();
}

TEST(DoubleText, IsThatOfPrintfFor17DigitsOverRandomBitPatterns) {
  std::mt19937_64 random(kSeed);
  for (int i = 0; i < 1000000; ++i) {
    const auto value = std::bit_cast<double>(random());
    if (!std::isfinite(value)) continue;
    ASSERT_EQ(Json(value).dump(), formatted(value));
  }
}

TEST(DoubleText, IsThatOfPrintfFor17DigitsOverNumbersOfEverydaySize) {
  std::mt19937_64 random(kSeed);
  for (int i = 0; i < 300000; ++i) {
    const double value = static_cast<double>(static_cast<std::int64_t>(random())) / std::pow(10, i % 25);
    ASSERT_EQ(Json(value).dump(), formatted(value));
  }
}

/// A random text in the form of a JSON number that is read as a double: with a sign or a fraction.
std::string randomNumberText(std::mt19937_64& random) {
  const auto digits = [&random](std::size_t longest) {
    std::string text(1, static_cast<char>('1' + random() % 9));
    for (std::size_t left = random() % longest; left > 0; --left)
      text += static_cast<char>('0' + random() % 10);
    return text;
  };
  std::string text = random() % 2 == 0 ? "-" : "";
  text += random() % 4 == 0 ? "0" : digits(25);
  text += "." + std::string(random() % 8, '0') + digits(25);
  if (random() % 2 == 0) text += (random() % 2 == 0 ? "e-" : "E+") + std::to_string(random() % 340);
  return text;
}

TEST(DoubleValue, IsThatOfStrtodOverRandomTexts) {
  std::mt19937_64 random(kSeed);
  for (int i = 0; i < 500000; ++i) {
    const std::string text = randomNumberText(random);
    const double expected = std::strtod(text.c_str(), nullptr);
    const double value = parsed(text).value.numberValue();
    ASSERT_EQ(std::bit_cast<std::uint64_t>(value), std::bit_cast<std::uint64_t>(expected)) << text;
  }
}

TEST(DoubleValue, ComesBackFromItsOwnText) {
  std::mt19937_64 random(kSeed);
  for (int i = 0; i < 300000; ++i) {
    const auto value = std::bit_cast<double>(random());
    if (!std::isfinite(value)) continue;
    std::string text = formatted(value);
    if (text.find('.') == std::string::npos && text[0] != '-') continue;  // may be of another class
    ASSERT_EQ(parsed(text).value.numberValue(), value) << text;
  }
}

TEST(DoubleValue, OutOfRangeIsThatOfStrtod) {
  for (const char* const text :
       {"1.0e308", "1.7976931348623159e308", "1.0e309", "-1.0e999999", "1.0e-308", "4.9e-324",
        "2.4703282292062327e-324", "2.4703282292062328e-324", "1.0e-400", "-1.0e-999999", "0.0e999999",
        "2.2250738585072011e-308", "-1.0e99999999999999999999"}) {
    const double expected = std::strtod(text, nullptr);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(parsed(text).value.numberValue()),
              std::bit_cast<std::uint64_t>(expected))
        << text;
  }
}

TEST(UnsignedValue, IsThatOfStrtoullOverRandomTexts) {
  std::mt19937_64 random(kSeed);
  for (int i = 0; i < 300000; ++i) {
    std::string text(1, static_cast<char>('1' + random() % 9));
    while (text.size() < 11 + static_cast<std::size_t>(i) % 12)
      text += static_cast<char>('0' + random() % 10);
    if (i % 3 == 0) text += "e5";
    const Json value = parsed(text).value;
    const unsigned long expected = std::strtoull(text.c_str(), nullptr, 10);
    ASSERT_EQ(value.uint64Value(), expected) << text;
    std::array<char, 64> printed;
    std::snprintf(printed.data(), printed.size(), "%llu", static_cast<unsigned long long>(expected));
    ASSERT_EQ(value.dump(), printed.data());
  }
}

TEST(IntText, IsThatOfPrintf) {
  std::mt19937_64 random(kSeed);
  for (int i = 0; i < 100000; ++i) {
    const auto value = static_cast<int>(random());
    ASSERT_EQ(Json(value).dump(), std::to_string(value));
  }
  EXPECT_EQ(Json(std::numeric_limits<int>::min()).dump(), "-2147483648");
}

}  // namespace
