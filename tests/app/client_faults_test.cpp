// What a client can do wrong, and what comes of it, exactly.

#include "support/host_replies.h"
#include "support/replies.h"
#include "support/server_with_host.h"
#include "support/waiting.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <thread>

namespace {

std::string pingReply(int id) {
  return unknownMethodReply(id, "ping");
}

/// The reply to a "tools/list" under another id.
std::string withId(const std::string& reply, int id) {
  const std::size_t end = reply.find(',');
  return R"({"id": )" + std::to_string(id) + reply.substr(end);
}

TEST(ClientThatEndsInMidLine, LosesThatLineOnly) {
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path()});
  server.write(pingLine(1) + "\n" + pingLine(2));
  server.closeInput();
  EXPECT_EQ(server.readLine(), pingReply(1));
  server.waitUntilIdle();
  EXPECT_EQ(server.pendingOutput(), "");
  EXPECT_TRUE(server.isAlive());
}

TEST(ClientThatDoesNotRead, HoldsTheServerUpWithoutWorkAndLosesNothing) {
  constexpr int kMessages = 300;  // replies of 16 KiB each: far more than all buffers hold
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path()});
  const std::string list = server.ask(toolsListLine(0));
  std::thread writer([&server] {
    for (int id = 1; id <= kMessages; ++id) server.writeLine(toolsListLine(id));
  });
  server.waitUntilIdle();
  EXPECT_TRUE(server.isAlive());
  for (int id = 1; id <= kMessages; ++id) EXPECT_EQ(server.readLine(), withId(list, id));
  writer.join();
  EXPECT_EQ(server.diagnostics(), "");
}

class ClientThatClosesItsReadingEnd : public ServerWithHost {};

TEST_F(ClientThatClosesItsReadingEnd, EndsTheServerBeforeTheFirstHostRequest) {
  EXPECT_EQ(server_.ask(pingLine(1)), pingReply(1));
  server_.closeOutput();
  server_.writeLine(pingLine(2));
  const int status = server_.waitForEnd();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGPIPE);
  EXPECT_EQ(server_.diagnostics(), "");
}

TEST_F(ClientThatClosesItsReadingEnd, IsReportedAfterTheFirstHostRequestAndTheServerLives) {
  EXPECT_EQ(replyFor(1, success("done")), textReply(1, "done"));
  server_.closeOutput();
  const std::string line = "write(stdout) error: Broken pipe\n";
  server_.writeLine(pingLine(2));
  EXPECT_EQ(server_.waitForDiagnostic(line), line);
  EXPECT_EQ(call(3), R"({"args":[""],"request":"commentAtAddress:withReply:"})");
  host_.reply(success("unseen"));
  EXPECT_EQ(server_.waitForDiagnostic(line + line), line + line);
  EXPECT_TRUE(server_.isAlive());
}

/// All that can be read from a non-blocking socket now.
std::string drain(int socket) {
  std::string all;
  char bytes[65536];
  ssize_t count = 0;
  while ((count = ::recv(socket, bytes, sizeof bytes, MSG_DONTWAIT)) > 0) {
    all.append(bytes, static_cast<std::size_t>(count));
  }
  return all;
}

void sendText(int socket, const std::string& text) {
  ASSERT_EQ(::send(socket, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
}

std::string receiveLine(int socket) {
  std::string line;
  while (!line.ends_with('\n')) {
    waitUntilReadable(socket, "a reply");
    char byte = 0;
    if (::recv(socket, &byte, 1, 0) != 1) break;
    line += byte;
  }
  return line.substr(0, line.size() - 1);
}

TEST(OneSocketAsBothStreams, CutsShortWhatDoesNotFitAndGoesOnWhenThereIsRoom) {
  constexpr int kMessages = 100;
  const TemporaryFolder folder;
  int ends[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  ServerProcess server({.socketFolder = folder.path(), .standardInput = ends[1], .standardOutput = ends[1]});
  ::close(ends[1]);
  sendText(ends[0], toolsListLine(0) + "\n");
  const std::string list = receiveLine(ends[0]);

  std::string requests;
  std::string allReplies;
  for (int id = 1; id <= kMessages; ++id) {
    requests += toolsListLine(id) + "\n";
    allReplies += withId(list, id) + "\n";
  }
  sendText(ends[0], requests);
  server.waitUntilIdle();
  const std::string received = drain(ends[0]);
  EXPECT_LT(received.size(), allReplies.size());
  EXPECT_EQ(received, allReplies.substr(0, received.size()));

  // Full: each reply that did not go out whole has its line on standard error.
  const auto whole = std::ranges::count(received, '\n');
  std::string diagnostics;
  for (auto lost = whole; lost < kMessages; ++lost) {
    diagnostics += "write(stdout) error: Resource temporarily unavailable\n";
  }
  EXPECT_EQ(server.diagnostics(), diagnostics);

  sendText(ends[0], pingLine(7) + "\n");
  EXPECT_EQ(receiveLine(ends[0]), pingReply(7));
  EXPECT_TRUE(server.isAlive());
  ::close(ends[0]);
}

// --- stopped and continued ---

class StopAndContinue : public ServerWithHost {};

TEST_F(StopAndContinue, WhileWaitingForInputLosesNothing) {
  for (int id = 1; id <= 20; ++id) {
    server_.signal(SIGSTOP);
    server_.writeLine(pingLine(id));
    server_.signal(SIGCONT);
    EXPECT_EQ(server_.readLine(), pingReply(id));
  }
  EXPECT_EQ(server_.diagnostics(), "");
}

TEST_F(StopAndContinue, BetweenTheHalvesOfALineLosesNothing) {
  for (int id = 1; id <= 20; ++id) {
    const std::string line = pingLine(id) + "\n";
    server_.write(line.substr(0, 10));
    server_.signal(SIGSTOP);
    server_.signal(SIGCONT);
    server_.write(line.substr(10));
    EXPECT_EQ(server_.readLine(), pingReply(id));
  }
  EXPECT_EQ(server_.diagnostics(), "");
}

TEST_F(StopAndContinue, InTheMiddleOfACallLosesNothing) {
  const std::string reply = ScriptedHost::framed(success("done"));
  for (int id = 1; id <= 20; ++id) {
    call(id);
    server_.signal(SIGSTOP);
    host_.send(reply.substr(0, 10));
    server_.signal(SIGCONT);
    server_.signal(SIGSTOP);
    server_.signal(SIGCONT);
    host_.send(reply.substr(10));
    EXPECT_EQ(server_.readLine(), textReply(id, "done"));
  }
  EXPECT_EQ(server_.diagnostics(), "");
}

TEST_F(StopAndContinue, WhileBlockedOnOutputLosesNothing) {
  constexpr int kMessages = 50;
  const std::string list = server_.ask(toolsListLine(0));
  std::thread writer([this] {
    for (int id = 1; id <= kMessages; ++id) server_.writeLine(toolsListLine(id));
  });
  server_.waitUntilIdle();
  server_.signal(SIGSTOP);
  server_.signal(SIGCONT);
  for (int id = 1; id <= kMessages; ++id) EXPECT_EQ(server_.readLine(), withId(list, id));
  writer.join();
}

}  // namespace
