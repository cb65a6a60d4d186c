#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>

/// What the client is to be sent: whole lines, so that a server's end never leaves half a reply with it.
class ClientOutbox {
 public:
  /// Will have room up to `limit` bytes. A single longer line is kept all the same.
  explicit ClientOutbox(std::size_t limit) : limit_(limit) {}

  /// Whether more replies are to be asked for.
  bool hasRoom() const { return bytes_ < limit_; }
  bool empty() const { return lines_.empty(); }

  /// Adds a line with its line feed.
  void push(std::string line);

  /// The rest of the line that sending has reached; empty when there is none.
  std::string_view unsent() const;
  void markSent(std::size_t count);

 private:
  const std::size_t limit_;
  std::deque<std::string> lines_;
  std::size_t bytes_ = 0;  ///< of lines_ that have not been sent
  std::size_t sent_ = 0;   ///< of the first line
};
