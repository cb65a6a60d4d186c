#pragma once

#include <optional>
#include <string>
#include <string_view>

/// `text`, one JSON object or array, with a line of its own for each member and element, indented by two
/// blanks for each level. Nothing but the white space between its tokens changes: numbers and strings keep
/// their spelling. One pass, in time and memory that grow with the text.
///
/// Nothing when the text is something else or is not put together as JSON.
std::optional<std::string> indentedJson(std::string_view text);
