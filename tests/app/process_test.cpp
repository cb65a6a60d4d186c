// The process as its client sees it: how it starts, what it does when its input ends or is odd, its locale.

#include "support/host_replies.h"
#include "support/replies.h"
#include "support/server_with_host.h"
#include "support/waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

namespace {

constexpr const char* kInitialize = R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{}})";
const std::string kWelcome = welcomeReply(1);

/// Expects a server that lives, does nothing, and has said nothing.
void expectSilentAndIdle(ServerProcess& server) {
  server.waitUntilIdle();
  EXPECT_TRUE(server.isAlive());
  EXPECT_EQ(server.pendingOutput(), "");
  EXPECT_EQ(server.diagnostics(), "");
}

TEST(Process, IgnoresArgumentsOfAnyKind) {
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path(),
                        .arguments = {"--help", "-v", "file", "", "--", "\xff", "-platform", "x"}});
  EXPECT_EQ(server.ask(kInitialize), kWelcome);
}

TEST(Process, ListsAllToolsInItsVeryFirstReply) {
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path()});
  const std::string reply = server.ask(R"({"id":1,"method":"tools/list","params":{"cursor":"5"}})");
  EXPECT_THAT(reply,
              testing::StartsWith(R"({"id": 1, "jsonrpc": "2.0", "result": {"tools": [{"description": )"));
  std::size_t tools = 0;
  for (std::size_t at = reply.find("\"inputSchema\""); at != std::string::npos;
       at = reply.find("\"inputSchema\"", at + 1)) {
    ++tools;
  }
  EXPECT_EQ(tools, 34U);
}

TEST(Process, StaysSilentAndIdleWhenItsInputEndsAtOnce) {
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path()});
  server.closeInput();
  expectSilentAndIdle(server);
}

TEST(Process, IsIdleBeforeTheFirstMessage) {
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path()});
  expectSilentAndIdle(server);
}

class ProcessWithHost : public ServerWithHost {};

TEST_F(ProcessWithHost, HasConnectedToItBeforeAnyMessage) {
  EXPECT_EQ(host_.refuseWaiting(), 0);  // the one connection has been accepted
  EXPECT_EQ(server_.diagnostics(), "");
}

TEST_F(ProcessWithHost, LetsGoOfItAndStaysWhenItsInputEnds) {
  EXPECT_EQ(server_.ask(kInitialize), kWelcome);
  server_.closeInput();
  EXPECT_EQ(host_.readLine(), "");
  EXPECT_TRUE(host_.ended());
  expectSilentAndIdle(server_);
}

class EndingSignal : public testing::TestWithParam<int> {};

TEST_P(EndingSignal, DoesWhatItDoesByDefault) {
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path()});
  EXPECT_EQ(server.ask(kInitialize), kWelcome);
  server.signal(GetParam());
  const int status = server.waitForEnd();
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), GetParam());
  EXPECT_EQ(server.diagnostics(), "");
}

INSTANTIATE_TEST_SUITE_P(Each, EndingSignal, testing::Values(SIGHUP, SIGINT, SIGTERM),
                         [](const auto& test) { return std::string(sigabbrev_np(test.param)); });

TEST(StandardInput, ThatIsClosedAtTheStartLeavesASilentIdleProcess) {
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path(), .standardInput = kClosed});
  expectSilentAndIdle(server);
}

TEST(StandardInput, ThatIsAFolderIsReportedAndTheProcessLives) {
  const TemporaryFolder folder;
  const int descriptor = ::open(folder.path().c_str(), O_RDONLY | O_CLOEXEC);
  ServerProcess server({.socketFolder = folder.path(), .standardInput = descriptor});
  EXPECT_EQ(server.waitForDiagnostic("\n"), "read(stdin) error: Is a directory\n");
  server.waitUntilIdle();
  EXPECT_TRUE(server.isAlive());
  EXPECT_EQ(server.pendingOutput(), "");
  ::close(descriptor);
}

