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

/// Whether nothing interrupts `text`.
template <unsigned char... kStops>
bool isPlain(std::string_view text) {
  if (text.size() < sizeof(Word)) return std::ranges::none_of(text, isStop<kStops...>);
  const char* const last = text.data() + text.size() - sizeof(Word);
  for (const char* at = text.data(); at < last; at += sizeof(Word)) {
    if (markStops<kStops...>(wordAt(at)) != 0) return false;
  }
  return markStops<kStops...>(wordAt(last)) == 0;  // may look at some bytes twice
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

  /// `piece` is shorter than the buffer: an escape, a character.
  void put(std::string_view piece) {
    makeRoom(piece.size());
    std::memcpy(buffer_.data() + used_, piece.data(), piece.size());
    used_ += piece.size();
  }

  /// Puts `text` from index `i` up to the first byte that is below 0x20 or one of `kStops`, or to its end;
  /// returns the index where it stopped. Takes eight bytes a step, since most text is plain.
  template <unsigned char... kStops>
  std::size_t putPlain(std::string_view text, std::size_t i) {
    for (; i + sizeof(Word) <= text.size(); i += sizeof(Word)) {
      const Word word = wordAt(text.data() + i);
      makeRoom(sizeof word);
      std::memcpy(buffer_.data() + used_, &word, sizeof word);
      const Word stops = markStops<kStops...>(word);
      const auto plain =
          static_cast<std::size_t>(std::countr_zero(stops)) / 8;  // all eight if nothing is marked
      used_ += plain;
      if (stops != 0) return i + plain;
    }
    for (; i < text.size() && !isStop<kStops...>(text[i]); ++i)
      put(text[i]);
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
