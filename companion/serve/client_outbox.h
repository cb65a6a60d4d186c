#pragma once

#include "companion/serve/relay_limits.h"

#include <cstddef>
#include <string>
#include <string_view>

/// What the server has answered and the client has not taken yet.
///
/// A reply is held back until it is complete, so that a server's end cannot leave half a line with the
/// client. A reply that is larger than the buffer passes through as it comes.
class ClientOutbox {
 public:
  /// Whether more is to be read from the server.
  bool hasRoom() const { return kept().size() < kRelayBufferBytes; }

  /// Adds bytes as they come from the server. Returns how many lines they complete.
  std::size_t append(std::string_view bytes);

  /// Adds a line of this program's own, given without its line feed.
  void appendLine(std::string_view line);

  /// What may be passed to the client now.
  std::string_view passable() const;
  void markPassed(std::size_t count);

  /// The server has ended: an unfinished line is withdrawn or, if the client has part of it already, ended.
  void finishLine();

 private:
  std::string_view kept() const { return std::string_view(bytes_).substr(begin_); }

  std::string bytes_;
  std::size_t begin_ = 0;  ///< bytes_ before this have been passed
  std::size_t linesEnd_ =
      0;                 ///< where the unfinished line begins in kept(); 0 also when part has been passed
  bool inLine_ = false;  ///< the client has the beginning of a line and not yet its end
};
