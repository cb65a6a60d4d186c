#pragma once

// Edits a JSON text in place: everything that is not edited keeps its bytes, comments and order.

#include "companion/clients/text_edit.h"

#include <optional>
#include <string>

enum class JsonDialect {
  kStrict,
  kCommented,  ///< with // and /* */ comments and with commas after last members, as editors take it
};

/// `text`, or when it holds no value, but blanks and, where the dialect has them, comments: `text` with an
/// empty object behind that.
std::string withObjectIfVoid(const std::string& text, JsonDialect dialect);

/// The value of `text`; nothing, with the place and the mistake in `error`, when it does not parse or is
/// nested deeper than any person would.
std::optional<OrderedJson> parseJson(const std::string& text, JsonDialect dialect, std::string& error);

/// The value at `path` in `root`, or null when there is none.
const OrderedJson* memberAt(const OrderedJson& root, const KeyPath& path);

/// `text` with the member at `path` set to `value`: replaced where it stands, with the comments in the old
/// value before it, or added behind the last one, together with the objects on the way to it that are
/// missing. Indented like its surroundings.
///
/// `text` must parse in some dialect to an object, and what is on the way must be objects.
std::string withMember(const std::string& text, const KeyPath& path, const OrderedJson& value);

/// `text` without the member at `path`, which must be there. Comments stay.
std::string withoutMember(const std::string& text, const KeyPath& path);
