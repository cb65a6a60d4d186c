// `orvane-mcp serve` as a client sees it, in front of the real server and of one that misbehaves on request.

#include "companion/companion_process.h"
#include "support/replies.h"
#include "support/scripted_host.h"
#include "support/waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <thread>

namespace {

using testing::HasSubstr;

constexpr char kListDocuments[] =
    R"({"id": 1, "jsonrpc": "2.0", "method": "tools/call", "params": {"name": "list_documents"}})";
constexpr char kInitialize[] = R"({"id": 2, "jsonrpc": "2.0", "method": "initialize"})";

std::string lostReply(const std::string& id) {
  return toolErrorReply(
      id, "The server ended before it answered this message. The next message goes to a new server.");
}

/// A host's answer that tells which host gave it.
std::string answerOf(const std::string& name) {
  return R"({"success": true, "result": ")" + name + R"("})";
}

/// Takes one request from a new client and answers it.
void answerOneCall(ScriptedHost& host, const std::string& name) {
  host.accept();
  host.readLine();
  host.reply(answerOf(name));
}

/// The status of a process that ended by itself.
int exitStatus(ServerProcess& process) {
  const int status = process.waitForEnd();
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string contentOf(const std::string& path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

/// Lines of all lengths with all bytes but the line feed, blank ones included.
std::vector<std::string> randomLines(std::size_t count) {
  std::mt19937 random(20250326);
  std::vector<std::string> lines(count);
  for (std::string& line : lines) {
    const std::size_t longest = random() % 20 == 0 ? 300000 : 300;
    line.resize(random() % longest);
    for (char& byte : line) {
      byte = static_cast<char>(random() % 256);
      if (byte == '\n') byte = '\r';
    }
  }
  return lines;
}

bool isBlank(const std::string& line) {
  return line.find_first_not_of(" \t\r") == std::string::npos;
}

// --- the streams ------------------------------------------------------------------------------------------

TEST(Serve, AnswersByteForByteLikeTheServer) {
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path()});
  ServerProcess serve(serveIn(folder));
  for (const char* line : {kInitialize, R"({"id": "a", "method": "tools/list"})", "{", "[]", kListDocuments,
                           R"({"id": 1.5, "method": "ping"})", "\v"})
    EXPECT_EQ(serve.ask(line), server.ask(line)) << line;
}

TEST(Serve, PassesEveryByteThroughBothWays) {
  const TemporaryFolder folder;
  const std::string log = folder.path() + "/log";
  ServerProcess serve(serveFakeIn(folder, {"FAKE_SERVER_LOG=" + log}));
  const std::vector<std::string> lines = randomLines(400);
  std::string sent;
  for (const std::string& line : lines) sent += line + '\n';

  std::thread writer([&serve, &sent] { serve.write(sent); });
  for (const std::string& line : lines) {
    if (isBlank(line)) continue;
    ASSERT_TRUE(serve.readLine() == line);
  }
  writer.join();
  EXPECT_EQ(serve.ask("the end"), "the end");
  EXPECT_TRUE(contentOf(log) == sent + "the end\n");
}

TEST(Serve, PassesALineLargerThanItsBuffersThrough) {
  const TemporaryFolder folder;
  ServerProcess serve(serveFakeIn(folder));
  const std::string line(std::size_t{5} * 1024 * 1024, 'l');
  std::thread writer([&serve, &line] { serve.writeLine(line); });
  EXPECT_TRUE(serve.readLine() == line);
  writer.join();
}

TEST(Serve, GivesTheServerItsOwnStandardError) {
  const TemporaryFolder folder;
  ServerProcess serve(serveIn(folder));
  const auto standardError = [](pid_t pid) {
    return std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/fd/2");
  };
  EXPECT_EQ(standardError(onlyChildOf(serve.pid())), standardError(serve.pid()));
}

TEST(Serve, StopsReadingFromAClientThatDoesNotReadAndLosesNothing) {
  const TemporaryFolder folder;
  ServerProcess serve(serveFakeIn(folder));
  serve.ask("started");
  ::fcntl(serve.inputPipe(), F_SETFL, ::fcntl(serve.inputPipe(), F_GETFL) | O_NONBLOCK);
  const std::string line = std::string(9999, 'l') + '\n';
  const std::size_t tooMuch = std::size_t{16} * 1024 * 1024 / line.size();

  // Both ways are full when nothing more is taken although the relay has come to rest.
  std::size_t accepted = 0;
  std::size_t cut = 0;
  for (bool resting = false; accepted < tooMuch;) {
    const ssize_t count = ::write(serve.inputPipe(), line.data() + cut, line.size() - cut);
    if (count > 0) {
      cut += static_cast<std::size_t>(count);
      if (cut == line.size()) ++accepted;
      cut %= line.size();
      resting = false;
    } else if (resting) {
      break;
    } else {
      serve.waitUntilIdle();
      resting = true;
    }
  }
  EXPECT_LT(accepted, tooMuch);
  for (std::size_t reply = 0; reply < accepted; ++reply)
    ASSERT_TRUE(serve.readLine() + '\n' == line) << reply;
}

TEST(Serve, UsesNoProcessorTimeWhileItWaits) {
  const TemporaryFolder folder;
  ServerProcess serve(serveIn(folder));
  serve.ask(kInitialize);
  serve.waitUntilIdle();
}

// --- its end ----------------------------------------------------------------------------------------------

TEST(Serve, EndsTheServerWhenItsInputEnds) {
  const TemporaryFolder folder;
  ServerProcess serve(serveIn(folder));
  serve.ask(kInitialize);
  const pid_t server = onlyChildOf(serve.pid());
  serve.closeInput();
  EXPECT_EQ(exitStatus(serve), 0);
  waitUntilGone(server);
}

TEST(Serve, AnswersEverythingBeforeItEndsWithItsInput) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  ServerProcess serve(serveIn(folder));
  serve.writeLine(kListDocuments);
  serve.writeLine(kInitialize);
  serve.writeLine(R"({"method": "notifications/initialized"})");
  serve.write("\n \n{\"id\": 3, \"method\": \"unfinished\"}");
  serve.closeInput();
  answerOneCall(host, "late");
  EXPECT_EQ(serve.readLine(), textReply("1", "late"));
  EXPECT_THAT(serve.readLine(), HasSubstr("protocolVersion"));
  EXPECT_EQ(exitStatus(serve), 0);
  EXPECT_EQ(serve.pendingOutput(), "");
}

