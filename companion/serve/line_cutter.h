#pragma once

#include "companion/session/pipe_io.h"

#include <string>
#include <string_view>
#include <utility>

/// Makes lines of bytes that come in pieces.
class LineCutter {
 public:
  /// Adds `bytes` and hands each line that they complete, with its line feed, to `take`. The cost of a line
  /// grows with its length and not faster.
  template <typename Take>
  void append(std::string_view bytes, Take take) {
    for (std::size_t end = bytes.find(kLineEnd); end != std::string_view::npos; end = bytes.find(kLineEnd)) {
      unfinished_.append(bytes.substr(0, end + 1));
      take(std::exchange(unfinished_, std::string()));
      bytes.remove_prefix(end + 1);
    }
    unfinished_.append(bytes);
  }

  /// The line that has begun and not ended yet.
  const std::string& unfinished() const { return unfinished_; }
  void dropUnfinished() { unfinished_ = std::string(); }

 private:
  std::string unfinished_;
};
