#pragma once

// Runs of text that stands in a JSON string as it is. Private to this folder.

#include <cstddef>
#include <string_view>

namespace json11 {

/// Whether `c` interrupts plain text: a control character, or one of `kStops`.
template <char... kStops>
bool isStop(char c) {
  return ((static_cast<unsigned char>(c) < 0x20) || ... || (c == kStops));
}

/// How many bytes of `text` come before the first that isStop().
template <char... kStops>
std::size_t plainLength(std::string_view text) {
  std::size_t length = 0;
  while (length < text.size() && !isStop<kStops...>(text[length])) ++length;
  return length;
}

}  // namespace json11
