#pragma once

// Tables of texts and what the parser makes of them.

#include "json/json.h"

#include <string>
#include <vector>

/// A text that parses.
struct GoodText {
  const char* label;
  std::string text;
  std::string printed;  ///< the value as dump() prints it
  json11::JsonParse strategy = json11::JsonParse::Standard;
};

/// A text that does not.
struct BadText {
  const char* label;
  std::string text;
  std::string error;  ///< the whole message
  json11::JsonParse strategy = json11::JsonParse::Standard;
};

/// Expects each text to parse to its value, without a touch on the error string.
void expectGood(const std::vector<GoodText>& rows);

/// Expects each text to fail with its message and a null value.
void expectBad(const std::vector<BadText>& rows);

/// The value of a text that parses.
json11::Json parsed(const std::string& text);
