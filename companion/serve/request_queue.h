#pragma once

#include "companion/serve/relay_limits.h"

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

/// What the client has sent and the server has not answered yet, in order.
///
/// Messages are kept until they are answered: if the server ends, the one it was at work on is lost, and
/// those behind it, which it cannot have begun, go to the next server.
class RequestQueue {
 public:
  /// Adds bytes as they come from the client.
  void append(std::string_view bytes);

  /// Whether more is to be read from the client.
  bool hasRoom() const;

  /// The bytes to be sent next: the rest of the line that sending has reached, as far as it has come.
  std::string_view unsent() const;
  /// Whether these bytes begin a line, so that they may go to another server than the ones before.
  bool beginsLine() const { return sent_ == sentLinesEnd_; }
  void markSent(std::size_t count);

  /// Whether the server has been sent, at least in part, something that it has not answered.
  bool awaitsReply() const { return sent_ > 0; }
  /// Whether there is a complete line that still has to be sent or answered.
  bool hasLine() const { return !lines_.empty(); }

  /// The server has answered a message: the oldest.
  void markAnswered();

  /// The server has ended: everything that is still here is to be sent again, except the message that it was
  /// at work on, which is returned.
  std::optional<std::string> takeLost();

  /// Takes the oldest line out, sent or not. Returns it if it is a message that expects a reply.
  std::optional<std::string> takeOldest();

 private:
  struct Line {
    std::size_t length;  ///< in bytes, its line feed included
    bool expectsReply;
  };

  std::string_view kept() const { return std::string_view(bytes_).substr(begin_); }
  void dropOldest();
  void dropSilentSent();
  void rewind();

  std::string bytes_;
  std::size_t begin_ = 0;         ///< bytes_ before this have been dropped
  std::deque<Line> lines_;        ///< the complete lines of kept()
  std::size_t linesEnd_ = 0;      ///< where the unfinished line begins in kept()
  std::size_t sent_ = 0;          ///< how much of kept() has been sent
  std::size_t sentLines_ = 0;     ///< how many of lines_ have been sent whole
  std::size_t sentLinesEnd_ = 0;  ///< where those end in kept()
};