TEST(StandardInput, ThatIsAFileIsServedToItsEnd) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/input";
  const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  const std::string text =
      std::string(kInitialize) + "\r\n\n \t\r\n{\"id\":2,\"method\":\"notifications/initialized\"}";
  ASSERT_EQ(::write(descriptor, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  ::lseek(descriptor, 0, SEEK_SET);
  ServerProcess server({.socketFolder = folder.path(), .standardInput = descriptor});
  EXPECT_EQ(server.readLine(), kWelcome);
  expectSilentAndIdle(server);
  ::close(descriptor);
}

TEST(StandardOutput, ThatIsFullIsReportedForEachMessageAndTheProcessLives) {
  const TemporaryFolder folder;
  const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
  ServerProcess server({.socketFolder = folder.path(), .standardOutput = full});
  const std::string line = "write(stdout) error: No space left on device\n";
  server.writeLine(kInitialize);
  EXPECT_EQ(server.waitForDiagnostic(line), line);
  server.writeLine(kInitialize);
  EXPECT_EQ(server.waitForDiagnostic(line + line), line + line);
  EXPECT_TRUE(server.isAlive());
  ::close(full);
}

// --- threads and memory ---

/// How long each thread of a process has run, in nanoseconds, by the thread's number.
std::map<pid_t, long> runTimes(pid_t process) {
  std::map<pid_t, long> times;
  for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
    std::ifstream(task.path() / "schedstat") >> times[std::stoi(task.path().filename())];
  }
  return times;
}

TEST_F(ProcessWithHost, WorksOnOneThreadBesideTheMainOneWhichSleeps) {
  EXPECT_EQ(replyFor(1, success("done")), textReply(1, "done"));
  server_.waitUntilIdle();
  std::map<pid_t, long> before = runTimes(server_.pid());
  for (int id = 2; id < 22; ++id) {
    EXPECT_EQ(replyFor(id, success("done")), textReply(id, "done"));
    EXPECT_EQ(server_.ask(pingLine(id)), unknownMethodReply(id, "ping"));
  }
  server_.waitUntilIdle();
  std::map<pid_t, long> after = runTimes(server_.pid());
  EXPECT_EQ(after[server_.pid()], before[server_.pid()]) << "the main thread has worked";
  before.erase(server_.pid());
  after.erase(server_.pid());
#if defined(ORVANE_THREAD_SANITIZER)
  EXPECT_EQ(after.size(), 2U);  // one is the sanitizer's
#else
  EXPECT_EQ(after.size(), 1U);
#endif
  bool worked = false;
  for (const auto& [thread, time] : after) worked = worked || time > before[thread];
  EXPECT_TRUE(worked);
}

// The sanitizers and valgrind need all addresses for themselves.
#if !defined(ORVANE_ADDRESS_SANITIZER) && !defined(ORVANE_THREAD_SANITIZER) && \
    !defined(ORVANE_SERVER_UNDER_VALGRIND)
/// The largest range of addresses that a process has set aside without any access, in bytes.
std::size_t largestReserve(pid_t process) {
  std::ifstream maps("/proc/" + std::to_string(process) + "/maps");
  std::size_t largest = 0;
  std::size_t start = 0;
  std::size_t end = 0;
  char dash = 0;
  std::string access;
  std::string rest;
  while (std::getline(maps >> std::hex >> start >> dash >> end >> access, rest)) {
    if (access == "---p") largest = std::max(largest, end - start);
  }
  return largest;
}

// Memory is kept as freed_memory_test.cpp has it. What shows from outside is that the server thread has no
// arena of its own, for which the C library sets aside 64 MiB.
TEST_F(ProcessWithHost, KeepsTheMemoryThatItHasFreedInOneArena) {
  EXPECT_EQ(replyFor(1, success("done")), textReply(1, "done"));
  EXPECT_LT(largestReserve(server_.pid()), std::size_t{32} << 20);
}

TEST(Process, EndsWhenAnAllocationFails) {
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path()});
  EXPECT_EQ(server.ask(kInitialize), kWelcome);
  constexpr rlim_t kLimit = 64 << 20;
  const rlimit limit{kLimit, kLimit};  // less than is mapped already: nothing more can be
  ASSERT_EQ(::prlimit(server.pid(), RLIMIT_AS, &limit, nullptr), 0);
  ::signal(SIGPIPE, SIG_IGN);  // of this process: a write that fails is what the test waits for
  ::fcntl(server.inputPipe(), F_SETFL, O_NONBLOCK);
  const std::string piece(1 << 16, 'x');
  waitUntil([&] { return ::write(server.inputPipe(), piece.data(), piece.size()) < 0 && errno == EPIPE; },
            "the server to end");
  const int status = server.waitForEnd();
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGABRT);
  EXPECT_EQ(server.pendingOutput(), "");
}
#endif

