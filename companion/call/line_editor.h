#pragma once

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
  LineEditor(std::string prompt, Completer completer);
  ~LineEditor();
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;

  /// The next line without its line feed; nothing at the end of input.
  std::optional<std::string> readLine();

 private:
  static char* promptOf(editline* editor);
  static unsigned char complete(editline* editor, int key);
  unsigned char completeHere();
  void offer(const std::vector<std::string>& candidates) const;

  std::string prompt_;
  Completer completer_;
  editline* editor_ = nullptr;  ///< null without a terminal
  ::history* history_ = nullptr;
};

/// The words of `line`: divided at blanks, except in quotes and behind a backslash. Nothing, with the mistake
/// in `error`, when a quotation is not closed.
std::optional<std::vector<std::string>> splitWords(const std::string& line, std::string& error);
