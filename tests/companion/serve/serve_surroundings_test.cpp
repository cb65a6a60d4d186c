// `orvane-mcp serve` among what callers leave behind, and what it costs while it waits.

#include "companion/companion_process.h"
#include "companion/serve/serve_messages.h"
#include "support/waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <memory>

namespace {

using testing::HasSubstr;

/// A program that was started with `signal` ignored.
std::unique_ptr<ServerProcess> startIgnoring(int signal, ServerOptions options) {
  options.inheritsIgnoredSignals = true;
  void (*const before)(int) = std::signal(signal, SIG_IGN);
  auto process = std::make_unique<ServerProcess>(options);
  std::signal(signal, before);
  return process;
}

/// Fills the reading end's pipe so far that the relay keeps a reply that it cannot pass on.
void stopTakingReplies(ServerProcess& serve) {
  serve.writeLine("large " + std::to_string(std::size_t{2} * 1024 * 1024));
  serve.waitUntilIdle();
}

// --- signals ----------------------------------------------------------------------------------------------

TEST(ServeSurroundings, SignalsThatTheCallerIgnoresAreIgnored) {
  for (const int signal : {SIGHUP, SIGINT}) {
    const TemporaryFolder folder;
    const auto serve = startIgnoring(signal, serveIn(folder));
    serve->ask(kInitialize);
    serve->signal(signal);
    serve->waitUntilIdle();
    EXPECT_EQ(serve->ask(kInitialize), welcomeReply(2)) << signal;
  }
}

TEST(ServeSurroundings, TheServersEndIsSeenWhereTheCallerIgnoresTheEndsOfChildren) {
  const TemporaryFolder folder;
  const auto serve = startIgnoring(SIGCHLD, serveFakeIn(folder));
  EXPECT_EQ(serve->ask("die"), lostReply("null"));
  EXPECT_EQ(serve->ask("works"), "works");
}

TEST(ServeSurroundings, AnExitStatusIsRightWhereTheCallerIgnoresTheEndsOfChildren) {
  const TemporaryFolder folder;
  ServerOptions options = serveIn(folder);
  options.arguments = {"tools", "--server", "/bin/false"};
  const auto tools = startIgnoring(SIGCHLD, options);
  EXPECT_THAT(tools->waitForDiagnostic("\n"), HasSubstr("exit status 1"));
}

// --- the output -------------------------------------------------------------------------------------------

TEST(ServeSurroundings, ASharedPipeOrSocketStaysAsItWas) {
  const TemporaryFolder folder;
  int pipeEnds[2];
  ASSERT_EQ(::pipe2(pipeEnds, O_CLOEXEC), 0);
  int sockets[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets), 0);
  for (const auto& [ours, theirs] :
       {std::pair(pipeEnds[0], pipeEnds[1]), std::pair(sockets[0], sockets[1])}) {
    ServerOptions options = serveFakeIn(folder);
    options.standardOutput = theirs;
    ServerProcess serve(options);
    const int before = ::fcntl(theirs, F_GETFL);
    serve.writeLine("large 1000000");
    serve.waitUntilIdle();
    EXPECT_EQ(::fcntl(theirs, F_GETFL), before);
    serve.signal(SIGTERM);  // heard although the output is full
    EXPECT_EQ(exitStatus(serve), 0);
    EXPECT_EQ(::fcntl(theirs, F_GETFL), before);
    ::close(ours);
    ::close(theirs);
  }
}

TEST(ServeSurroundings, EverythingArrivesThroughAPipeThatIsNonBlocking) {
  const TemporaryFolder folder;
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  ASSERT_EQ(::fcntl(ends[1], F_SETFL, O_NONBLOCK), 0);
  ServerOptions options = serveFakeIn(folder);
  options.standardOutput = ends[1];
  ServerProcess serve(options);
  ::close(ends[1]);
  constexpr std::size_t kReply = std::size_t{3} * 1024 * 1024;
  serve.writeLine("large " + std::to_string(kReply));
  serve.waitUntilIdle();
  serve.closeInput();
  std::string received;
  char bytes[65536];
  for (ssize_t count = 1; count > 0;) {
    count = ::read(ends[0], bytes, sizeof bytes);
    if (count > 0) received.append(bytes, static_cast<std::size_t>(count));
  }
  ::close(ends[0]);
  EXPECT_TRUE(received == std::string(kReply, 'x') + '\n') << received.size();
  EXPECT_EQ(exitStatus(serve), 0);
}