TEST(Serve, EndsTheServerOnTerminationSignals) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    const TemporaryFolder folder;
    ServerProcess serve(serveIn(folder));
    serve.ask(kInitialize);
    const pid_t server = onlyChildOf(serve.pid());
    serve.signal(signal);
    EXPECT_EQ(exitStatus(serve), 0) << signal;
    waitUntilGone(server);
  }
}

TEST(Serve, EndsTheServerWhenItIsKilled) {
  const TemporaryFolder folder;
  ServerProcess serve(serveIn(folder));
  serve.ask(kInitialize);
  const pid_t server = onlyChildOf(serve.pid());
  serve.signal(SIGKILL);
  serve.waitForEnd();
  waitUntilGone(server);
}

TEST(Serve, EndsInTheMiddleOfACallWhenTheClientIsGone) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  ServerProcess serve(serveIn(folder));
  serve.writeLine(kListDocuments);
  host.accept();
  host.readLine();
  const pid_t server = onlyChildOf(serve.pid());
  serve.closeInput();
  serve.closeOutput();
  EXPECT_EQ(exitStatus(serve), 0);
  waitUntilGone(server);
}

// --- a server that ends too early -------------------------------------------------------------------------

TEST(ServeAfterAFault, AnswersTheMessageThatWasLostAndServesTheNext) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  ServerProcess serve(serveIn(folder));
  serve.writeLine(kListDocuments);
  host.accept();
  host.readLine();
  const pid_t killed = onlyChildOf(serve.pid());
  ::kill(killed, SIGKILL);
  EXPECT_EQ(serve.readLine(), lostReply("1"));

  serve.writeLine(kListDocuments);
  answerOneCall(host, "alive");
  EXPECT_EQ(serve.readLine(), textReply("1", "alive"));
  EXPECT_NE(onlyChildOf(serve.pid()), killed);
}

TEST(ServeAfterAFault, ReplacesAServerThatWasKilledBetweenMessagesWithoutAnError) {
  const TemporaryFolder folder;
  ServerProcess serve(serveIn(folder));
  const std::string reply = serve.ask(kInitialize);
  const pid_t killed = onlyChildOf(serve.pid());
  ::kill(killed, SIGKILL);
  waitUntilGone(killed);
  EXPECT_EQ(serve.ask(kInitialize), reply);
}

TEST(ServeAfterAFault, AnswersTheMessagesBehindTheLostOneInOrder) {
  const TemporaryFolder folder;
  const std::string log = folder.path() + "/log";
  ServerProcess serve(serveFakeIn(folder, {"FAKE_SERVER_LOG=" + log}));
  serve.write("first\ndie\nsecond\n\ndie\nthird\n");
  for (const std::string& reply : {std::string("first"), lostReply("null"), std::string("second"),
                                   lostReply("null"), std::string("third")})
    EXPECT_EQ(serve.readLine(), reply);
  EXPECT_EQ(contentOf(log), "first\ndie\nsecond\n\ndie\nthird\n");
}

