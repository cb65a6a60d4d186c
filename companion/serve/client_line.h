#pragma once

// What a relay must know of a line of the client's: what the server makes of it, and how to answer it in the
// server's place. Lines are read with the server's own JSON, so that both always think the same of them.

#include <string>
#include <string_view>

/// What a line is, to the server and to its client.
enum class LineKind {
  kSilent,        ///< the server answers nothing: a blank line, or "notifications/initialized"
  kPing,          ///< asks for "ping", which the server does not know and every client expects to work
  kNotification,  ///< has a method and no "id": the client expects no answer, and the server gives one
  kRequest,       ///< anything else: the server answers, be it that it cannot read the line
};

/// What `line` (without its line feed) is.
///
/// Costs a search through the line. It is parsed only when it is of another kind than kRequest.
LineKind kindOf(std::string_view line);

/// The answer to the ping `line`: an empty result, spelled as the server spells its replies. Both without a
/// line feed.
std::string pingReply(std::string_view line);

/// The reply that tells the client that the message `line` failed: code -32000 with `reason` as its message,
/// under the id of `line`, spelled as the server spells its replies. Both without a line feed.
std::string failureReply(std::string_view line, std::string_view reason);

/// Whether `reply` (without its line feed) is the server's result with an empty text.
bool isEmptyText(std::string_view reply);
