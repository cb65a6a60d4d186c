#include "server_location.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace {

/// Where the server lies, seen from the folder of this program: when installed, and when just built.
constexpr const char* kFolders[] = {".", "../src/app"};

bool isProgram(const QFileInfo& file) {
  return file.isFile() && file.isExecutable();
}

QString absolutePath(const QString& path) {
  return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

}  // namespace

QString locateServer(const QString& given, QString& error) {
  if (!given.isEmpty()) {
    if (isProgram(QFileInfo(given))) return absolutePath(given);
    error = QStringLiteral("%1 is not an executable file").arg(given);
    return {};
  }
  const QDir here(QCoreApplication::applicationDirPath());
  for (const char* folder : kFolders) {
    const QString path = here.filePath(QLatin1StringView(folder) + u'/' + QLatin1StringView(kServerFileName));
    if (isProgram(QFileInfo(path))) return absolutePath(path);
  }
  error = QStringLiteral("there is no %1 in %2").arg(QLatin1StringView(kServerFileName), here.absolutePath());
  return {};
}