TEST(ServeAfterAFault, SendsALongLineAgainWhoseBeginningTheEndedServerHad) {
  const TemporaryFolder folder;
  ServerProcess serve(serveFakeIn(folder));
  const std::string line(std::size_t{3} * 1024 * 1024, 'l');
  const std::string first = serve.ask("pid");
  serve.write(line);
  serve.waitUntilIdle();
  ::kill(std::stoi(first), SIGKILL);
  serve.waitUntilIdle();
  EXPECT_TRUE(serve.ask("") == line);
  EXPECT_NE(serve.ask("pid"), first);
}

TEST(ServeAfterAFault, WithdrawsAReplyThatWasCutShort) {
  const TemporaryFolder folder;
  ServerProcess serve(serveFakeIn(folder));
  serve.write("die-half\nnext\n");
  EXPECT_EQ(serve.readLine(), lostReply("null"));
  EXPECT_EQ(serve.readLine(), "next");
}

TEST(ServeAfterAFault, EndsTheLineOfAReplyThatTheClientHasInPart) {
  const TemporaryFolder folder;
  ServerProcess serve(serveFakeIn(folder));
  constexpr std::size_t kMoreThanIsHeldBack = std::size_t{3} * 1024 * 1024;
  serve.write("die-large " + std::to_string(kMoreThanIsHeldBack) + "\nnext\n");
  EXPECT_TRUE(serve.readLine() == std::string(kMoreThanIsHeldBack, 'x'));
  EXPECT_EQ(serve.readLine(), lostReply("null"));
  EXPECT_EQ(serve.readLine(), "next");
}

TEST(ServeAfterAFault, AnswersEachMessageWhenTheServerEndsAtEveryStart) {
  const TemporaryFolder folder;
  ServerProcess serve(serveFakeIn(folder, {"FAKE_SERVER=ends"}));
  for (const std::string id : {"1", "\"two\"", "18446744073709551615"}) {
    const std::string reply = serve.ask(R"({"method": "initialize", "id": )" + id + "}");
    EXPECT_THAT(reply, HasSubstr(R"({"error": {"code": -32000, "message": "The server end)"));
    EXPECT_THAT(reply, HasSubstr(R"("id": )" + id + R"(, "jsonrpc": "2.0"})"));
  }
  serve.waitUntilIdle();
  serve.closeInput();
  EXPECT_EQ(exitStatus(serve), 0);
}

TEST(ServeAfterAFault, AnswersWithTheReasonWhenTheServersProgramHasGone) {
  const TemporaryFolder folder;
  const std::string program = folder.path() + "/server";
  std::filesystem::copy_file(ORVANE_FAKE_SERVER, program);
  ServerProcess serve(serveIn(folder, {"--server", program}));
  EXPECT_EQ(serve.ask("works"), "works");
  std::filesystem::remove(program);
  EXPECT_EQ(serve.ask("die"), lostReply("null"));
  EXPECT_EQ(serve.ask(R"({"id": 7})"),
            R"({"error": {"code": -32000, "message": "The server cannot be started: cannot execute )" +
                program + R"(: No such file or directory"}, "id": 7, "jsonrpc": "2.0"})");
}

