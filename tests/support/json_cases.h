#pragma once

#include "json/json.h"

#include <ostream>
#include <string>

/// A text and what parsing it comes to: the value printed again, or the error.
struct ParseCase {
  const char* label;
  std::string text;
  std::string printed = {};  ///< of a text that parses
  std::string error = {};    ///< of one that does not
};

inline std::ostream& operator<<(std::ostream& out, const ParseCase& row) {
  return out << row.label << ": " << row.text.substr(0, 200);
}

/// What parsing came to.
struct ParseOutcome {
  json11::Json value;
  std::string error;
};

inline ParseOutcome parsed(const std::string& text,
                           json11::JsonParse strategy = json11::JsonParse::Standard) {
  ParseOutcome outcome;
  outcome.value = json11::Json::parse(text, outcome.error, strategy);
  return outcome;
}
