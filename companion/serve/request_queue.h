#pragma once

#include "companion/serve/client_line.h"
#include "companion/serve/line_cutter.h"

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

/// A line of the client's with its line feed.
struct Request {
  std::string line;
  LineKind kind;
};

/// What the client has sent and nobody has answered yet, in order.
class RequestQueue {
 public:
  /// Will have room up to `limit` bytes. A single longer line is kept all the same.
  explicit RequestQueue(std::size_t limit) : limit_(limit) {}

  /// Adds bytes as they come from the client.
  void append(std::string_view bytes);

  /// Whether more is to be read from the client.
  bool hasRoom() const { return requests_.empty() || bytes_ + cutter_.unfinished().size() < limit_; }

  /// Whether there is a complete line.
  bool empty() const { return requests_.empty(); }
  /// The oldest line. There must be one.
  const Request& front() const { return requests_.front(); }
  Request takeFront();

  /// Takes the oldest line of kind kPing behind the front one, or at the front, out of its place.
  std::optional<Request> takePing();

 private:
  const std::size_t limit_;
  LineCutter cutter_;
  std::deque<Request> requests_;
  std::size_t bytes_ = 0;  ///< of requests_
  std::size_t pings_ = 0;  ///< how many of requests_ are of that kind
};
