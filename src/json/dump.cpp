// Values to text.

#include "json/json.h"
#include "json/payload.h"

#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

namespace json11 {

namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

/// For each byte, whether the serialiser may have to write something else for it.
constexpr std::array<bool, 256> kNeedsCare = [] {
  std::array<bool, 256> needsCare{};
  for (std::size_t byte = 0; byte < 0x20; ++byte)
    needsCare[byte] = true;
  needsCare['"'] = true;
  needsCare['\\'] = true;
  needsCare[0xE2] = true;  // U+2028 and U+2029 begin with it
  return needsCare;
}();

bool needsCare(char c) {
  return kNeedsCare[static_cast<unsigned char>(c)];
}

/// The escape for a control character, quotation mark or backslash.
void appendEscape(char c, std::string& out) {
  switch (c) {
    case '\b':
      out += "\\b";
      return;
    case '\t':
      out += "\\t";
      return;
    case '\n':
      out += "\\n";
      return;
    case '\f':
      out += "\\f";
      return;
    case '\r':
      out += "\\r";
      return;
    case '"':
      out += "\\\"";
      return;
    case '\\':
      out += "\\\\";
      return;
    default:
      break;
  }
  const auto byte = static_cast<unsigned char>(c);
  out += "\\u00";
  out += kHexDigits[byte >> 4];
  out += kHexDigits[byte & 0xF];
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
  const std::string_view text = value;
  out += '"';
  std::size_t copied = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!needsCare(text[i])) continue;
    const std::string_view three = text.substr(i, 3);
    const bool separator = three == "\xE2\x80\xA8" || three == "\xE2\x80\xA9";
    if (text[i] == '\xE2' && !separator) continue;
    out.append(text, copied, i - copied);
    if (separator) {
      out += three.back() == '\xA8' ? "\\u2028" : "\\u2029";
      i += 2;
    } else {
      appendEscape(text[i], out);
    }
    copied = i + 1;
  }
  out.append(text, copied);
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
    if (!first) out += ", ";
    first = false;
    value.dump(out);
  }
  out += ']';
}

void dump(const Json::object& values, std::string& out) {
  out += '{';
  bool first = true;
  for (const auto& [key, value] : values) {
    if (!first) out += ", ";
    first = false;
    dump(key, out);
    out += ": ";
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
