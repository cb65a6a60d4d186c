#include "devhost/image/address.h"

#include <array>
#include <charconv>

std::string hexDigits(std::uint64_t number) {
  std::array<char, 16> digits;
  const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), number, 16);
  return {digits.data(), end};
}