// --- pieces ---

/// Waits until the server has taken everything out of the pipe.
void waitUntilRead(int pipe) {
  waitUntil(
      [pipe] {
        int left = 0;
        ::ioctl(pipe, FIONREAD, &left);
        return left == 0;
      },
      "the server to read");
}

const std::string kSession = std::string(kInitialize) + "\r\n" + R"({"id":2,"method":"ping"})" +
                             "\n\n  \t\r\n" + R"({"method":"notifications/initialized"})" + "\n[1,]\n" +
                             R"({"id":"\u00e9é","method":5})" + "\r\r\n\v\n";
const std::vector<std::string> kSessionReplies = {
    kWelcome,
    unknownMethodReply(2, "ping"),
    parseErrorReply("expected value, got ']' (93)"),
    missingMethodReply("\"éé\""),
    parseErrorReply("expected value, got (11)"),
};

void expectSessionReplies(ServerProcess& server) {
  for (const std::string& reply : kSessionReplies) ASSERT_EQ(server.readLine(), reply);
}

TEST(Pieces, OfASessionCutAtEveryOffsetDrawTheSameReplies) {
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path()});
  for (std::size_t cut = 0; cut <= kSession.size(); ++cut) {
    SCOPED_TRACE(cut);
    server.write(kSession.substr(0, cut));
    waitUntilRead(server.inputPipe());
    server.write(kSession.substr(cut));
    expectSessionReplies(server);
  }
}

TEST(Pieces, OfOneByteDrawTheSameReplies) {
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path()});
  for (const char byte : kSession) {
    server.write(std::string_view(&byte, 1));
    waitUntilRead(server.inputPipe());
  }
  expectSessionReplies(server);
}

TEST(Pieces, OfEverySizeAround4096DrawTheSameReplies) {
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path()});
  for (const std::size_t size : {4094U, 4095U, 4096U, 4097U, 4098U, 8191U, 8192U, 8193U}) {
    SCOPED_TRACE(size);
    // The first line is as long as the piece; the session comes behind it at once.
    const std::string head = R"({"id":0,"method":")";
    const std::string method(size - head.size() - 3, 'm');
    server.write(head + method + "\"}\n" + kSession);
    EXPECT_EQ(server.readLine(), unknownMethodReply(0, method));
    expectSessionReplies(server);
  }
}

// --- locale ---

TEST(Locale, WithADecimalCommaChangesNoNumber) {
  const TemporaryFolder folder;
  const std::string locales = folder.path() + "/locales";
  const std::string make = "mkdir " + locales + " && localedef -i de_DE -f UTF-8 " + locales + "/de_DE.UTF-8";
  ASSERT_EQ(std::system(make.c_str()), 0) << "localedef and its data (Debian: locales) are needed";
  ScriptedHost host(folder.socketPath());
  ServerProcess server(
      {.socketFolder = folder.path(), .environment = {"LOCPATH=" + locales, "LC_ALL=de_DE.UTF-8"}});
  host.accept();
  server.writeLine(R"({"id":1.5,"method":"tools/call","params":{"name":"list_bookmarks"}})");
  host.readLine();
  host.reply(successWith("[0.1,1e300,-2.5e-7,5e-324]"));
  EXPECT_EQ(server.readLine(),
            textReply("1.5",
                      "[0.10000000000000001, 1.0000000000000001e+300, -2.4999999999999999e-07, "
                      "4.9406564584124654e-324]"));
  // Beyond a double's range the C library reads the number.
  EXPECT_EQ(server.ask(R"({"id":1.5e400,"method":"fly"})"), unknownMethodReply("null", "fly"));
  EXPECT_EQ(server.ask(R"({"id":1.5e-400,"method":"fly"})"), unknownMethodReply("0", "fly"));
}

}  // namespace
