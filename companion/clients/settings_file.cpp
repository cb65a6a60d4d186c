#include "companion/clients/settings_file.h"

#include "companion/clients/settings_backup.h"
#include "companion/common/whole_write.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QThread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

constexpr int kNone = -1;

/// Longest wait for a lock, in milliseconds. Those who change settings hold it for some of them.
constexpr int kLockLimitMs = 5000;

/// How long to wait before a lock is tried again, in milliseconds.
constexpr int kLockPauseMs = 10;

std::string reasonOf(int error) {
  return std::strerror(error);
}

QString resolvedPath(const std::string& name) {
  const QFileInfo info(QString::fromStdString(name));
  return info.exists() ? info.canonicalFilePath() : info.absoluteFilePath();
}

/// The innermost folder on the way to `path` that exists.
QString nearestFolder(const QString& path) {
  QString folder = QFileInfo(path).absolutePath();
  while (folder != QLatin1StringView("/") && !QFileInfo::exists(folder))
    folder = QFileInfo(folder).absolutePath();
  return folder;
}

int openFolder(const QString& folder) {
  return ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

/// Locks the folder as soon as nobody else does, but no later than after `limitMs`: some other program may
/// hold it for a purpose of its own.
void lockFor(int folder, int limitMs) {
  const QDeadlineTimer limit(limitMs);
  while (folder != kNone && ::flock(folder, LOCK_EX | LOCK_NB) != 0 &&
         (errno == EWOULDBLOCK || errno == EINTR) && !limit.hasExpired())
    QThread::msleep(kLockPauseMs);
}

/// Makes the missing folders on the way to `path`; root gives them to the owner of the one they are in.
bool makeFolders(const QString& path) {
  const QString folder = QFileInfo(path).absolutePath();
  if (QFileInfo::exists(folder)) return true;
  if (!makeFolders(folder)) return false;
  if (!QDir().mkdir(folder)) return QFileInfo(folder).isDir();
  if (::geteuid() != 0) return true;
  struct stat parent {};
  const int made = openFolder(folder);
  const bool isGiven = made >= 0 && ::fstatat(made, "..", &parent, 0) == 0 &&
                       ::fchown(made, parent.st_uid, parent.st_gid) == 0;
  if (made >= 0) ::close(made);
  return isGiven;
}

/// Whom the file at `path` belongs to or, if it is new, is to belong to. Nothing leaves that to the system.
std::optional<FileOwner> ownerFor(const SettingsFile& file) {
  struct stat info {};
  const bool isRootsChoice = !file.exists && ::geteuid() == 0;
  if (!file.exists && !isRootsChoice) return std::nullopt;
  const QString path = file.exists ? file.path : QFileInfo(file.path).absolutePath();
  if (::stat(QFile::encodeName(path).constData(), &info) != 0) return std::nullopt;
  return FileOwner{info.st_uid, info.st_gid};
}

}  // namespace

std::optional<SettingsFile> readSettingsFile(const std::string& name, std::string& error) {
  SettingsFile file{.path = resolvedPath(name)};
  struct stat info {};
  // Not to wait for the writer of a named pipe.
  const int source = ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  const int reason = errno;
  if (source == kNone && reason == ENOENT && ::lstat(name.c_str(), &info) != 0) return file;
  if (source == kNone) {
    error = reason == ENOENT ? name + " is a symbolic link to nothing"
                             : "cannot read " + name + ": " + reasonOf(reason);
    return std::nullopt;
  }
  file.exists = true;
  QFile content;
  content.open(source, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle);
  if (::fstat(source, &info) != 0 || !S_ISREG(info.st_mode)) {
    error = name + (S_ISDIR(info.st_mode) ? " is a folder" : " is not a regular file");
    return std::nullopt;
  }
  file.text = content.readAll().toStdString();
  if (content.error() == QFileDevice::NoError) return file;
  error = "cannot read " + name + ": " + content.errorString().toStdString();
  return std::nullopt;
}

SettingsLock::SettingsLock(const std::string& name) {
  QString locked;
  // Whoever held the lock may have made folders that are nearer to the file.
  for (QString nearest = nearestFolder(resolvedPath(name)); nearest != locked;
       nearest = nearestFolder(resolvedPath(name))) {
    if (folder_ != kNone) ::close(folder_);
    folder_ = openFolder(nearest);
    lockFor(folder_, kLockLimitMs);
    locked = nearest;
  }
}

SettingsLock::~SettingsLock() {
  if (folder_ != kNone) ::close(folder_);
}

Replacement replaceSettingsFile(const SettingsFile& file, const std::string& text) {
  const std::string name = file.path.toStdString();
  if (!makeFolders(file.path)) return {.error = "cannot make the folder of " + name};
  QSaveFile target(file.path);
  const auto cannotWrite = [&] { return "cannot write " + name + ": " + target.errorString().toStdString(); };
  if (!target.open(QIODevice::WriteOnly)) return {.error = cannotWrite()};
  const std::optional<FileOwner> owner = ownerFor(file);
  if (file.exists && !owner) return {.wasChangedMeanwhile = true};
  if (owner && ::fchown(target.handle(), owner->user, owner->group) != 0)
    return {.error = "cannot write " + name + " so that it keeps its owner and group: " + reasonOf(errno)};
  if (!writeWhole(target, text)) return {.error = cannotWrite()};

  Replacement replacement;
  if (file.exists) replacement.backup = makeBackup(file.path, file.text, *owner, replacement.error);
  if (!replacement.error.empty()) return replacement;
  std::string unused;
  const std::optional<SettingsFile> now = readSettingsFile(name, unused);
  replacement.wasChangedMeanwhile = !now || now->exists != file.exists || now->text != file.text;
  if (!replacement.wasChangedMeanwhile && target.commit()) {
    removeOldBackups(file.path, kKeptBackups);
    return replacement;
  }
  if (!replacement.wasChangedMeanwhile) replacement.error = cannotWrite();
  if (file.exists) QFile::remove(replacement.backup);
  replacement.backup.clear();
  return replacement;
}
