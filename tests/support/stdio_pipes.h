#pragma once

#include <string>
#include <string_view>

/// Puts another descriptor in the place of `descriptor`, and the old one back when the object goes.
class ReplacedDescriptor {
 public:
  /// `replacement` stays the caller's and may be closed at once.
  ReplacedDescriptor(int descriptor, int replacement);
  ~ReplacedDescriptor();
  ReplacedDescriptor(const ReplacedDescriptor&) = delete;
  ReplacedDescriptor& operator=(const ReplacedDescriptor&) = delete;

 private:
  const int descriptor_;
  const int saved_;
};

/// Catches what is written to `descriptor`. It goes to a file in memory, which takes any amount without a
/// reader.
class CapturedDescriptor {
 public:
  explicit CapturedDescriptor(int descriptor);
  ~CapturedDescriptor();

  /// All that has been written so far.
  std::string text() const;

 private:
  const int file_;
  ReplacedDescriptor replaced_;
};

/// A pipe whose reading end is in the place of descriptor 0.
class PipedInput {
 public:
  PipedInput();
  ~PipedInput();

  /// Blocks while the pipe is full.
  void write(std::string_view bytes);
  void end();
  /// The writing end; -1 after end().
  int pipe() const { return ends_.writing; }

 private:
  struct Ends {
    int reading;
    int writing;
  };
  static Ends makePipe();

  Ends ends_;
  ReplacedDescriptor replaced_;
};

/// Descriptors 0, 1 and 2 at the hand of the test. While it lives, what the test itself prints is caught too:
/// take the texts, let it go, then compare.
struct StdioPipes {
  PipedInput input;
  CapturedDescriptor output{1};
  CapturedDescriptor diagnostics{2};
};
