#include "companion/doctor/libraries_check.h"

#include "companion/doctor/program_file.h"

#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QStringList>

#include <algorithm>

namespace {

constexpr char kCheck[] = "libraries";

/// Longest wait for the dynamic loader, in milliseconds.
constexpr int kLoaderLimitMs = 5000;

/// How the names begin of the C library's loaders on the architectures there are.
constexpr const char* kTracedLoaders[] = {"ld-linux", "ld64.so", "ld.so"};

/// What the loader said.
struct LoaderAnswer {
  QString output = {};  ///< on both its streams
  bool isComplete = false;
  QString startFailure = {};  ///< why it could not be started; empty if it was
};

/// Whether `loader` is one that names all libraries, the missing ones too, when its environment asks for
/// that. Another one might run the program then.
bool isTraced(const std::string& loader) {
  const QString name = QFileInfo(QString::fromStdString(loader)).fileName();
  return std::ranges::any_of(
      kTracedLoaders, [&name](const char* start) { return name.startsWith(QLatin1StringView(start)); });
}

/// Lets `loader` name what `program` would be loaded with, which loads it but runs nothing of it.
LoaderAnswer askLoader(const std::string& loader, const std::string& program) {
  QProcess process;
  process.setProcessChannelMode(QProcess::MergedChannels);
  QStringList arguments(QString::fromStdString(program));
  if (isTraced(loader)) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LD_TRACE_LOADED_OBJECTS"), QStringLiteral("1"));
    process.setProcessEnvironment(environment);
  } else {
    arguments.prepend(QStringLiteral("--list"));
  }
  process.start(QString::fromStdString(loader), arguments, QIODevice::ReadOnly);
  if (!process.waitForStarted(kLoaderLimitMs)) return {.startFailure = process.errorString()};
  const bool hasEnded = process.waitForFinished(kLoaderLimitMs);
  LoaderAnswer answer{.output = QString::fromLocal8Bit(process.readAll())};
  answer.isComplete = hasEnded && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
  if (!hasEnded) process.kill();
  process.waitForFinished(kLoaderLimitMs);
  return answer;
}

/// The names in the loader's lines of the form "\tname => not found".
QStringList missingLibraries(const QString& output) {
  QStringList missing;
  for (const QString& line : output.split(u'\n'))
    if (line.contains(QLatin1StringView("=> not found"))) missing.append(line.trimmed().section(u' ', 0, 0));
  return missing;
}

/// What the loader's lines of the form "program: /folder/name: version `VERSION' not found (...)" say.
QStringList missingVersions(const QString& output) {
  static const QRegularExpression kLine(QStringLiteral("([^/\\s]+): version `([^']+)' not found"));
  QStringList missing;
  for (auto matches = kLine.globalMatch(output); matches.hasNext();) {
    const QRegularExpressionMatch match = matches.next();
    missing.append(QStringLiteral("%1 has no version %2").arg(match.captured(1), match.captured(2)));
  }
  missing.removeDuplicates();
  return missing;
}

Finding wrong(const QString& text) {
  return {.check = kCheck, .verdict = Verdict::kWrong, .text = text.toStdString(), .remedy = kReinstall};
}

/// Not the server's fault: emulators of another processor, for one, know but some of the ways to start a
/// process.
Finding notLookedAt(const QString& reason) {
  const QString text = QStringLiteral("the server's shared libraries were not looked at: %1").arg(reason);
  return {.check = kCheck, .verdict = Verdict::kNote, .text = text.toStdString()};
}

Finding checkWithLoader(const std::string& server, const std::string& loader) {
  const LoaderAnswer answer = askLoader(loader, server);
  const QString separator = QStringLiteral(", ");
  if (const QStringList missing = missingLibraries(answer.output); !missing.isEmpty())
    return wrong(QStringLiteral("shared libraries of the server are not found: ") + missing.join(separator));
  if (const QStringList missing = missingVersions(answer.output); !missing.isEmpty())
    return wrong(QStringLiteral("shared libraries of the server are too old: ") + missing.join(separator));
  if (answer.isComplete) return {.check = kCheck, .text = "the server's shared libraries are found"};
  if (!answer.startFailure.isEmpty() && QFileInfo(QString::fromStdString(loader)).isExecutable())
    return notLookedAt(answer.startFailure);
  const QString lastWord = answer.output.trimmed().section(u'\n', -1);
  return wrong(
      QStringLiteral("the dynamic loader %1 cannot load the server").arg(QString::fromStdString(loader)) +
      (lastWord.isEmpty() ? QString() : QStringLiteral(": ") + lastWord));
}

}  // namespace

Finding checkLibraries(const std::string& server) {
  const ProgramFile program = inspectProgram(server);
  switch (program.kind) {
    case ProgramKind::kDynamic: return checkWithLoader(server, program.loader);
    case ProgramKind::kStatic: return {.check = kCheck, .text = "the server needs no shared libraries"};
    case ProgramKind::kScript:
      return {.check = kCheck,
              .verdict = Verdict::kNote,
              .text = "the server is a script; what it starts is not looked at"};
    case ProgramKind::kUnknown: break;
  }
  return wrong(QString::fromStdString(server + " " + program.reason));
}
