#pragma once

// Where the statements of a TOML text are, byte by byte. toml++ says what a text means, but neither where
// each table was opened nor how, and an edit in place needs both.

#include "companion/clients/text_edit.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// A header, or a key with its value.
struct TomlStatement {
  enum class Kind {
    kTable,       ///< [path]
    kArrayTable,  ///< [[path]]
    kPair,        ///< key = value
  };

  Kind kind = Kind::kPair;
  KeyPath path = {};            ///< from where the scan began; a pair's includes that of the header above it
  std::size_t headerDepth = 0;  ///< how many keys of `path` are that header's
  std::size_t begin = 0;        ///< of its first key or bracket
  std::size_t valueBegin = 0;   ///< of a pair
  std::size_t end = 0;          ///< behind its last byte: a closing bracket, or a value's
};

/// The statements of `text`, which must parse, in their order. Those within inline tables are not among them.
std::vector<TomlStatement> statementsOf(std::string_view text);

/// The pairs of the inline table that begins at `at`, with paths that begin there.
std::vector<TomlStatement> pairsOfInlineTable(std::string_view text, std::size_t at);

/// The comments in `text`, which begins and ends outside strings, each from its "#" to the end of its line.
std::vector<std::string> tomlCommentsIn(std::string_view text);

/// The most keys that any statement of `text`, which need not parse, joins with dots. May count too many, by
/// what looks like a key in a text that does not parse.
std::size_t mostKeysJoined(std::string_view text);
