#pragma once

// Edits a TOML text in place: what is not edited keeps its bytes, comments and order.
//
// TOML has many ways to write the same table. The edits here serve the usual ones, a header with lines below
// it; the caller parses the result and compares, before anything is written.

#include "companion/clients/text_edit.h"

#include <optional>
#include <string>

/// The value of `text`, with dates and times as strings; nothing, with the place and the mistake in `error`,
/// when it does not parse.
std::optional<OrderedJson> parseToml(const std::string& text, std::string& error);

/// `text` with the member at `path` set to `value`. A member that is there is replaced where it stands; a new
/// one goes below the header of its table; a new table, which may hold texts, numbers, booleans and lists,
/// goes to the end with a header of its own.
///
/// `text` must parse. The keys in `path` must be bare ones: letters, digits, "-" and "_".
std::string withTomlMember(const std::string& text, const KeyPath& path, const OrderedJson& value);

/// `text` without the lines of the member at `path`, which must be there, and the blank line before it.
std::string withoutTomlMember(const std::string& text, const KeyPath& path);
