#pragma once

// Edits a TOML text in place: what is not edited keeps its bytes, comments and order.
//
// TOML has many ways to write the same table: with a header, with keys joined by dots, inline. An edit goes
// on in the way that it finds.

#include "companion/clients/text_edit.h"

#include <optional>
#include <string>

/// The value of `text`, with dates, times, infinities and what is no number as strings; nothing, with the
/// place and the mistake in `error`, when it does not parse or joins more keys with dots than any person
/// would.
std::optional<OrderedJson> parseToml(const std::string& text, std::string& error);

/// `text` with the member at `path` set to `value`, which holds no null. A value that is there is replaced
/// where it is, and the comments in it go to lines above it; a new one goes below the header of its table, or
/// to its like; a new table goes to the end with a header of its own, or into the inline table that it
/// belongs to.
///
/// `text` must parse, and what is on the way must be tables. The result is not always one that parses: there
/// are rules about tables that are opened twice. So the caller parses it and compares before anything is
/// written.
std::string withTomlMember(const std::string& text, const KeyPath& path, const OrderedJson& value);

/// `text` without the lines of the member at `path`, and without the blank line before each of its headers.
/// Comments on lines of their own stay.
///
/// `text` must parse, and what is on the way must be tables.
std::string withoutTomlMember(const std::string& text, const KeyPath& path);
