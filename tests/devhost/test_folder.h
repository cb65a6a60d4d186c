#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

/// A folder of one test, gone with everything in it at the test's end. Its path is short: the path of a local
/// socket has at most 107 bytes.
class TestFolder {
 public:
  TestFolder() : folder_(QStringLiteral("/tmp/odh-XXXXXX")) {}

  QString path(const QString& name = QString()) const { return folder_.filePath(name); }
  /// Writes a file and returns its path.
  QString write(const QString& name, const QByteArray& bytes) const;

 private:
  QTemporaryDir folder_;
};

/// The path of a file in tests/devhost/data.
QString testDataPath(const QString& name);

QByteArray readFile(const QString& path);

/// What `command`, a shell's command, prints. Fails the test if it cannot be run or reports a failure.
QByteArray outputOf(const QString& command);
