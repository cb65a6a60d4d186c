// The process that reads a file for the development host.

#include "devhost/devhost_process.h"
#include "devhost/test_folder.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <sys/types.h>
#include <unistd.h>

#include <csignal>

namespace {

constexpr useconds_t kLookEveryUs = 1000;

/// The only child of `parent`; 0 if it has none.
pid_t childOf(qint64 parent) {
  return readFile(QStringLiteral("/proc/%1/task/%1/children").arg(parent)).trimmed().toInt();
}

/// Whether a process runs or is stopped: not gone, and not dead but for its status.
bool isAlive(pid_t process) {
  QFile status(QStringLiteral("/proc/%1/stat").arg(process));
  if (!status.open(QIODevice::ReadOnly)) return false;
  const QByteArray text = status.readAll();
  return !text.mid(text.lastIndexOf(')') + 2).startsWith('Z');
}

TEST(ReadingProcess, EndsWithAHostThatIsKilled) {
  const TestFolder folder;
  DevhostProcess host(folder.path());
  // This test's own program is large enough to be caught at it.
  host.start({QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath()});
  const QDeadlineTimer deadline(kPatienceMs);
  pid_t child = 0;
  while (child == 0 && !deadline.hasExpired()) {
    usleep(kLookEveryUs);
    child = childOf(host.pid());
  }
  ASSERT_GT(child, 0);
  // Once it has limited itself it reads; before, it is not yet bound to its parent either.
  const QString limits = QStringLiteral("/proc/%1/limits").arg(child);
  while (!readFile(limits).contains("Max cpu time              60 ") && !deadline.hasExpired()) {
    usleep(kLookEveryUs);
  }
  // It does not come to its end by itself.
  kill(child, SIGSTOP);
  EXPECT_EQ(host.stop(SIGKILL), -1);
  while (isAlive(child) && !deadline.hasExpired()) usleep(kLookEveryUs);
  EXPECT_FALSE(isAlive(child));
  if (isAlive(child)) kill(child, SIGKILL);
}

}  // namespace
