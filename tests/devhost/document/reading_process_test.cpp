// The process that reads a file for the development host.

#include "devhost/devhost_process.h"
#include "devhost/document/opened_file.h"
#include "devhost/test_folder.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/types.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace {

using namespace std::chrono_literals;

constexpr useconds_t kLookEveryUs = 1000;

/// This test's own program is large enough for the process to be caught at reading it.
QString ownProgram() {
  return QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath();
}

/// Why `file` is refused; empty if it is opened.
QString refusalOf(const QString& file, const OpenTimeLimits& limits,
                  const AnalysisProgress& progress = nullptr) {
  QString error;
  return openFile(file, error, progress, limits) ? QString() : error;
}

/// Processor time of all ended children.
std::chrono::microseconds usedByChildren() {
  rusage used{};
  getrusage(RUSAGE_CHILDREN, &used);
  return std::chrono::seconds(used.ru_utime.tv_sec + used.ru_stime.tv_sec) +
         std::chrono::microseconds(used.ru_utime.tv_usec + used.ru_stime.tv_usec);
}

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
  host.start({ownProgram()});
  const QDeadlineTimer deadline(kPatienceMs);
  pid_t child = 0;
  while (child == 0 && !deadline.hasExpired()) {
    usleep(kLookEveryUs);
    child = childOf(host.pid());
  }
  ASSERT_GT(child, 0);
  // Once it is silent it reads; before, it may not yet be bound to its parent either.
  const QString itsOutput = QStringLiteral("/proc/%1/fd/1").arg(child);
  while (QFile::symLinkTarget(itsOutput) != QStringLiteral("/dev/null") && !deadline.hasExpired()) {
    usleep(kLookEveryUs);
  }
  // It does not come to its end by itself.
  kill(child, SIGSTOP);
  EXPECT_EQ(host.stop(SIGKILL), -1);
  while (isAlive(child) && !deadline.hasExpired()) usleep(kLookEveryUs);
  EXPECT_FALSE(isAlive(child));
  if (isAlive(child)) kill(child, SIGKILL);
}

TEST(ReadingProcess, EndsWhenItsProcessorTimeIsUsedUp) {
  EXPECT_EQ(refusalOf(ownProgram(), {.processor = 1ms}),
            ownProgram() + ": was not analysed within 0 seconds of processor time");
}

TEST(ReadingProcess, EndsWhenItTakesTooLongByTheClock) {
  EXPECT_EQ(refusalOf(ownProgram(), {.clock = 1ms}), ownProgram() + ": was not analysed within 0 seconds");
}

TEST(ReadingProcess, MayWaitLongerThanItMayUseTheProcessor) {
  const std::chrono::microseconds before = usedByChildren();
  ASSERT_EQ(refusalOf(ownProgram(), {}), "");
  const auto enough = std::chrono::ceil<std::chrono::milliseconds>(4 * (usedByChildren() - before));

  // As on a machine that is busy with other things: the process is stopped, and time goes by.
  std::optional<QElapsedTimer> stopped;
  const auto stopForAWhile = [&](std::uint64_t, std::uint64_t, std::size_t) {
    const pid_t child = childOf(getpid());
    if (!stopped) {
      stopped.emplace().start();
      EXPECT_EQ(kill(child, SIGSTOP), 0);
    } else if (stopped->hasExpired(enough.count())) {
      kill(child, SIGCONT);
    }
  };
  EXPECT_EQ(refusalOf(ownProgram(), {.processor = enough}, stopForAWhile), "");
  EXPECT_TRUE(stopped);
}

}  // namespace
