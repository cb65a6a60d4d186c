// Values to text.

#include "json/json.h"
#include "json/payload.h"
#include "json/plain_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <string_view>

namespace json11 {

namespace {

/// Makes room for the next element or member, in large steps: each step copies all text so far, while room
/// that is never written costs nothing.
void makeRoom(std::string& out) {
  constexpr std::size_t kTypicalLength = 64;  // of an element, in bytes
  constexpr std::size_t kGrowth = 4;
  if (out.capacity() - out.size() < kTypicalLength) out.reserve(out.capacity() * kGrowth);
}

constexpr char kHexDigits[] = "0123456789abcdef";

/// First byte of U+2028 and U+2029, among others.
constexpr char kSeparatorLead = '\xE2';

/// Appends what stands for a control character, a quotation mark or a backslash.
void appendEscape(char c, std::string& out) {
  switch (c) {
    case '\b': out += "\\b"; return;
    case '\t': out += "\\t"; return;
    case '\n': out += "\\n"; return;
    case '\f': out += "\\f"; return;
    case '\r': out += "\\r"; return;
    case '"': out += "\\\""; return;
    case '\\': out += "\\\\"; return;
    default: break;
  }
  out += "\\u00";
  out += kHexDigits[c >> 4];
  out += kHexDigits[c & 0xF];
}

/// Appends what stands for the character that interrupts plain text at the start of `text`. Returns how many
/// bytes that was.
std::size_t appendInterruption(std::string_view text, std::string& out) {
  if (text.starts_with("\xE2\x80\xA8")) {
    out += "\\u2028";
    return 3;
  }
  if (text.starts_with("\xE2\x80\xA9")) {
    out += "\\u2029";
    return 3;
  }
  if (text.front() == kSeparatorLead) {
    out += kSeparatorLead;
  } else {
    appendEscape(text.front(), out);
  }
  return 1;
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
  out += '"';
  std::string_view rest = value;
  while (true) {
    const std::size_t plain = plainLength<'"', '\\', kSeparatorLead>(rest);
    out.append(rest, 0, plain);
    rest.remove_prefix(plain);
    if (rest.empty()) break;
    rest.remove_prefix(appendInterruption(rest, out));
  }
  out += '"';
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
  dump(out);
  return out;
}

}  // namespace json11
