#include "companion/session/server_child.h"

#include "companion/session/scripted_server.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// How long a server may take to end after SIGTERM before it is killed.
constexpr milliseconds kEndWait{1000};

class ServerChildTest : public testing::Test {
 protected:
  /// Starts a server that is a shell script, and waits until it says that it runs.
  std::unique_ptr<ServerChild> start(const std::string& script) {
    std::string error;
    std::unique_ptr<ServerChild> child =
        ServerChild::start(scriptedServer(folder_.path(), script), ServerChild::Diagnostics::kPiped, error);
    EXPECT_EQ(error, "");
    pollfd output{child->output(), POLLIN, 0};
    EXPECT_EQ(::poll(&output, 1, -1), 1);
    return child;
  }

  const TemporaryFolder folder_;
};

std::ptrdiff_t openDescriptors() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

milliseconds timeToEnd(ServerChild& child) {
  const Clock::time_point start = Clock::now();
  child.end();
  return std::chrono::duration_cast<milliseconds>(Clock::now() - start);
}

TEST_F(ServerChildTest, HoldsItsStarterUpNeitherInReadingNorInWriting) {
  const std::unique_ptr<ServerChild> child = start("echo ready; exec sleep 1000");
  for (const int descriptor : {child->input(), child->output(), child->diagnostics()})
    EXPECT_NE(::fcntl(descriptor, F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(ServerChildTest, LeavesNoDescriptorOpen) {
  const std::ptrdiff_t before = openDescriptors();
  start("echo ready; exec sleep 1000");
  EXPECT_EQ(openDescriptors(), before);
  start("echo ready; exec sleep 1000")->closeDiagnostics();
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ServerChildTest, IsWaitedForNoLongerThanItTakesToEnd) {
  milliseconds shortest = milliseconds::max();
  for (int i = 0; i < 5; ++i) {
    const std::unique_ptr<ServerChild> child = start("echo ready; exec sleep 1000");
    shortest = std::min(shortest, timeToEnd(*child));
    EXPECT_TRUE(WIFSIGNALED(child->end()));
    EXPECT_EQ(WTERMSIG(child->end()), SIGTERM);
  }
  EXPECT_LT(shortest, kEndWait);
}

TEST_F(ServerChildTest, LeavesNothingBehindWhereItCannotBeExecuted) {
  std::string error;
  const std::string path = folder_.path() + "/none";
  EXPECT_EQ(ServerChild::start(path, ServerChild::Diagnostics::kInherited, error), nullptr);
  EXPECT_EQ(error, "cannot execute " + path + ": No such file or directory");
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "no child is left";
}

TEST_F(ServerChildTest, ObeysASignalThatItsStarterBlocks) {
  sigset_t signals;
  sigset_t before;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  ::sigprocmask(SIG_BLOCK, &signals, &before);
  const std::unique_ptr<ServerChild> child = start("echo ready; exec sleep 1000");
  ::sigprocmask(SIG_SETMASK, &before, nullptr);
  EXPECT_EQ(WTERMSIG(child->end()), SIGTERM);
}

TEST_F(ServerChildTest, IsKilledASecondAfterItWasAskedToEnd) {
  const std::unique_ptr<ServerChild> child = start("trap '' TERM; echo ready; read line");
  EXPECT_GE(timeToEnd(*child), kEndWait);
  EXPECT_TRUE(WIFSIGNALED(child->end()));
  EXPECT_EQ(WTERMSIG(child->end()), SIGKILL);
}

TEST_F(ServerChildTest, IsKilledAtOnceWhenItIsNotToEndByItself) {
  const std::unique_ptr<ServerChild> child = start("trap '' TERM; echo ready; read line");
  child->kill();
  siginfo_t end{};
  ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(child->pid()), &end, WEXITED | WNOWAIT), 0);
  EXPECT_EQ(end.si_status, SIGKILL);
}

TEST_F(ServerChildTest, MayEndInItsOwnWayWithinASecond) {
  const std::unique_ptr<ServerChild> child = start("trap 'exit 7' TERM; echo ready; read line");
  child->end();
  EXPECT_TRUE(WIFEXITED(child->end()));
  EXPECT_EQ(WEXITSTATUS(child->end()), 7);
}

}  // namespace
