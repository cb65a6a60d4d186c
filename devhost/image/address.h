#pragma once

#include <cstdint>
#include <string>

/// Stands for "none" where an address is expected.
inline constexpr std::uint64_t kNoAddress = ~std::uint64_t{0};

/// `base` and a displacement that may be negative.
constexpr std::uint64_t offsetBy(std::uint64_t base, std::int64_t displacement) {
  return base + static_cast<std::uint64_t>(displacement);
}

/// `number` in lower-case hexadecimal digits, without prefix or leading zeros.
std::string hexDigits(std::uint64_t number);
