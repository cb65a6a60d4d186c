#include "companion/call/history_file.h"

#include "companion/common/whole_write.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace {

constexpr char kPlaceBelowStateFolder[] = "/orvane-mcp/history";

constexpr mode_t kOwnerOnly = 0600;
constexpr QFile::Permissions kOwnerOnlyPermissions = QFile::ReadOwner | QFile::WriteOwner;
constexpr mode_t kOwnersFolder = 0700;

/// Makes `folder` and those on the way to it that are missing, for their owner only.
void makeFolders(const std::filesystem::path& folder) {
  std::error_code failed;
  if (folder.empty() || std::filesystem::exists(folder, failed)) return;
  makeFolders(folder.parent_path());
  ::mkdir(folder.c_str(), kOwnersFolder);
}

std::string environmentValue(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string() : value;
}

}  // namespace

std::vector<std::string> HistoryFile::load(std::size_t count) const {
  const QString path = QString::fromStdString(path_);
  QFile file(path);
  // Anything but a file could keep the prompt waiting.
  if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly)) return {};
  std::vector<std::string> lines;
  while (!file.atEnd()) {
    std::string line = file.readLine().toStdString();
    if (line.ends_with('\n')) line.pop_back();
    if (!line.empty()) lines.push_back(std::move(line));
  }
  if (lines.size() <= count) return lines;
  const bool isLong = lines.size() > 2 * count;
  lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(count));
  if (!isLong) return lines;

  QSaveFile shorter(path);
  if (!shorter.open(QIODevice::WriteOnly)) return lines;
  shorter.setPermissions(kOwnerOnlyPermissions);
  std::string text;
  for (const std::string& line : lines) text += line + '\n';
  if (writeWhole(shorter, text)) shorter.commit();
  return lines;
}

void HistoryFile::add(const std::string& line) const {
  if (path_.empty()) return;
  makeFolders(std::filesystem::path(path_).parent_path());
  const int file = ::open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, kOwnerOnly);
  if (file < 0) return;
  // In one piece, so that the lines of two sessions do not mix.
  const std::string text = line + '\n';
  [[maybe_unused]] const ssize_t written = ::write(file, text.data(), text.size());
  ::close(file);
}

std::string historyPath() {
  const std::string stateFolder = environmentValue("XDG_STATE_HOME");
  if (stateFolder.starts_with('/')) return stateFolder + kPlaceBelowStateFolder;
  const std::string home = environmentValue("HOME");
  return home.starts_with('/') ? home + "/.local/state" + kPlaceBelowStateFolder : std::string();
}
