// orvane-demo SERVER DEVHOST FILE: opens FILE in the development host, starts the server as a client would,
// and prints a conversation between the two. Exit status 0 only if every answer is as it should be.

#include "companion/session/server_session.h"
#include "devhost/demo/conversation.h"
#include "devhost/demo/transcript.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <unistd.h>

#include <cstdio>
#include <string>

namespace {

constexpr int kEndLimitMs = 2000;
constexpr int kUsageError = 2;

/// Starts the host and waits until it says that it serves. The host itself limits how long it takes to open a
/// file.
bool startHost(QProcess& host, const QString& program, const QString& file) {
  host.setProcessChannelMode(QProcess::ForwardedErrorChannel);
  host.start(program, {file});
  while (!host.canReadLine()) {
    if (!host.waitForReadyRead(-1)) return false;
  }
  return true;
}

int fail(const char* message) {
  std::fprintf(stderr, "orvane-demo: %s\n", message);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  // A socket folder of its own, so that an Orvane that is running is not talked to.
  const QTemporaryDir socketFolder;
  qputenv("TMPDIR", socketFolder.path().toUtf8());
  QCoreApplication application(argc, argv);
  const QStringList arguments = application.arguments();
  if (arguments.size() != 4) {
    std::fprintf(stderr, "Usage: orvane-demo SERVER DEVHOST FILE\n");
    return kUsageError;
  }

  QProcess host;
  if (!startHost(host, arguments[2], arguments[3])) return fail("the development host did not start");
  std::string error;
  const QString program = QFileInfo(arguments[1]).absoluteFilePath();
  const auto server =
      ServerSession::start(program.toStdString(), ServerChild::Diagnostics::kInherited, error);
  if (!server) return fail(error.c_str());

  Transcript transcript(isatty(STDOUT_FILENO) == 1);
  const QFileInfo file(arguments[3]);
  transcript.title(
      QString("An assistant's view of %1 (%2 KiB)").arg(file.fileName()).arg(file.size() / 1024));
  Conversation(*server, transcript, file.fileName()).hold();

  host.terminate();
  host.waitForFinished(kEndLimitMs);
  return transcript.allAsExpected() ? 0 : 1;
}
