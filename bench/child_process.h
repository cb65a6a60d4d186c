#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

/// Prints "bench_round_trips: reason" on standard error and ends the program with status 1.
[[noreturn]] void giveUp(const std::string& reason);

/// A program with pipes on its standard input and output; its standard error goes nowhere. It is killed with
/// this object, and when the program that started it ends in any other way.
class ChildProcess {
 public:
  /// Starts `command`, found through PATH.
  explicit ChildProcess(const std::vector<std::string>& command);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Writes `bytes` and reads until `replies` lines have come, both at once, so that neither side can wait
  /// for the other for ever. Notifications of a server are passed over. Gives up on an error reply, or when
  /// output ends.
  void exchange(std::string_view bytes, long replies);

  /// Closes the program's standard input.
  void endInput();

  pid_t id() const { return id_; }
  /// Length of the last reply line in bytes, line feed included.
  std::size_t lastReplySize() const { return lastReplySize_; }

 private:
  /// One read of the program's output; returns how many replies it completed.
  long readReplies();
  /// Whether the line that begins with `head` is a reply; gives up if it reports an error.
  bool isReply(const std::string& head) const;

  pid_t id_ = -1;
  int input_ = -1;
  int output_ = -1;
  std::vector<char> chunk_;
  std::string lineHead_;  ///< the first bytes of the line that is being read
  std::size_t lineSize_ = 0;
  std::size_t lastReplySize_ = 0;
};
