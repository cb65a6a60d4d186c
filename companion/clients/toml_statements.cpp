#include "companion/clients/toml_statements.h"

#include <algorithm>
#include <string>

// From its headers alone, so that there is no library to be shipped.
#define TOML_HEADER_ONLY 1
#include <toml++/toml.h>

namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kBlanksAndLineEnds = " \t\r\n";

/// What ends a run of keys that are joined by dots.
constexpr std::string_view kBetweenKeys = "=,[]{}\n";

/// The byte at `at`, or zero behind the end.
char byteAt(std::string_view text, std::size_t at) {
  return at < text.size() ? text[at] : '\0';
}

std::size_t skip(std::string_view text, std::size_t at, std::string_view what) {
  return std::min(text.find_first_not_of(what, at), text.size());
}

std::size_t skipTo(std::string_view text, std::size_t at, std::string_view what) {
  return std::min(text.find_first_of(what, at), text.size());
}

/// The first place from `at` on that is neither blank, line end nor comment.
std::size_t skipLines(std::string_view text, std::size_t at) {
  at = skip(text, at, kBlanksAndLineEnds);
  while (byteAt(text, at) == '#') at = skip(text, skipTo(text, at, "\n"), kBlanksAndLineEnds);
  return at;
}

bool isQuote(char c) {
  return c == '"' || c == '\'';
}

/// Behind the string that begins at `at`.
std::size_t endOfTomlString(std::string_view text, std::size_t at) {
  const char quote = text[at];
  const std::string threeQuotes(3, quote);
  const bool hasLines = text.substr(at, 3) == threeQuotes;
  const std::string_view closing = hasLines ? std::string_view(threeQuotes) : text.substr(at, 1);
  at += closing.size();
  while (at < text.size() && text.substr(at, closing.size()) != closing)
    at += quote == '"' && text[at] == '\\' ? 2U : 1U;
  at = std::min(at + closing.size(), text.size());
  // As many as two quotes more, right before the closing ones, belong to the string.
  while (hasLines && byteAt(text, at) == quote) ++at;
  return at;
}

/// Behind the value that begins at `at`.
std::size_t endOfTomlValue(std::string_view text, std::size_t at) {
  if (isQuote(byteAt(text, at))) return endOfTomlString(text, at);
  if (byteAt(text, at) != '[' && byteAt(text, at) != '{') {
    const std::size_t end = skipTo(text, at, ",]}#\r\n");
    return end == at ? at : text.find_last_not_of(kBlanks, end - 1) + 1;
  }
  std::size_t depth = 0;
  while (at < text.size()) {
    const char c = text[at];
    if (c == '[' || c == '{') ++depth;
    if (c == ']' || c == '}') --depth;
    at = isQuote(c) ? endOfTomlString(text, at) : at + 1;
    if (depth == 0) break;
    at = skipLines(text, at);
  }
  return at;
}

std::string keyNamed(std::string_view spelling) {
  if (!isQuote(byteAt(spelling, 0))) return std::string(spelling);
  try {
    return toml::parse("key = " + std::string(spelling))["key"].value_or(std::string(spelling));
  } catch (const toml::parse_error&) {
    return std::string(spelling);
  }
}

/// Reads keys joined by dots from `at` on, which then is behind them and the blanks that follow.
KeyPath readKeys(std::string_view text, std::size_t& at) {
  KeyPath keys;
  do {
    if (!keys.empty()) ++at;  // the dot
    at = skip(text, at, kBlanks);
    const std::size_t end =
        isQuote(byteAt(text, at)) ? endOfTomlString(text, at) : skipTo(text, at, " \t\r\n.=[]{}#,\"'");
    keys.push_back(keyNamed(text.substr(at, end - at)));
    at = skip(text, end, kBlanks);
  } while (byteAt(text, at) == '.');
  return keys;
}

TomlStatement readHeader(std::string_view text, std::size_t at) {
  TomlStatement header{.begin = at};
  const bool isArray = byteAt(text, at + 1) == '[';
  header.kind = isArray ? TomlStatement::Kind::kArrayTable : TomlStatement::Kind::kTable;
  at += isArray ? 2 : 1;
  header.path = readKeys(text, at);
  header.headerDepth = header.path.size();
  header.end = std::min(at + (isArray ? 2 : 1), text.size());
  return header;
}

TomlStatement readPair(std::string_view text, std::size_t at, const KeyPath& header) {
  TomlStatement pair{.path = header, .headerDepth = header.size(), .begin = at};
  const KeyPath keys = readKeys(text, at);
  pair.path.insert(pair.path.end(), keys.begin(), keys.end());
  pair.valueBegin = skip(text, std::min(at + 1, text.size()), kBlanks);
  pair.end = endOfTomlValue(text, pair.valueBegin);
  return pair;
}

}  // namespace

std::vector<TomlStatement> statementsOf(std::string_view text) {
  std::vector<TomlStatement> statements;
  KeyPath header;
  const std::size_t begin = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
  for (std::size_t at = skipLines(text, begin); at < text.size(); at = skipLines(text, at)) {
    const bool isPair = text[at] != '[';
    statements.push_back(isPair ? readPair(text, at, header) : readHeader(text, at));
    if (!isPair) header = statements.back().path;
    at = std::max(at + 1, statements.back().end);
  }
  return statements;
}

std::vector<TomlStatement> pairsOfInlineTable(std::string_view text, std::size_t at) {
  std::vector<TomlStatement> pairs;
  at = skipLines(text, at + 1);
  while (at < text.size() && text[at] != '}') {
    pairs.push_back(readPair(text, at, {}));
    at = skipLines(text, std::max(at + 1, pairs.back().end));
    if (byteAt(text, at) == ',') at = skipLines(text, at + 1);
  }
  return pairs;
}

std::vector<std::string> tomlCommentsIn(std::string_view text) {
  std::vector<std::string> comments;
  for (std::size_t at = skipTo(text, 0, "#\"'"); at < text.size(); at = skipTo(text, at, "#\"'")) {
    const std::size_t end = isQuote(text[at]) ? endOfTomlString(text, at) : skipTo(text, at, "\r\n");
    if (!isQuote(text[at])) comments.emplace_back(text.substr(at, end - at));
    at = end;
  }
  return comments;
}

std::size_t mostKeysJoined(std::string_view text) {
  std::size_t most = 0;
  std::size_t joined = 1;
  for (std::size_t at = 0; at < text.size();) {
    const char c = text[at];
    if (c == '.') most = std::max(most, ++joined);
    if (kBetweenKeys.find(c) != std::string_view::npos) joined = 1;
    if (c == '#') {
      at = skipTo(text, at, "\n");
    } else {
      at = isQuote(c) ? endOfTomlString(text, at) : at + 1;
    }
  }
  return most;
}
