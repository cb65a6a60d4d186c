#pragma once

// The parser: what it knows while it reads a text. Private to this folder. Values and numbers are read in
// parser.cpp, strings in string_parser.cpp.

#include "json/json.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace json11 {

/// How a byte is shown in a message. Bytes above 0x7F are taken as negative and shown by number alone.
std::string esc(char c);

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

}  // namespace json11
