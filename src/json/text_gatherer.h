#pragma once

// Building strings out of short pieces and runs of plain text. Private to this folder.

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace json11 {

/// Eight bytes of text, looked at together.
using Word = std::uint64_t;

constexpr Word inEveryByte(unsigned char byte) {
  return 0x0101010101010101U * byte;
}

/// Marks (0x80) the lowest byte of `word` that is below `limit`, if there is one; limit is at most 0x80.
/// Bytes above that one may be marked wrongly.
constexpr Word markBelow(Word word, unsigned char limit) {
  return (word - inEveryByte(limit)) & ~word & inEveryByte(0x80);
}

/// Marks the lowest byte of `word` that equals `byte`, likewise.
constexpr Word markEqual(Word word, unsigned char byte) {
  return markBelow(word ^ inEveryByte(byte), 1);
}

inline Word wordAt(const char* bytes) {
  Word word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

/// The bytes of a text of 1 to 7, with plain letters beside them.
inline Word shortText(std::string_view text) {
  constexpr std::size_t kHalf = sizeof(Word) / 2;
  if (text.size() >= kHalf) {
    std::uint32_t first;
    std::uint32_t last;
    std::memcpy(&first, text.data(), kHalf);
    std::memcpy(&last, text.data() + text.size() - kHalf, kHalf);
    return Word{last} << 32 | first;
  }
  const auto byte = [text](std::size_t i) { return Word{static_cast<unsigned char>(text[i])}; };
  const Word letters = inEveryByte('a') << 24;
  return letters | byte(0) << 16 | byte(text.size() / 2) << 8 | byte(text.size() - 1);
}

/// Whether `c` interrupts plain text: a control character, or one of `kStops`.
template <unsigned char... kStops>
bool isStop(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return ((byte < 0x20) || ... || (byte == kStops));
}

/// Marks the lowest byte of `word` that isStop(), likewise.
template <unsigned char... kStops>
Word markStops(Word word) {
  return (markBelow(word, 0x20) | ... | markEqual(word, kStops));
}

/// How many bytes of a word come before the lowest marked one; all eight if none is marked.
constexpr std::size_t bytesBefore(Word marks) {
  return static_cast<std::size_t>(std::countr_zero(marks)) / 8;
}

/// Index of the first byte of `text` from `i` on that isStop(); text.size() if there is none. Takes eight
/// bytes a step, since most text is plain.
template <unsigned char... kStops>
std::size_t plainEnd(std::string_view text, std::size_t i) {
  for (; i + sizeof(Word) <= text.size(); i += sizeof(Word)) {
    const Word stops = markStops<kStops...>(wordAt(text.data() + i));
    if (stops != 0) return i + bytesBefore(stops);
  }
  while (i < text.size() && !isStop<kStops...>(text[i])) ++i;
  return i;
}

/// Puts short pieces of text together before they go to a string: an append for each would cost more than the
/// bytes themselves. What was put is in the string only after flush().
class TextGatherer {
 public:
  explicit TextGatherer(std::string& out) : out_(out) {}

  void put(char c) {
    makeRoom(1);
    buffer_[used_++] = c;
  }

  /// Puts what `write` writes: it is given a place with room for `most` bytes, fewer than the buffer's, and
  /// returns the end of what is to stay. One question for room, and the place is kept in a register.
  template <typename Write>
  void putWith(std::size_t most, Write write) {
    makeRoom(most);
    char* const begin = buffer_.data() + used_;
    used_ += static_cast<std::size_t>(write(begin) - begin);
  }

  /// Puts `text` from index `i` up to the first byte that is below 0x20 or one of `kStops`, or to its end;
  /// returns the index where it stopped. Takes eight bytes a step, since most text is plain.
  template <unsigned char... kStops>
  std::size_t putPlain(std::string_view text, std::size_t i) {
    for (; i + sizeof(Word) <= text.size(); i += sizeof(Word)) {
      const Word word = wordAt(text.data() + i);
      makeRoom(sizeof word);
      std::copy_n(text.data() + i, sizeof word, buffer_.data() + used_);
      const Word stops = markStops<kStops...>(word);
      const std::size_t plain = bytesBefore(stops);
      used_ += plain;
      if (stops != 0) return i + plain;
    }
    for (; i < text.size() && !isStop<kStops...>(text[i]); ++i) put(text[i]);
    return i;
  }

  void flush() {
    out_.append(buffer_.data(), used_);
    used_ = 0;
  }

 private:
  void makeRoom(std::size_t bytes) {
    if (bytes > buffer_.size() - used_) flush();
  }

  std::string& out_;
  std::size_t used_ = 0;
  std::array<char, 512> buffer_;
};

static_assert(std::endian::native == std::endian::little, "the first byte of a text is a word's lowest");

}  // namespace json11
