#pragma once

// A settings file of another program: reads it, and puts a new text in its place without harm to anyone.

#include <QString>

#include <optional>
#include <string>

/// A file as it was read.
struct SettingsFile {
  QString path = {};  ///< absolute, with symbolic links resolved
  bool exists = false;
  std::string text = {};
};

/// Reads the file with the absolute `name`; one that is not there is read as an empty text. Nothing, with the
/// reason in `error`, when it cannot be read, is no regular file, or is a symbolic link to nothing.
std::optional<SettingsFile> readSettingsFile(const std::string& name, std::string& error);

/// Keeps the other processes that take this lock from changing the file for as long as it lives. It locks the
/// folder, so that nothing is left behind; where that fails for 5 seconds it does nothing.
class SettingsLock {
 public:
  explicit SettingsLock(const std::string& name);
  ~SettingsLock();
  SettingsLock(const SettingsLock&) = delete;
  SettingsLock& operator=(const SettingsLock&) = delete;

 private:
  int folder_ = -1;
};

/// What came of a replacement.
struct Replacement {
  bool wasChangedMeanwhile = false;  ///< so nothing was done; it may be read and tried again
  std::string error = {};            ///< why nothing was done
  QString backup = {};               ///< the copy of the file as it was; empty when there was no file
};

/// Replaces the content of `file` by `text`, at once: whoever reads it sees the old text or the new one.
/// Owner, group and mode stay. Before that the old text is copied beside the file, for nobody else's eyes
/// than the file's; of such copies the newest kKeptBackups stay.
///
/// A file that is new is made together with its folders; root gives them to the owner of the folder they are
/// in.
Replacement replaceSettingsFile(const SettingsFile& file, const std::string& text);

/// How many copies of earlier texts are kept beside a file.
inline constexpr int kKeptBackups = 3;
