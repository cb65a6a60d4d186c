#pragma once

#include <deque>
#include <string>
#include <vector>

/// Stands in for the four system calls of the transport, so that a test can say what each of them comes to.
/// While an object exists, every call takes the next line of the script; calls and their arguments are
/// recorded in words.
class ScriptedDescriptors {
 public:
  ScriptedDescriptors();
  ~ScriptedDescriptors();
  ScriptedDescriptors(const ScriptedDescriptors&) = delete;
  ScriptedDescriptors& operator=(const ScriptedDescriptors&) = delete;

  // The script, one entry a call of its kind. What comes when a script has ended: select fails with EBADF,
  // read is at the end of input, write takes everything.
  void selectReturns(int result, int error = 0, bool readable = true);
  void readGives(const std::string& bytes);
  void readFails(int error);
  void writeTakes(long bytes);
  void writeFails(int error);

  /// All calls so far, such as "select", "read 4096", "write 27", "fcntl F_SETFL O_NONBLOCK".
  const std::vector<std::string>& calls() const { return calls_; }
  /// The bytes that were written.
  const std::string& written() const { return written_; }

  struct Outcome {
    long result;
    int error;
    bool readable;
    std::string bytes;
  };
  Outcome nextSelect();
  Outcome nextRead(std::size_t limit);
  long write(const char* bytes, std::size_t count);
  int control(int command, int argument);

 private:
  std::deque<Outcome> selects_;
  std::deque<Outcome> reads_;
  std::deque<Outcome> writes_;
  std::vector<std::string> calls_;
  std::string written_;
};
