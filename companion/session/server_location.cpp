#include "companion/session/server_location.h"

#include "companion/common/command.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace {

/// Where the server lies, seen from the folder of this program: when installed, and when just built.
constexpr const char* kFolders[] = {".", "../src/app"};

bool isProgram(const QFileInfo& file) {
  return file.isFile() && file.isExecutable();
}

std::string absolutePath(const QString& path) {
  return QDir::cleanPath(QFileInfo(path).absoluteFilePath()).toStdString();
}

}  // namespace

QCommandLineOption serverOption() {
  return QCommandLineOption(
      QStringLiteral("server"),
      QStringLiteral("The server to use instead of the OrvaneMCPServer next to this program."),
      QStringLiteral("PATH"));
}

std::string locateServer(const QString& given, std::string& error) {
  if (!given.isEmpty()) {
    if (isProgram(QFileInfo(given))) return absolutePath(given);
    error = given.toStdString() + " is not an executable file";
    return {};
  }
  const QDir here(QCoreApplication::applicationDirPath());
  for (const char* folder : kFolders) {
    const QString path = here.filePath(QLatin1StringView(folder) + u'/' + QLatin1StringView(kServerFileName));
    if (isProgram(QFileInfo(path))) return absolutePath(path);
  }
  error = std::string("there is no ") + kServerFileName + " in " + here.absolutePath().toStdString();
  return {};
}

std::string locateServer(const QCommandLineParser& parser) {
  std::string error;
  std::string path = locateServer(parser.value(QStringLiteral("server")), error);
  if (path.empty()) complain(QString::fromStdString(error));
  return path;
}
