// What a client can do wrong, and what comes of it, exactly.

#include "app/host_fault.h"
#include "support/scripted_host.h"
#include "support/server_process.h"
#include "support/temporary_folder.h"
#include "support/waiting.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <thread>

namespace {

std::string pingLine(int id) {
  return R"({"id":)" + std::to_string(id) + R"(,"method":"ping"})";
}

std::string pingReply(int id) {
  return R"({"error": {"code": -32601, "data": "ping", "message": "Method not found"}, "id": )" +
         std::to_string(id) + R"(, "jsonrpc": "2.0"})";
}

std::string toolsListLine(int id) {
  return R"({"id":)" + std::to_string(id) + R"(,"method":"tools/list"})";
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

TEST(ClientThatClosesItsReadingEnd, EndsTheServerBeforeTheFirstHostRequest) {
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path()});
  EXPECT_EQ(server.ask(pingLine(1)), pingReply(1));
  server.closeOutput();
  server.writeLine(pingLine(2));
  const int status = server.waitForEnd();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGPIPE);
  EXPECT_EQ(server.diagnostics(), "");
}

TEST(ClientThatClosesItsReadingEnd, IsReportedAfterTheFirstHostRequestAndTheServerLives) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  ServerProcess server({.socketFolder = folder.path()});
  host.accept();
  server.writeLine(R"({"id":1,"method":"tools/call","params":{"name":"comment"}})");
  host.readLine();
  host.reply(R"({"success":true,"result":"done"})");
  EXPECT_EQ(server.readLine(), replyLine(1, "done"));
  server.closeOutput();
  const std::string line = "write(stdout) error: Broken pipe\n";
  server.writeLine(pingLine(2));
  EXPECT_EQ(server.waitForDiagnostic(line), line);
  server.writeLine(R"({"id":3,"method":"tools/call","params":{"name":"comment"}})");
  EXPECT_EQ(host.readLine(), R"({"args":[""],"request":"commentAtAddress:withReply:"})");
  host.reply(R"({"success":true,"result":"unseen"})");
  EXPECT_EQ(server.waitForDiagnostic(line + line), line + line);
  EXPECT_TRUE(server.isAlive());
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

TEST(StopAndContinue, WhileWaitingForInputLosesNothing) {
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path()});
  for (int id = 1; id <= 20; ++id) {
    server.signal(SIGSTOP);
    server.writeLine(pingLine(id));
    server.signal(SIGCONT);
    EXPECT_EQ(server.readLine(), pingReply(id));
  }
  EXPECT_EQ(server.diagnostics(), "");
}

TEST(StopAndContinue, BetweenTheHalvesOfALineLosesNothing) {
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path()});
  for (int id = 1; id <= 20; ++id) {
    const std::string line = pingLine(id) + "\n";
    server.write(line.substr(0, 10));
    server.signal(SIGSTOP);
    server.signal(SIGCONT);
    server.write(line.substr(10));
    EXPECT_EQ(server.readLine(), pingReply(id));
  }
  EXPECT_EQ(server.diagnostics(), "");
}

TEST(StopAndContinue, InTheMiddleOfACallLosesNothing) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  ServerProcess server({.socketFolder = folder.path()});
  host.accept();
  const std::string reply = ScriptedHost::framed(R"({"success":true,"result":"done"})");
  for (int id = 1; id <= 20; ++id) {
    server.writeLine(R"({"id":)" + std::to_string(id) +
                     R"(,"method":"tools/call","params":{"name":"comment"}})");
    host.readLine();
    server.signal(SIGSTOP);
    host.send(reply.substr(0, 10));
    server.signal(SIGCONT);
    server.signal(SIGSTOP);
    server.signal(SIGCONT);
    host.send(reply.substr(10));
    EXPECT_EQ(server.readLine(), replyLine(id, "done"));
  }
  EXPECT_EQ(server.diagnostics(), "");
}

TEST(StopAndContinue, WhileBlockedOnOutputLosesNothing) {
  constexpr int kMessages = 50;
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path()});
  const std::string list = server.ask(toolsListLine(0));
  std::thread writer([&server] {
    for (int id = 1; id <= kMessages; ++id) server.writeLine(toolsListLine(id));
  });
  server.waitUntilIdle();
  server.signal(SIGSTOP);
  server.signal(SIGCONT);
  for (int id = 1; id <= kMessages; ++id) EXPECT_EQ(server.readLine(), withId(list, id));
  writer.join();
}

}  // namespace
