#pragma once

#include "companion/call/history_file.h"
#include "companion/call/interrupts.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

struct editline;
struct history;

/// What can stand in place of the last word of `line`, which ends at the cursor.
using Completer = std::function<std::vector<std::string>(const std::string& line)>;

/// Reads lines from standard input: on a terminal with editing, history and completion by the tabulator key,
/// else as they come.
class LineEditor {
 public:
  /// For a terminal, when there are `interrupts`, which stay the caller's: Ctrl-C is taken from them and
  /// drops the line. Lines are kept in `history`.
  LineEditor(std::string prompt, Completer completer, const Interrupts* interrupts, HistoryFile history);
  ~LineEditor();
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;

  /// The next line without its line feed, and without a carriage return before that; an empty one after
  /// Ctrl-C; nothing at the end of input.
  std::optional<std::string> readLine();

 private:
  static char* promptOf(editline* editor);
  static unsigned char complete(editline* editor, int key);
  static int readKey(editline* editor, wchar_t* key);
  std::optional<std::string> readScriptLine() const;
  void openTerminal();
  void remember(const std::string& line);
  unsigned char completeHere();
  int waitForKey(wchar_t& key);
  void obey(int signal);
  void offer(const std::vector<std::string>& candidates) const;

  std::string prompt_;
  Completer completer_;
  const Interrupts* interrupts_;
  HistoryFile historyFile_;
  editline* editor_ = nullptr;  ///< null without a terminal
  ::history* history_ = nullptr;
  int signals_ = -1;  ///< while a line is edited: descriptor of the signals that the terminal must survive
  bool wasInterrupted_ = false;
};

/// The words of `line`: divided at blanks, except in quotes and behind a backslash. Nothing, with the mistake
/// in `error`, when a quotation is not closed, nothing is behind a backslash, or there is a zero byte.
std::optional<std::vector<std::string>> splitWords(const std::string& line, std::string& error);
