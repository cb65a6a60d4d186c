// The parser's reading of strings.

#include "json/parser.h"
#include "json/plain_text.h"

#include <utility>

namespace json11 {

namespace {

/// No escaped code point is waiting to be encoded.
constexpr long kNoCodePoint = -1;

bool isHighSurrogate(long codePoint) {
  return codePoint >= 0xD800 && codePoint <= 0xDBFF;
}

bool isLowSurrogate(long codePoint) {
  return codePoint >= 0xDC00 && codePoint <= 0xDFFF;
}

/// The value of a hexadecimal digit, or -1.
constexpr int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// Appends a code point as UTF-8. A lone surrogate becomes three bytes like any other code point.
void appendUtf8(long codePoint, std::string& out) {
  const auto append = [&out](long bits) { out += static_cast<char>(static_cast<unsigned char>(bits)); };
  const auto appendContinuation = [append](long bits) { append(0x80 | (bits & 0x3F)); };
  if (codePoint <= 0x7F) {
    append(codePoint);
    return;
  }
  if (codePoint <= 0x7FF) {
    append(0xC0 | (codePoint >> 6));
  } else if (codePoint <= 0xFFFF) {
    append(0xE0 | (codePoint >> 12));
    appendContinuation(codePoint >> 6);
  } else {
    append(0xF0 | (codePoint >> 18));
    appendContinuation(codePoint >> 12);
    appendContinuation(codePoint >> 6);
  }
  appendContinuation(codePoint);
}

}  // namespace

/// Reads up to and with the closing quote; the opening one has been read.
std::string JsonParser::parseString() {
  std::string text;
  long last = kNoCodePoint;  // an escaped code point that may be the first half of a pair
  while (true) {
    if (last != kNoCodePoint && !isUnicodeEscape()) appendUtf8(std::exchange(last, kNoCodePoint), text);
    const std::size_t plain = plainLength<'"', '\\'>(std::string_view(str_).substr(i_));
    text.append(str_, i_, plain);
    i_ += plain;
    if (atEnd()) break;
    const char ch = str_[i_++];
    if (ch == '"') return text;
    if (ch != '\\') {
      fail("unescaped " + esc(ch) + " in string");
      return text;
    }
    if (atEnd()) break;
    parseEscape(text, last);
    if (failed_) return text;
  }
  fail("unexpected end of input in string");
  return text;
}

/// Reads an escape behind its backslash.
void JsonParser::parseEscape(std::string& text, long& last) {
  const char ch = str_[i_++];
  switch (ch) {
    case 'u': parseUnicodeEscape(text, last); return;
    case 'b': text += '\b'; return;
    case 'f': text += '\f'; return;
    case 'n': text += '\n'; return;
    case 'r': text += '\r'; return;
    case 't': text += '\t'; return;
    case '"':
    case '\\':
    case '/': text += ch; return;
    default: fail("invalid escape character " + esc(ch)); return;
  }
}

void JsonParser::parseUnicodeEscape(std::string& text, long& last) {
  const std::string_view digits = std::string_view(str_).substr(i_, 4);
  long codePoint = 0;
  bool good = digits.size() == 4;
  for (const char digit : digits) {
    good = good && hexValue(digit) >= 0;
    codePoint = codePoint * 16 + hexValue(digit);
  }
  if (!good) {
    fail("bad \\u escape: " + std::string(digits));
    return;
  }
  if (isHighSurrogate(last) && isLowSurrogate(codePoint)) {
    appendUtf8(((last - 0xD800) << 10) + (codePoint - 0xDC00) + 0x10000, text);
    last = kNoCodePoint;
  } else {
    if (last != kNoCodePoint) appendUtf8(last, text);
    last = codePoint;
  }
  i_ += digits.size();
}

}  // namespace json11
