#pragma once

#include <functional>
#include <string>
#include <vector>

/// One result of a system call on descriptor 0 or 1.
struct ScriptedCall {
  const char* name;                           ///< which call it is a result of
  long result = 0;                            ///< what the call returns; negative: it fails
  int error = 0;                              ///< errno of a failure
  std::string bytes = {};                     ///< what a read puts into its buffer
  bool inputReady = false;                    ///< whether descriptor 0 is in the set after a select
  std::function<void()> meanwhile = nullptr;  ///< runs inside the call
};

// The results by their meaning.
ScriptedCall flagsAre(int flags);
ScriptedCall flagsAreUnknown();
ScriptedCall flagsAreSet();
ScriptedCall flagsCannotBeSet();
ScriptedCall inputIsReady();
ScriptedCall selectReturnsWithoutInput(int result);
ScriptedCall selectFails(int error);
ScriptedCall reads(const std::string& bytes);
ScriptedCall inputEnds();
ScriptedCall readFails(int error);
ScriptedCall writes(long count);
ScriptedCall writeFails(int error);

/// Plays the calls that the transport makes on descriptors 0 and 1, in the order of the script, and keeps a
/// record of them. Writes for which the script has no result take all bytes. Any other call that is not next
/// in the script fails the test and ends the run loop.
class ScriptedCalls {
 public:
  explicit ScriptedCalls(std::vector<ScriptedCall> script);
  ~ScriptedCalls();
  ScriptedCalls(const ScriptedCalls&) = delete;
  ScriptedCalls& operator=(const ScriptedCalls&) = delete;

  /// One line a call, for example "read(0, 4096) = 5".
  const std::vector<std::string>& record() const { return record_; }
  /// All bytes that the writes have taken.
  const std::string& output() const { return output_; }
  /// Whether all results have been used.
  bool isOver() const { return next_ == script_.size(); }

  // For the calls themselves: the next result if it is one of theirs.
  ScriptedCall play(const char* name, const std::string& arguments);
  ScriptedCall playWrite(std::size_t size);
  void takeOutput(const char* bytes, std::size_t count) { output_.append(bytes, count); }

 private:
  bool nextIs(const char* name) const;

  const std::vector<ScriptedCall> script_;
  std::size_t next_ = 0;
  std::vector<std::string> record_;
  std::string output_;
};