TEST(Serve, EndsAtOnceWhenThereIsNothingToStart) {
  const TemporaryFolder folder;
  const Outcome outcome = runCompanion(folder, {"serve", "--server", folder.path() + "/none"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.error, "orvane-mcp: " + folder.path() + "/none is not an executable file\n");
  EXPECT_EQ(outcome.output, "");
}

// --- following the host -----------------------------------------------------------------------------------

TEST(ServeFollowing, ReachesAHostThatWasOpenedLater) {
  const TemporaryFolder folder;
  ServerProcess serve(serveIn(folder));
  EXPECT_EQ(serve.ask(kListDocuments), textReply("1", ""));
  ScriptedHost host(folder.socketPath());
  serve.writeLine(kListDocuments);
  answerOneCall(host, "opened later");
  EXPECT_EQ(serve.readLine(), textReply("1", "opened later"));
}

TEST(ServeFollowing, ReplacesTheServerOnceForANewSocket) {
  const TemporaryFolder folder;
  ServerProcess serve(serveIn(folder));
  serve.ask(kInitialize);
  const pid_t first = onlyChildOf(serve.pid());
  const ScriptedHost host(folder.socketPath());
  serve.waitUntilIdle();
  EXPECT_EQ(onlyChildOf(serve.pid()), first) << "replaced before a message has come";
  serve.ask(kInitialize);
  const pid_t second = onlyChildOf(serve.pid());
  EXPECT_NE(second, first);
  waitUntilGone(first);
  serve.ask(kInitialize);
  EXPECT_EQ(onlyChildOf(serve.pid()), second);
}

TEST(ServeFollowing, FindsTheHostAgainAfterItWasRestarted) {
  const TemporaryFolder folder;
  ServerProcess serve(serveIn(folder));
  for (const std::string name : {"one", "two", "three"}) {
    ScriptedHost host(folder.socketPath());
    serve.writeLine(kListDocuments);
    answerOneCall(host, name);
    EXPECT_EQ(serve.readLine(), textReply("1", name));
    std::filesystem::remove(folder.socketPath());
  }
}

TEST(ServeFollowing, KeepsTheServerWhileAMessageWaits) {
  const TemporaryFolder folder;
  ScriptedHost before(folder.socketPath());
  ServerProcess serve(serveIn(folder));
  serve.writeLine(kListDocuments);
  before.accept();
  before.readLine();
  const pid_t first = onlyChildOf(serve.pid());

  std::filesystem::remove(folder.socketPath());
  ScriptedHost after(folder.socketPath());
  serve.writeLine(R"({"id": 5, "method": "tools/call", "params": {"name": "list_documents"}})");
  serve.waitUntilIdle();
  EXPECT_EQ(onlyChildOf(serve.pid()), first);
  before.reply(answerOf("before"));
  EXPECT_EQ(serve.readLine(), textReply("1", "before"));
  answerOneCall(after, "after");
  EXPECT_EQ(serve.readLine(), textReply("5", "after"));
  EXPECT_NE(onlyChildOf(serve.pid()), first);
}

TEST(ServeFollowing, KeepsTheServerThatHasTheBeginningOfAMessage) {
  const TemporaryFolder folder;
  const std::string log = folder.path() + "/log";
  ServerProcess serve(serveFakeIn(folder, {"FAKE_SERVER_LOG=" + log}));
  const std::string first = serve.ask("pid");
  serve.write("pid, but");
  serve.waitUntilIdle();
  const ScriptedHost host(folder.socketPath());
  EXPECT_EQ(serve.ask(" slowly"), first);
  EXPECT_NE(serve.ask("pid"), first);
  EXPECT_EQ(contentOf(log), "pid\npid, but slowly\npid\n");
}

TEST(ServeFollowing, EndsTheFreshServerToo) {
  for (const int signal : {SIGTERM, SIGKILL}) {
    const TemporaryFolder folder;
    ServerProcess serve(serveIn(folder));
    serve.ask(kInitialize);
    const ScriptedHost host(folder.socketPath());
    serve.ask(kInitialize);
    const pid_t fresh = onlyChildOf(serve.pid());
    serve.signal(signal);
    serve.waitForEnd();
    waitUntilGone(fresh);
  }
}

TEST(ServeFollowing, LosesRepeatsAndReordersNothingInABurst) {
  const TemporaryFolder folder;
  const std::string log = folder.path() + "/log";
  ServerProcess serve(serveFakeIn(folder, {"FAKE_SERVER_LOG=" + log}));
  std::string sent;
  std::thread writer([&serve, &sent, &folder] {
    for (int burst = 0; burst < 20; ++burst) {
      std::string lines;
      for (int line = 0; line < 200; ++line)
        lines += "message " + std::to_string(burst) + "." + std::to_string(line) + '\n';
      sent += lines;
      serve.write(lines);
      std::filesystem::remove(folder.socketPath());
      const ScriptedHost host(folder.socketPath());
    }
  });
  std::string received;
  for (int reply = 0; reply < 20 * 200; ++reply) received += serve.readLine() + '\n';
  writer.join();
  EXPECT_EQ(received, sent);
  EXPECT_EQ(contentOf(log), sent);
}

TEST(ServeFollowing, StaysWithTheServerWhenTheSocketOnlyVanishes) {
  const TemporaryFolder folder;
  ServerProcess serve([&folder] {
    const ScriptedHost host(folder.socketPath());
    return serveIn(folder);
  }());
  serve.ask(kInitialize);
  const pid_t first = onlyChildOf(serve.pid());
  std::filesystem::remove(folder.socketPath());
  serve.ask(kInitialize);
  EXPECT_EQ(onlyChildOf(serve.pid()), first);
}

TEST(ServeFollowing, IsTurnedOffByNoFollow) {
  const TemporaryFolder folder;
  ServerProcess serve(serveIn(folder, {"--no-follow"}));
  serve.ask(kInitialize);
  const pid_t first = onlyChildOf(serve.pid());
  const ScriptedHost host(folder.socketPath());
  EXPECT_EQ(serve.ask(kListDocuments), textReply("1", ""));
  EXPECT_EQ(onlyChildOf(serve.pid()), first);
}

}  // namespace
