#pragma once

// The text of a client's file: what it says of our server, and that text with the server's entry changed.

#include "companion/clients/client_list.h"

#include <optional>
#include <string>

/// The value of `text`, in which the servers' object is an object or missing. Nothing, with the reason in
/// `error`, when it does not parse or holds something else there. A text that holds nothing is an empty
/// object.
std::optional<OrderedJson> readClientText(const Client& client, const std::string& text, std::string& error);

/// What came of an edit. One of the two is empty, unless the new text is.
struct TextEdit {
  std::string error = {};  ///< why the text cannot be edited
  std::string text = {};
};

/// `text` with `entry` merged into ours. Gives the same text when nothing would change.
///
/// All of `text` that is not replaced keeps its bytes. After each step the new text is parsed and compared
/// with what it is to mean: a text that is written in a way that cannot be edited safely is refused.
TextEdit withEntry(const Client& client, const std::string& text, const OrderedJson& entry);

/// `text` without our entry, in the same way.
TextEdit withoutEntry(const Client& client, const std::string& text);
