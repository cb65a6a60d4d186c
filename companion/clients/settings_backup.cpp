#include "companion/clients/settings_backup.h"

#include "companion/common/whole_write.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <unistd.h>

#include <algorithm>
#include <vector>

namespace {

constexpr QLatin1StringView kSuffix(".orvane-backup");

/// What only the owner may do, until the copy is the owner's.
constexpr QFileDevice::Permissions kPrivate = QFileDevice::ReadOwner | QFileDevice::WriteOwner;

/// A copy with a higher number is somebody else's.
constexpr int kHighestNumber = 1000000000;

QString backupName(const QString& path, int number) {
  const QString first = path + kSuffix;
  return number == 1 ? first : first + QStringLiteral("-%1").arg(number);
}

/// The number of the copy of `path` with the name `entry`, or zero when it is something else.
int numberOf(const QString& entry, const QString& path) {
  const QString first = QFileInfo(path).fileName() + kSuffix;
  if (entry == first) return 1;
  if (!entry.startsWith(first + u'-')) return 0;
  const int number = entry.mid(first.size() + 1).toInt();
  return number > 1 && number < kHighestNumber && backupName(path, number).endsWith(u'/' + entry) ? number
                                                                                                  : 0;
}

/// The numbers of the copies of `path`, the newest first.
std::vector<int> backupNumbers(const QString& path) {
  std::vector<int> numbers;
  const QDir folder = QFileInfo(path).absoluteDir();
  for (const QString& entry : folder.entryList(QDir::Files | QDir::Hidden | QDir::System))
    if (const int number = numberOf(entry, path); number > 0) numbers.push_back(number);
  std::sort(numbers.rbegin(), numbers.rend());
  return numbers;
}

}  // namespace

QString makeBackup(const QString& path, const std::string& text, const FileOwner& owner, std::string& error) {
  const std::vector<int> numbers = backupNumbers(path);
  QString name = backupName(path, numbers.empty() ? 1 : numbers.front() + 1);
  QFile copy(name);
  if (!copy.open(QIODevice::WriteOnly | QIODevice::NewOnly, kPrivate)) {
    error = "cannot make a backup: " + copy.errorString().toStdString();
    return {};
  }
  const bool isWritten = ::fchown(copy.handle(), owner.user, owner.group) == 0 && writeWhole(copy, text) &&
                         copy.setPermissions(QFile::permissions(path));
  if (isWritten) return name;
  error = "cannot make a backup: " + copy.errorString().toStdString();
  copy.close();
  QFile::remove(name);  // the object's own remove() does nothing where closing it has failed
  return {};
}

void removeOldBackups(const QString& path, int kept) {
  std::vector<int> numbers = backupNumbers(path);
  for (std::size_t at = static_cast<std::size_t>(kept); at < numbers.size(); ++at)
    QFile::remove(backupName(path, numbers[at]));
}
