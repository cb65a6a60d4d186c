// Numbers: their grammar, and the class that their text gives them.

#include "json/json.h"
#include "json/parse_rows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

using json11::Json;

namespace {

using namespace std::string_literals;

TEST(ParseNumber, ReadsUpToNineCharactersAsInt) {
  expectGood({
      {"zero", "0", "0"},
      {"negative zero loses its sign", "-0", "0"},
      {"one digit", "7", "7"},
      {"nine digits", "123456789", "123456789"},
      {"highest", "999999999", "999999999"},
      {"lowest", "-99999999", "-99999999"},
  });
}

TEST(ParseNumber, ReadsTheBoundariesOfTheClasses) {
  expectGood({
      {"ten digits", "1234567890", "1234567890"},
      {"least ten digits", "1000000000", "1000000000"},
      {"highest 32-bit", "4294967295", "4294967295"},
      {"first unsigned 64-bit", "4294967296", "4294967296"},
      {"eleven digits", "12345678901", "12345678901"},
      {"all digits of an address", "18446744073709551615", "18446744073709551615"},
      {"nineteen digits", "9223372036854775809", "9223372036854775809"},
      {"saturates", "18446744073709551616", "18446744073709551615"},
      {"saturates far out", "99999999999999999999999999", "18446744073709551615"},
      {"negative of ten characters", "-123456789", "-123456789"},
      {"negative of eleven", "-1234567890", "-1234567890"},
      {"negative is a double with 17 digits", "-12345678901234567890", "-1.2345678901234567e+19"},
  });
}

TEST(ParseNumber, KeepsUnsigned64Exactly) {
  const Json address = parsed("18446744073709551615");
  EXPECT_EQ(address.uint64Value(), 18446744073709551615U);
  EXPECT_EQ(address.intValue(), -1);
  EXPECT_EQ(parsed("18446744073709551616").uint64Value(), 18446744073709551615U);
  EXPECT_EQ(parsed("9007199254740993").uint64Value(), 9007199254740993U);
  // Of an unsigned 64-bit value, intValue() gives the low 32 bits.
  EXPECT_EQ(parsed("4294967296").intValue(), 0);
  EXPECT_EQ(parsed("4294967297").intValue(), 1);
  EXPECT_EQ(parsed("12345678901").intValue(), -539222987);
}

TEST(ParseNumber, ReadsTenDigitsUpToUnsigned32AsDouble) {
  // A double that does not fit reads as the lowest int, an unsigned value as its low 32 bits.
  EXPECT_EQ(parsed("2147483649").intValue(), std::numeric_limits<int>::min());
  EXPECT_EQ(parsed("4294967295").intValue(), std::numeric_limits<int>::min());
  EXPECT_EQ(parsed("4294967295").numberValue(), 4294967295.0);
  EXPECT_EQ(parsed("4294967295").uint64Value(), 4294967295U);
}

TEST(ParseNumber, ReadsASignOrAFractionAsDoubleHoweverLong) {
  EXPECT_EQ(parsed("-12345678901").intValue(), std::numeric_limits<int>::min());
  EXPECT_EQ(parsed("12345678901.0").intValue(), std::numeric_limits<int>::min());
}

TEST(ParseNumber, ReadsFractionsAsDouble) {
  expectGood({
      {"fraction", "1.5", "1.5"},
      {"zero fraction", "1.0", "1"},
      {"negative zero keeps its sign", "-0.0", "-0"},
      {"short of nine characters", "0.1", "0.10000000000000001"},
      {"above unsigned 32 with fraction", "12345678901.0", "12345678901"},
      {"long with fraction", "18446744073709551615.0", "1.8446744073709552e+19"},
      {"fraction and exponent", "1.5e3", "1500"},
      {"fraction and negative exponent", "1.5E-3", "0.0015"},
      {"long, with fraction and exponent", "123456789.125e10", "1.2345678912499999e+18"},
      {"leading zero of a fraction", "0.0625", "0.0625"},
  });
}

TEST(ParseNumber, ReadsShortExponentsAsDouble) {
  expectGood({
      {"exponent", "1e5", "100000"},
      {"capital", "1E5", "100000"},
      {"plus", "1e+5", "100000"},
      {"minus", "1e-5", "1.0000000000000001e-05"},
      {"negative", "-1e5", "-100000"},
      {"zero", "0e5", "0"},
      {"negative zero", "-0e5", "-0"},
      {"leading zeros of the exponent", "1e0003", "1000"},
      {"nine characters", "1234567e1", "12345670"},
      {"infinite", "1e999", "null"},
      {"minus infinite", "-1e999", "null"},
      {"vanishing", "1e-999", "0"},
      {"denormal", "5e-324", "4.9406564584124654e-324"},
      {"below the least denormal", "2e-324", "0"},
      {"negative and long", "-5000000e10", "-50000000000000000"},
  });
}

TEST(ParseNumber, DropsTheExponentOfALongTextWithoutSignAndFraction) {
  expectGood({
      {"eleven characters", "5000000e100", "5000000"},
      {"eleven characters, small", "1e000000000", "1"},
      {"zero before a long exponent", "0e123456789", "0"},
      {"ten characters above", "5000000e10", "5000000"},
      {"ten characters above by the exponent letter", "4294967e10", "4294967"},
      {"by the capital letter", "4294967E10", "4294967"},
      {"by the letter right behind the first digit", "4e00000001", "4"},
      {"by the sign's letter", "42949e+001", "42949"},
      {"ten characters below", "4294966e10", "42949660000000000"},
      {"ten characters below by the first digit", "3999999e10", "39999990000000000"},
      {"ten characters below with plus", "1e+0000002", "100"},
      {"one digit, eleven characters with minus", "1e-00000001", "1"},
      {"saturates before the exponent", "99999999999999999999e5", "18446744073709551615"},
  });
}

TEST(ParseNumber, SeesInfinityThatPrintsAsNull) {
  EXPECT_EQ(parsed("1e999").type(), Json::Type::Number);
  EXPECT_TRUE(std::isinf(parsed("1e999").numberValue()));
  EXPECT_TRUE(std::signbit(parsed("-1.5e999").numberValue()));
}

TEST(ParseNumber, TakesNoMoreThanTheNumber) {
  expectGood({
      {"before a comma", "[1,2.5,3e1,12345678901]", "[1, 2.5, 30, 12345678901]"},
      {"before a brace", "{\"a\":-0}", "{\"a\": 0}"},
      {"before white space", "1234567890\n", "1234567890"},
  });
  expectBad({
      {"hexadecimal", "0x10", "unexpected trailing 'x' (120)"},
      {"second point", "1.2.3", "unexpected trailing '.' (46)"},
      {"second exponent", "1e2e3", "unexpected trailing 'e' (101)"},
      {"point after an exponent", "1e2.5", "unexpected trailing '.' (46)"},
      {"minus after a digit", "1-2", "unexpected trailing '-' (45)"},
      {"zero byte", "1\0"s, "unexpected trailing (0)"},
  });
}

TEST(ParseNumber, RefusesLeadingZeros) {
  const char* const message = "leading 0s not permitted in numbers";
  expectBad({
      {"zero and digit", "01", message},
      {"two zeros", "00", message},
      {"negative", "-01", message},
      {"many", "0000000001", message},
      {"before a fraction", "00.5", message},
      {"in an array", "[1,02]", message},
  });
}

TEST(ParseNumber, RefusesAMinusWithoutDigits) {
  expectBad({
      {"letter", "-x", "invalid 'x' (120) in number"},
      {"end of input", "-", "invalid (0) in number"},
      {"zero byte", "-\0"s, "invalid (0) in number"},
      {"high byte", "-\xC3\xA9", "invalid (-61) in number"},
      {"byte 0xFF", "-\xFF", "invalid (-1) in number"},
      {"blank", "- 1", "invalid ' ' (32) in number"},
      {"line feed", "-\n", "invalid (10) in number"},
      {"point", "-.5", "invalid '.' (46) in number"},
      {"exponent", "-e5", "invalid 'e' (101) in number"},
      {"minus", "--1", "invalid '-' (45) in number"},
      {"bracket", "[-]", "invalid ']' (93) in number"},
      {"infinity", "-Infinity", "invalid 'I' (73) in number"},
  });
}

TEST(ParseNumber, RefusesAFractionWithoutDigits) {
  const char* const message = "at least one digit required in fractional part";
  expectBad({
      {"end of input", "1.", message},
      {"zero byte", "1.\0"s, message},
      {"high byte", "1.\xC3", message},
      {"exponent", "1.e5", message},
      {"letter", "-0.x", message},
      {"bracket", "[12345678901.]", message},
      {"minus", "1.-5", message},
  });
}

TEST(ParseNumber, RefusesAnExponentWithoutDigits) {
  const char* const message = "at least one digit required in exponent";
  expectBad({
      {"end of input", "1e", message},
      {"end of input after plus", "1e+", message},
      {"end of input after minus", "1E-", message},
      {"zero byte", "1e\0"s, message},
      {"high byte", "1e\xC3", message},
      {"letter", "1ex", message},
      {"two signs", "1e+-5", message},
      {"point", "1e.5", message},
      {"after a fraction", "1.5e", message},
      {"blank", "1e 5", message},
  });
}

TEST(ParseNumber, NeedsADigitOrMinusFirst) {
  expectBad({
      {"plus", "+1", "expected value, got '+' (43)"},
      {"point", ".5", "expected value, got '.' (46)"},
      {"NaN", "NaN", "expected value, got 'N' (78)"},
      {"infinity", "Infinity", "expected value, got 'I' (73)"},
  });
}

}  // namespace
