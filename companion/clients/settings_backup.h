#pragma once

// Copies of a settings file as it was, beside it: FILE.orvane-backup, FILE.orvane-backup-2 and so on.

#include <QString>

#include <sys/types.h>

#include <string>

struct FileOwner {
  uid_t user = 0;
  gid_t group = 0;
};

/// Writes `text`, which the file at `path` holds, into a new file beside it, with that file's mode and with
/// `owner`. Its number is higher than that of any copy that is there. Returns its path or, with the reason in
/// `error`, nothing.
QString makeBackup(const QString& path, const std::string& text, const FileOwner& owner, std::string& error);

/// Removes the copies of the file at `path` but for the newest `kept`.
void removeOldBackups(const QString& path, int kept);
