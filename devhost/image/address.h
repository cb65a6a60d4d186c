#pragma once

#include <cstdint>
#include <string>

/// Stands for "none" where an address is expected.
inline constexpr std::uint64_t kNoAddress = ~std::uint64_t{0};

/// `number` in lower-case hexadecimal digits, without prefix or leading zeros.
std::string hexDigits(std::uint64_t number);
