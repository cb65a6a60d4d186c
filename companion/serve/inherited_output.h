#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

/// An output that this process was started with, and perhaps shares with others: written to without waiting
/// where the system allows it, and never altered. A descriptor that was made non-blocking would be so for all
/// who share it, also after the end of this process.
class InheritedOutput {
 public:
  explicit InheritedOutput(int descriptor);
  ~InheritedOutput();
  InheritedOutput(const InheritedOutput&) = delete;
  InheritedOutput& operator=(const InheritedOutput&) = delete;

  /// To be polled: writable when write() can go on.
  int descriptor() const { return descriptor_; }

  /// Writes a beginning of `bytes`, which is not empty, without waiting if it is a pipe or a socket. Returns
  /// how many bytes went out, which may be 0; nothing, with errno set, when none ever will.
  std::optional<std::size_t> write(std::string_view bytes) const;

 private:
  enum class Kind {
    kReopened,   ///< a pipe, through a descriptor of our own that is non-blocking
    kSocket,     ///< takes what it has room for when asked to
    kSmallBits,  ///< a pipe that could not be opened once more: takes a little when it is writable
    kOther,      ///< a file or a terminal
  };

  Kind kind_ = Kind::kOther;
  int descriptor_;
  bool isOurs_ = false;
};
