// Values to text.

#include "json/json.h"
#include "json/payload.h"
#include "json/text_gatherer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <string_view>

namespace json11 {

namespace {

/// Room made at the start for a text whose length is not known, in bytes; most replies fit.
constexpr std::size_t kTypicalLength = 256;

/// Room that an element or member finds before it is printed, in bytes; most fit.
constexpr std::size_t kTypicalElementLength = 64;

/// Makes room in large steps: each step copies all text so far, while room that is never written costs
/// nothing.
void makeRoom(std::string& out) {
  constexpr std::size_t kGrowth = 4;
  if (out.capacity() - out.size() < kTypicalElementLength) out.reserve(out.capacity() * kGrowth);
}

constexpr char kHexDigits[] = "0123456789abcdef";

/// Not 0 when a byte of `word` is not ASCII, a control character, a quotation mark or a backslash.
Word markNotPlainAscii(Word word) {
  const Word notAscii = word;
  const Word control = word - inEveryByte(0x20);
  const Word quote = (word ^ inEveryByte('"')) - inEveryByte(1);
  const Word backslash = (word ^ inEveryByte('\\')) - inEveryByte(1);
  return (notAscii | control | quote | backslash) & inEveryByte(0x80);
}

/// Whether `text` is printed as it is. Names and addresses are, so this is asked first; a no is not always
/// right.
bool isPlainAscii(std::string_view text) {
  if (text.size() < sizeof(Word)) return text.empty() || markNotPlainAscii(shortText(text)) == 0;
  const char* const last = text.data() + text.size() - sizeof(Word);
  for (const char* at = text.data(); at < last; at += sizeof(Word)) {
    if (markNotPlainAscii(wordAt(at)) != 0) return false;
  }
  return markNotPlainAscii(wordAt(last)) == 0;  // may look at some bytes twice
}

/// Appends `text` between quotation marks. One step: three would ask for room three times.
void appendQuoted(std::string_view text, std::string& out) {
  const std::size_t start = out.size();
  out.resize(start + text.size() + 2, '"');
  std::copy(text.begin(), text.end(), out.data() + start + 1);
}

/// What is printed for a byte of a string.
struct PrintedByte {
  std::array<char, 8> text{};
  std::uint8_t size = 0;
};

/// The letter that stands behind the backslash for `byte`; 0 if it has none.
constexpr char shortEscape(unsigned byte) {
  switch (byte) {
    case '\b': return 'b';
    case '\t': return 't';
    case '\n': return 'n';
    case '\f': return 'f';
    case '\r': return 'r';
    case '"': return '"';
    case '\\': return '\\';
    default: return 0;
  }
}

constexpr PrintedByte printed(unsigned byte) {
  if (const char letter = shortEscape(byte); letter != 0) return {{'\\', letter}, 2};
  if (byte < 0x20) return {{'\\', 'u', '0', '0', kHexDigits[byte >> 4], kHexDigits[byte & 0xF]}, 6};
  return {{static_cast<char>(byte)}, 1};
}

constexpr std::array<PrintedByte, 256> printedBytes() {
  std::array<PrintedByte, 256> all;
  for (unsigned i = 0; i < all.size(); ++i) all[i] = printed(i);
  return all;
}

constexpr std::array<PrintedByte, 256> kPrintedBytes = printedBytes();

/// How many bytes are looked up one by one before plain text is looked for again, eight at once. With fewer,
/// text full of escapes takes longer; with more, text that has one in each line does.
constexpr std::size_t kLookedUp = 24;

/// What is printed for U+2028 and U+2029; empty for any other character.
std::string_view separatorEscape(std::string_view character) {
  if (character == "\xE2\x80\xA8") return "\\u2028";
  if (character == "\xE2\x80\xA9") return "\\u2029";
  return "";
}

/// Puts what stands for the bytes from `i` to `end`, kLookedUp at most, and a little beyond if a character
/// lies across it; returns the index where it stopped.
std::size_t putBytes(std::string_view text, std::size_t i, std::size_t end, TextGatherer& out) {
  out.putWith(kLookedUp * sizeof(PrintedByte::text), [text, &i, end](char* at) {
    while (i < end) {
      const std::string_view separator = text[i] == '\xE2' ? separatorEscape(text.substr(i, 3)) : "";
      if (!separator.empty()) {
        at = std::copy(separator.begin(), separator.end(), at);
        i += 3;
        continue;
      }
      // All of the array, which is one instruction; the next byte's text covers what is not to stay.
      const PrintedByte& byte = kPrintedBytes[static_cast<unsigned char>(text[i])];
      std::copy(byte.text.begin(), byte.text.end(), at);
      at += byte.size;
      ++i;
    }
    return at;
  });
  return i;
}

/// Appends the text of a number; the buffer holds any that `%d`, `%llu` and `%.17g` can print.
template <typename... Number>
void appendNumber(std::string& out, Number... number) {
  std::array<char, 32> buffer;
  const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number...);
  out.append(buffer.data(), end);
}

}  // namespace

void dump(const std::string& value, std::string& out) {
  if (isPlainAscii(value)) {
    appendQuoted(value, out);
    return;
  }
  const std::string_view text = value;
  TextGatherer gatherer(out);
  gatherer.put('"');
  std::size_t i = 0;
  while ((i = gatherer.putPlain<'"', '\\', 0xE2>(text, i)) < text.size()) {
    // Where one byte needs an escape the next is often near: JSON within a string, paths, line ends.
    i = putBytes(text, i, std::min(i + kLookedUp, text.size()), gatherer);
  }
  gatherer.put('"');
  gatherer.flush();
}

void dump(NullStruct, std::string& out) {
  out += "null";
}

void dump(bool value, std::string& out) {
  out += value ? "true" : "false";
}

void dump(int value, std::string& out) {
  appendNumber(out, value);
}

void dump(unsigned long value, std::string& out) {
  appendNumber(out, value);
}

void dump(double value, std::string& out) {
  if (!std::isfinite(value)) {
    out += "null";
    return;
  }
  // Same digits as printf's %.17g, whatever the locale.
  appendNumber(out, value, std::chars_format::general, 17);
}

void dump(const Json::array& values, std::string& out) {
  out += '[';
  bool first = true;
  for (const Json& value : values) {
    if (!first) out.append(", ", 2);
    first = false;
    makeRoom(out);
    value.dump(out);
  }
  out += ']';
}

void dump(const Json::object& values, std::string& out) {
  out += '{';
  bool first = true;
  for (const auto& [key, value] : values) {
    if (!first) out.append(", ", 2);
    first = false;
    makeRoom(out);
    dump(key, out);
    out.append(": ", 2);
    value.dump(out);
  }
  out += '}';
}

void Json::dump(std::string& out) const {
  payload_->dump(out);
}

std::string Json::dump() const {
  std::string out;
  out.reserve(kTypicalLength);
  dump(out);
  return out;
}

}  // namespace json11
