#pragma once

#include <string>
#include <vector>

/// Lines typed in earlier sessions, in a file of which only its owner can read. Several sessions may add to
/// it at once. It is a convenience: what cannot be read or written is left out without a word.
class HistoryFile {
 public:
  /// The file at `path`; none when that is empty.
  explicit HistoryFile(std::string path) : path_(std::move(path)) {}

  /// The last `count` lines, oldest first. A file that has grown to more than twice as many is cut down to
  /// them.
  std::vector<std::string> load(std::size_t count) const;

  /// Adds `line`, which holds no line feed. Makes the file, and the folders on the way to it.
  void add(const std::string& line) const;

 private:
  std::string path_;
};

/// Where the prompt keeps its history: below XDG_STATE_HOME, or below ~/.local/state when that is not an
/// absolute path. Empty without either.
std::string historyPath();
