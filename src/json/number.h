#pragma once

// How the text of a number becomes a number. Private to this folder.
//
// The class of a number is decided by its text alone, so that a 64-bit address keeps every digit:
//   up to 9 characters, no fraction, no exponent                  -> int
//   no sign, no fraction, and by its text above 4294967295        -> unsigned 64-bit
//   all else                                                      -> double
//
// Every text has the form of a JSON number. None of these depends on the locale.

#include <cstddef>
#include <string_view>

namespace json11 {

/// Longest text, in characters with its sign, that is read as an int; no such text is out of an int's range.
constexpr std::size_t kMaxIntLength = 9;

/// Whether a text without sign and fraction counts as above 4294967295: by its length, then byte by byte. An
/// exponent is not understood and counts like digits.
bool exceedsUInt32(std::string_view text);

/// Equal to strtol in base 10. `text` is at most kMaxIntLength characters.
int readInt(std::string_view text);

/// Equal to strtoull in base 10: saturates at 2^64 - 1 and stops at an exponent.
unsigned long readUInt64(std::string_view text);

/// Equal to strtod in the "C" locale: infinite above the range, nearest below it.
double readDouble(std::string_view text);

}  // namespace json11
