#pragma once

// What editing a JSON text and editing a TOML text in place have in common.

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>
#include <vector>

/// A client's file as a value. Members keep their order.
using OrderedJson = nlohmann::ordered_json;

/// The keys that lead from the outermost object to a member, outermost first. Never empty.
using KeyPath = std::vector<std::string>;

/// What some editors put before a text to say that it is UTF-8.
inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// How the lines of `text` end: "\r\n" when one of them does, else "\n".
std::string_view lineEndOf(std::string_view text);
