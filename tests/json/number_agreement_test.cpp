// Numbers against the C library: strtol, strtoull, strtod and printf must agree to the last bit, over
// millions of random ones.

#include "json/json.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <random>
#include <string>

using json11::Json;

namespace {

constexpr std::uint64_t kSeed = 0x2025'0326;
constexpr int kRounds = 300000;

class NumberAgreement : public testing::Test {
 protected:
  NumberAgreement() { std::cout << "seed " << kSeed << '\n'; }

  std::uint64_t below(std::uint64_t limit) { return random_() % limit; }
  std::uint64_t bits() { return random_(); }

  std::string digits(std::uint64_t count) {
    std::string text;
    for (; count > 0; --count) text += static_cast<char>('0' + below(10));
    return text;
  }

  /// An integer part of up to `longest` digits.
  std::string integer(std::uint64_t longest) {
    if (below(8) == 0) return "0";
    return static_cast<char>('1' + below(9)) + digits(below(longest));
  }

  std::string exponent(std::uint64_t longest) {
    const char* const letters[] = {"e", "E", "e+", "E+", "e-", "E-"};
    return letters[below(std::size(letters))] + digits(1 + below(longest));
  }

 private:
  std::mt19937_64 random_{kSeed};
};

template <typename Number>
std::string printed(const char* format, Number number) {
  char text[64];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  std::snprintf(text, sizeof text, format, number);
#pragma GCC diagnostic pop
  return text;
}

/// The value that a text of JSON's number grammar stands for, by the rules and with the C library.
Json expectedValue(const std::string& text) {
  const bool negative = text[0] == '-';
  const bool fraction = text.find('.') != std::string::npos;
  const bool exponent = text.find_first_of("eE") != std::string::npos;
  if (!fraction && !exponent && text.size() <= 9) {
    return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
  }
  const bool large = text.size() >= 11 || (text.size() == 10 && text > "4294967295");
  if (!negative && !fraction && large) {
    return static_cast<unsigned long>(std::strtoull(text.c_str(), nullptr, 10));
  }
  return std::strtod(text.c_str(), nullptr);
}

void expectAgreement(const std::string& text) {
  std::string error;
  const Json value = Json::parse(text, error);
  const Json expected = expectedValue(text);
  ASSERT_EQ(error, "") << text;
  ASSERT_EQ(std::bit_cast<std::uint64_t>(value.numberValue()),
            std::bit_cast<std::uint64_t>(expected.numberValue()))
      << text;
  ASSERT_EQ(value.uint64Value(), expected.uint64Value()) << text;
  ASSERT_EQ(value.intValue(), expected.intValue()) << text;
  ASSERT_EQ(value.dump(), expected.dump()) << text;
}

TEST_F(NumberAgreement, DoublesPrintAsPrintfPrintsThem) {
  for (int i = 0; i < kRounds; ++i) {
    const auto value = std::bit_cast<double>(bits());
    if (!std::isfinite(value)) continue;
    ASSERT_EQ(Json(value).dump(), printed("%.17g", value));
  }
}

TEST_F(NumberAgreement, DoublesOfEverydaySizePrintAsPrintfPrintsThem) {
  for (int i = 0; i < kRounds; ++i) {
    const double value = static_cast<double>(static_cast<std::int64_t>(bits()) >> below(64)) /
                         static_cast<double>(std::uint64_t{1} << below(40));
    ASSERT_EQ(Json(value).dump(), printed("%.17g", value));
  }
}

TEST_F(NumberAgreement, DenormalsPrintAsPrintfPrintsThem) {
  for (int i = 0; i < kRounds / 10; ++i) {
    const auto value = std::bit_cast<double>(bits() & 0x800FFFFFFFFFFFFF);
    ASSERT_EQ(Json(value).dump(), printed("%.17g", value));
  }
}

TEST_F(NumberAgreement, IntegersPrintAsPrintfPrintsThem) {
  for (int i = 0; i < kRounds; ++i) {
    const std::uint64_t value = bits() >> below(64);
    ASSERT_EQ(Json(value).dump(), printed("%llu", static_cast<unsigned long long>(value)));
    const auto small = static_cast<int>(value);
    ASSERT_EQ(Json(small).dump(), printed("%d", small));
  }
}

TEST_F(NumberAgreement, DoublesReadBackExactly) {
  for (int i = 0; i < kRounds; ++i) {
    // Negative: no text of a negative number is taken for an unsigned one.
    const auto value = std::bit_cast<double>(bits() | 0x8000000000000000);
    if (!std::isfinite(value)) continue;
    const std::string text = Json(value).dump();
    std::string error;
    const Json back = Json::parse(text, error);
    ASSERT_EQ(std::bit_cast<std::uint64_t>(back.numberValue()), std::bit_cast<std::uint64_t>(value)) << text;
  }
}

TEST_F(NumberAgreement, IntegerTextsReadAsTheCLibraryReadsThem) {
  for (int i = 0; i < kRounds; ++i) {
    expectAgreement((below(3) == 0 ? "-" : "") + integer(24));
    if (HasFatalFailure()) return;
  }
}

TEST_F(NumberAgreement, TextsAroundUnsigned32ReadAsTheCLibraryReadsThem) {
  for (std::uint64_t value = 4294967295 - 20000; value < 4294967295 + 20000; ++value) {
    expectAgreement(std::to_string(value));
    if (HasFatalFailure()) return;
  }
}

TEST_F(NumberAgreement, TextsWithExponentReadAsTheCLibraryReadsThem) {
  for (int i = 0; i < kRounds; ++i) {
    expectAgreement((below(3) == 0 ? "-" : "") + integer(10) + exponent(below(6) == 0 ? 6 : 3));
    if (HasFatalFailure()) return;
  }
}

TEST_F(NumberAgreement, TextsWithFractionReadAsTheCLibraryReadsThem) {
  for (int i = 0; i < kRounds; ++i) {
    const std::string text = (below(2) == 0 ? "-" : "") + integer(20) + "." + digits(1 + below(25));
    expectAgreement(below(2) == 0 ? text : text + exponent(below(20) == 0 ? 6 : 3));
    if (HasFatalFailure()) return;
  }
}

TEST_F(NumberAgreement, TextsNearTheEndsOfTheRangeReadAsTheCLibraryReadsThem) {
  for (int i = 0; i < kRounds / 4; ++i) {
    const std::string sign = below(2) == 0 ? "-" : "";
    expectAgreement(sign + integer(2) + "." + digits(18) + "e" + std::to_string(305 + below(5)));
    expectAgreement(sign + integer(2) + "." + digits(18) + "e-" + std::to_string(305 + below(22)));
    if (HasFatalFailure()) return;
  }
}

TEST_F(NumberAgreement, TextsOutOfRangeReadAsTheCLibraryReadsThem) {
  for (const char* const text :
       {"1.0e308", "1.7976931348623158e308", "1.7976931348623159e308", "1.0e309", "-1.0e999999", "1.0e-308",
        "4.9e-324", "2.4703282292062327e-324", "2.4703282292062328e-324", "1.0e-400", "-1.0e-999999",
        "0.0e999999", "-0.0e-999999", "2.2250738585072011e-308", "-1.0e99999999999999999999",
        "-1e-99999999999999999999", "1e400", "1e-400"}) {
    expectAgreement(text);
  }
}

TEST_F(NumberAgreement, PrintedDoublesReadAsTheCLibraryReadsThem) {
  for (int i = 0; i < kRounds; ++i) {
    const auto value = std::bit_cast<double>(bits());
    if (!std::isfinite(value)) continue;
    expectAgreement(printed("%.17g", value));
    if (HasFatalFailure()) return;
  }
}

TEST_F(NumberAgreement, HalfwayTextsReadAsTheCLibraryReadsThem) {
  // The exact middle of two neighbouring doubles, with all its digits, and a bit beside it.
  for (int i = 0; i < kRounds / 20; ++i) {
    const double low = std::bit_cast<double>((bits() & 0x001FFFFFFFFFFFFF) | 0x4330000000000000) /
                       static_cast<double>(std::uint64_t{1} << below(60));
    const long double middle =
        (static_cast<long double>(low) +
         static_cast<long double>(std::nextafter(low, std::numeric_limits<double>::infinity()))) /
        2;
    char text[256];
    std::snprintf(text, sizeof text, "%.80Lf", middle);
    expectAgreement(text);
    expectAgreement(std::string(text) + "1");
    if (HasFatalFailure()) return;
  }
}

}  // namespace
