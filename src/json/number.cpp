#include "json/number.h"

#include <charconv>
#include <clocale>
#include <cstdlib>
#include <limits>
#include <string>
#include <system_error>

namespace json11 {

namespace {

constexpr std::string_view kUInt32Max = "4294967295";

/// The "C" locale, which the C library always has: the process may be in one with a decimal comma.
locale_t cLocale() {
  static const locale_t locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
  return locale;
}

}  // namespace

bool exceedsUInt32(std::string_view text) {
  return text.size() > kUInt32Max.size() || (text.size() == kUInt32Max.size() && text > kUInt32Max);
}

int readInt(std::string_view text) {
  int value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

unsigned long readUInt64(std::string_view text) {
  unsigned long value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc::result_out_of_range ? std::numeric_limits<unsigned long>::max() : value;
}

double readDouble(std::string_view text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  // Out of range from_chars leaves the value alone where strtod gives an infinity or the nearest small
  // number.
  return error == std::errc{} ? value : ::strtod_l(std::string(text).c_str(), nullptr, cLocale());
}

}  // namespace json11
