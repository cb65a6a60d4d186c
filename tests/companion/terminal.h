#pragma once

#include "companion/companion_process.h"

#include <string>
#include <vector>

/// Both ends of a terminal: what a person types and sees, and what a program is given.
class Terminal {
 public:
  Terminal();
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  void type(const std::string& keys) const;
  /// Waits until `text` is shown behind what was waited for last, and returns what was shown up to its end.
  std::string waitFor(const std::string& text);
  /// What was shown up to the end of the program, which has closed the terminal.
  std::string rest();

  /// The program's end, as a descriptor for its standard streams. Closes with this object, or before.
  int programEnd() const { return program_; }
  void closeProgramEnd();

 private:
  bool readMore();

  int person_ = -1;
  int program_ = -1;
  std::string shown_;  ///< that was not waited for yet
};

/// How to start `orvane-mcp` with `arguments` at `terminal`, which becomes the one that it is controlled by,
/// as in a shell: Ctrl-C is a signal there.
ServerOptions atTerminal(const TemporaryFolder& folder, const Terminal& terminal,
                         std::vector<std::string> arguments);
