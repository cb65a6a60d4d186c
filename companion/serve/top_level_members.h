#pragma once

#include <optional>
#include <string_view>

/// What a message says of itself at its outermost level.
struct TopLevelMembers {
  std::string_view method =
      {};              ///< the value of its last member "method" as it is spelled; empty without one
  bool hasId = false;  ///< whether there is a member "id"
};

/// Finds the members of `text`, which may be very long, without reading what they hold: costs a search
/// through it. Right for every text that the server can read; nothing when `text` is clearly not an object.
std::optional<TopLevelMembers> topLevelMembers(std::string_view text);

/// Whether `spelled`, a JSON string with its quotation marks, says `meaning`, which is plain ASCII.
bool says(std::string_view spelled, std::string_view meaning);