TEST(ServeSurroundings, RepliesThatCannotBeWrittenAreReported) {
  const TemporaryFolder folder;
  const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
  ServerOptions options = serveIn(folder);
  options.standardOutput = full;
  ServerProcess serve(options);
  ::close(full);
  serve.writeLine(kInitialize);
  EXPECT_EQ(exitStatus(serve), 1);
  EXPECT_EQ(serve.diagnostics(), "orvane-mcp: cannot write the replies: No space left on device\n");
}

TEST(ServeSurroundings, AWaitThatFailsIsReported) {
  const TemporaryFolder folder;
  ServerProcess serve(serveIn(folder));
  serve.ask(kInitialize);
  const rlimit none{0, 0};  // poll takes no more descriptors than a process may open
  ASSERT_EQ(::prlimit(serve.pid(), RLIMIT_NOFILE, &none, nullptr), 0);
  serve.write("\n");
  EXPECT_EQ(exitStatus(serve), 1);
  // A sanitizer that has no descriptors either may complain behind it.
  EXPECT_THAT(
      serve.diagnostics(),
      testing::StartsWith("orvane-mcp: waiting for the client and the server fails: Invalid argument\n"));
}

// --- waiting costs nothing --------------------------------------------------------------------------------

/// Brings a fresh relay in front of the fake server into a state in which it has something to wait for.
struct WaitingState {
  const char* name;
  void (*reach)(ServerProcess& serve, pid_t server);
};

const WaitingState kWaitingStates[] = {
    {"nothing to do", [](ServerProcess&, pid_t) {}},
    {"half a line", [](ServerProcess& serve, pid_t) { serve.write("half"); }},
    {"a reply to come", [](ServerProcess& serve, pid_t) { serve.writeLine("quiet"); }},
    {"a reply to come, more messages behind it",
     [](ServerProcess& serve, pid_t) { serve.write("quiet\nmore\nand more\n"); }},
    {"a reply to come, the client's input ended",
     [](ServerProcess& serve, pid_t) {
       serve.writeLine("quiet");
       serve.closeInput();
     }},
    {"a server that does not read",
     [](ServerProcess& serve, pid_t server) {
       ::kill(server, SIGSTOP);
       serve.writeLine(std::string(200000, 'l'));
     }},
    {"a server that does not read, the client's input ended",
     [](ServerProcess& serve, pid_t server) {
       ::kill(server, SIGSTOP);
       serve.writeLine(std::string(200000, 'l'));
       serve.closeInput();
     }},
    {"no server", [](ServerProcess&, pid_t server) { ::kill(server, SIGKILL); }},
    {"a client that does not read", [](ServerProcess& serve, pid_t) { stopTakingReplies(serve); }},
    {"a client that does not read, with more to say",
     [](ServerProcess& serve, pid_t) {
       stopTakingReplies(serve);
       serve.write("more\nand more\n{\"id\": 1, \"method\": \"ping\"}\n");
     }},
    {"a client that does not read, and no server",
     [](ServerProcess& serve, pid_t server) {
       stopTakingReplies(serve);
       ::kill(server, SIGKILL);
       serve.writeLine("more");
     }},
    {"a client that does not read, its input ended, and no server",
     [](ServerProcess& serve, pid_t server) {
       stopTakingReplies(serve);
       serve.writeLine("more");
       ::kill(server, SIGKILL);
       serve.closeInput();
     }},
    {"a client that does not read, in the middle of a call, and no server",
     [](ServerProcess& serve, pid_t server) {
       serve.writeLine("large 900000");
       serve.writeLine("quiet");
       serve.waitUntilIdle();
       ::kill(server, SIGKILL);
     }},
};

TEST(ServeWaiting, TakesNoProcessorTime) {
  for (const WaitingState& state : kWaitingStates) {
    const TemporaryFolder folder;
    ServerProcess serve(serveFakeIn(folder));
    serve.ask("started");
    const pid_t server = onlyChildOf(serve.pid());
    state.reach(serve, server);
    EXPECT_NO_THROW(serve.waitUntilIdle()) << state.name;
    ::kill(server, SIGCONT);
  }
}

}  // namespace
