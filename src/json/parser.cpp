// Text to values: a recursive-descent parser over a string in memory.

#include "json/json.h"
#include "json/number.h"
#include "json/plain_text.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string_view>
#include <utility>

namespace json11 {

namespace {

/// Deepest value accepted; the outermost is at depth 0. Bounds the parser's own recursion.
constexpr int kMaxDepth = 200;

/// No escaped code point is waiting to be encoded.
constexpr long kNoCodePoint = -1;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isWhiteSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

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

/// How a byte is shown in a message. Bytes above 0x7F are taken as negative and shown by number alone.
std::string esc(char c) {
  char text[12];
  const auto byte = static_cast<unsigned char>(c);
  const int code = byte < 0x80 ? byte : byte - 0x100;
  if (code < 32) {
    std::snprintf(text, sizeof text, "(%d)", code);
  } else {
    std::snprintf(text, sizeof text, "'%c' (%d)", c, code);
  }
  return text;
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

/// One run over one text. Reading past the end sees the string's terminating zero, which no rule accepts.
class JsonParser final {
 public:
  JsonParser(const std::string& text, std::string& error, JsonParse strategy)
      : str_(text), err_(error), strategy_(strategy) {}

  bool failed() const { return failed_; }
  std::size_t position() const { return i_; }
  bool atEnd() const { return i_ == str_.size(); }

  Json parseValue(int depth);
  void consumeGarbage();
  /// Only garbage may follow a complete text.
  void expectEnd();

 private:
  Json fail(std::string&& message);
  char nextToken();

  void consumeWhiteSpace();
  bool consumeComment();
  bool consumeBlockComment();

  Json parseLiteral(std::string_view literal, const Json& value);
  Json parseNumber();
  bool parseInteger();
  bool parseDigits(const char* messageIfNone);
  std::string parseString();
  bool isUnicodeEscape() const { return str_[i_] == '\\' && str_[i_ + 1] == 'u'; }
  void parseEscape(std::string& text, long& last);
  void parseUnicodeEscape(std::string& text, long& last);
  Json parseObject(int depth);
  void parseMember(char first, int depth, Json::object& members);
  Json parseArray(int depth);
  Json takeElements(std::size_t first);

  const std::string& str_;
  std::size_t i_ = 0;
  std::string& err_;
  bool failed_ = false;
  const JsonParse strategy_;
  /// Elements of the arrays that are still open, outermost first: an array is allocated once, when all are
  /// known.
  Json::array elements_;
};

/// Called once: whoever sees a failure returns at once.
Json JsonParser::fail(std::string&& message) {
  err_ = std::move(message);
  failed_ = true;
  return Json();
}

// --- between tokens ---

void JsonParser::consumeWhiteSpace() {
  while (isWhiteSpace(str_[i_])) ++i_;
}

bool JsonParser::consumeBlockComment() {
  const std::size_t end = str_.find("*/", i_);
  if (end == std::string::npos) {
    fail("unexpected end of input inside multi-line comment");
    return false;
  }
  i_ = end + 2;
  return true;
}

/// Returns whether a comment was found and skipped.
bool JsonParser::consumeComment() {
  if (str_[i_] != '/') return false;
  ++i_;
  if (atEnd()) {
    fail("unexpected end of input after start of comment");
    return false;
  }
  if (str_[i_] == '/') {
    i_ = std::min(str_.find('\n', i_), str_.size());
    return true;
  }
  if (str_[i_] == '*') {
    ++i_;
    return consumeBlockComment();
  }
  fail("malformed comment");
  return false;
}

void JsonParser::consumeGarbage() {
  consumeWhiteSpace();
  if (strategy_ != JsonParse::Comments) return;
  while (consumeComment()) consumeWhiteSpace();
}

char JsonParser::nextToken() {
  // Most tokens stand directly behind the one before: no blank, no comment, not the terminating zero.
  if (str_[i_] > ' ' && str_[i_] != '/') return str_[i_++];
  consumeGarbage();
  if (failed_) return 0;
  if (atEnd()) {
    fail("unexpected end of input");
    return 0;
  }
  return str_[i_++];
}

void JsonParser::expectEnd() {
  consumeGarbage();
  if (!failed_ && !atEnd()) fail("unexpected trailing " + esc(str_[i_]));
}

// --- values ---

Json JsonParser::parseValue(int depth) {
  if (depth > kMaxDepth) return fail("exceeded maximum nesting depth");
  const char ch = nextToken();
  if (failed_) return Json();
  if (ch == '-' || isDigit(ch)) return parseNumber();
  switch (ch) {
    case 't': return parseLiteral("true", true);
    case 'f': return parseLiteral("false", false);
    case 'n': return parseLiteral("null", nullptr);
    case '"': {
      std::string text = parseString();
      return failed_ ? Json() : Json(std::move(text));
    }
    case '{': return parseObject(depth);
    case '[': return parseArray(depth);
    default: return fail("expected value, got " + esc(ch));
  }
}

Json JsonParser::parseLiteral(std::string_view literal, const Json& value) {
  --i_;
  const std::string_view found = std::string_view(str_).substr(i_, literal.size());
  if (found != literal) {
    return fail("parse error: expected " + std::string(literal) + ", got " + std::string(found));
  }
  i_ += literal.size();
  return value;
}

Json JsonParser::parseObject(int depth) {
  Json::object members;
  char ch = nextToken();
  if (failed_) return Json();
  if (ch == '}') return members;
  while (true) {
    parseMember(ch, depth, members);
    if (failed_) return Json();
    ch = nextToken();
    if (failed_) return Json();
    if (ch == '}') return members;
    if (ch != ',') return fail("expected ',' in object, got " + esc(ch));
    ch = nextToken();
    if (failed_) return Json();
  }
}

void JsonParser::parseMember(char first, int depth, Json::object& members) {
  if (first != '"') {
    fail("expected '\"' in object, got " + esc(first));
    return;
  }
  std::string key = parseString();
  if (failed_) return;
  const char colon = nextToken();
  if (failed_) return;
  if (colon != ':') {
    fail("expected ':' in object, got " + esc(colon));
    return;
  }
  Json value = parseValue(depth + 1);
  if (failed_) return;
  // Most objects arrive with their keys in order; then the hint saves the search.
  members.insert_or_assign(members.end(), std::move(key), std::move(value));
}

Json JsonParser::parseArray(int depth) {
  const std::size_t first = elements_.size();
  char ch = nextToken();
  if (failed_) return Json();
  if (ch == ']') return Json::array();
  while (true) {
    --i_;  // the element's first byte has been read as a token
    Json element = parseValue(depth + 1);
    if (failed_) return Json();
    elements_.push_back(std::move(element));
    ch = nextToken();
    if (failed_) return Json();
    if (ch == ']') return takeElements(first);
    if (ch != ',') return fail("expected ',' in list, got " + esc(ch));
    nextToken();
    if (failed_) return Json();
  }
}

/// The array of the elements from `first` on, which were the innermost array's.
Json JsonParser::takeElements(std::size_t first) {
  const auto begin = elements_.begin() + static_cast<std::ptrdiff_t>(first);
  Json::array values(std::make_move_iterator(begin), std::make_move_iterator(elements_.end()));
  elements_.erase(begin, elements_.end());
  return values;
}

// --- strings ---

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

// --- numbers ---

/// Reads the integer part: "0", or digits that do not begin with it.
bool JsonParser::parseInteger() {
  if (str_[i_] == '0') {
    ++i_;
    if (isDigit(str_[i_])) {
      fail("leading 0s not permitted in numbers");
      return false;
    }
    return true;
  }
  if (!isDigit(str_[i_])) {
    fail("invalid " + esc(str_[i_]) + " in number");
    return false;
  }
  while (isDigit(str_[i_])) ++i_;
  return true;
}

bool JsonParser::parseDigits(const char* messageIfNone) {
  if (!isDigit(str_[i_])) {
    fail(messageIfNone);
    return false;
  }
  while (isDigit(str_[i_])) ++i_;
  return true;
}

/// Reads a number whose first byte has been read.
Json JsonParser::parseNumber() {
  const std::size_t start = --i_;
  const bool negative = str_[i_] == '-';
  if (negative) ++i_;
  if (!parseInteger()) return Json();

  const auto text = [this, start] { return std::string_view(str_).substr(start, i_ - start); };
  const bool fraction = str_[i_] == '.';
  const bool exponent = !fraction && (str_[i_] == 'e' || str_[i_] == 'E');
  if (!fraction && !exponent && text().size() <= kMaxIntLength) return readInt(text());

  if (fraction) {
    ++i_;
    if (!parseDigits("at least one digit required in fractional part")) return Json();
  }
  if (str_[i_] == 'e' || str_[i_] == 'E') {
    ++i_;
    if (str_[i_] == '+' || str_[i_] == '-') ++i_;
    if (!parseDigits("at least one digit required in exponent")) return Json();
  }
  if (!negative && !fraction && exceedsUInt32(text())) return readUInt64(text());
  return readDouble(text());
}

}  // namespace

Json Json::parse(const std::string& text, std::string& error, JsonParse strategy) {
  JsonParser parser(text, error, strategy);
  Json value = parser.parseValue(0);
  if (!parser.failed()) parser.expectEnd();
  if (parser.failed()) return Json();
  return value;
}

Json::array Json::parseMulti(const std::string& text, std::string::size_type& stopPosition,
                             std::string& error, JsonParse strategy) {
  JsonParser parser(text, error, strategy);
  stopPosition = 0;
  array values;
  while (!parser.atEnd()) {
    values.push_back(parser.parseValue(0));
    if (parser.failed()) break;
    parser.consumeGarbage();
    if (parser.failed()) break;
    stopPosition = parser.position();
  }
  return values;
}

}  // namespace json11
