// Text to values: a recursive-descent parser over a string in memory.

#include "json/parser.h"

#include "json/number.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>

namespace json11 {

namespace {

/// Deepest value accepted; the outermost is at depth 0. Bounds the parser's own recursion.
constexpr int kMaxDepth = 200;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isWhiteSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

}  // namespace

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
