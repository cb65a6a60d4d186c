#pragma once

// What a relay must know of a line of the client's: whether a reply will come, and how to answer it in the
// server's place. Lines are read with the server's own JSON, so that both always think the same of them.

#include <string>
#include <string_view>

/// Whether the server answers `line` (without its line feed): it answers each one, except blank lines and the
/// notification "notifications/initialized".
///
/// Costs a search through the line. The line is parsed only when it could be that notification.
bool expectsReply(std::string_view line);

/// The reply, without a line feed, that tells the client that the message `line` failed: code -32000 with
/// `reason` as its message, under the id of `line`, spelled as the server spells its replies.
std::string failureReply(std::string_view line, std::string_view reason);
