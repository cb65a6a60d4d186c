// `orvane-mcp serve` as a client sees it: the streams, and its end.

#include "companion/companion_process.h"
#include "companion/serve/relayed_call.h"
#include "companion/serve/serve_messages.h"
#include "support/waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <random>
#include <thread>

namespace {

using testing::HasSubstr;

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
  for (const std::string& line :
       {std::string(kInitialize), std::string(R"({"id": "a", "method": "tools/list"})"), std::string("{"),
        std::string("[]"), kListDocuments, std::string(R"({"id": 1.5, "method": "resources/list"})"),
        std::string(R"({"method": ""})"), std::string(R"({"id": null, "method": "x"})"), std::string("\v")})
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
  RelayedCall call;
  const pid_t server = onlyChildOf(call.serve.pid());
  call.serve.closeInput();
  call.serve.closeOutput();
  EXPECT_EQ(exitStatus(call.serve), 0);
  waitUntilGone(server);
}

// --- what the server's replies would do to clients
// ----------------------------------------------------------

TEST(Serve, AnswersPingItselfAtOnceAlsoWhileACallWaits) {
  RelayedCall call;
  EXPECT_EQ(call.serve.ask(R"({"id": "p", "jsonrpc": "2.0", "method": "ping"})"),
            resultReply(R"("p")", "{}"));
  EXPECT_EQ(call.serve.ask(R"({"method": "p\u0069ng", "id": 18446744073709551615, "params": {}})"),
            resultReply("18446744073709551615", "{}"));
  call.host.reply(success("still there"));
  EXPECT_EQ(call.serve.readLine(), textReply(1, "still there"));
}

TEST(Serve, KeepsRepliesToNotificationsBack) {
  const TemporaryFolder folder;
  ServerProcess serve(serveIn(folder));
  for (const char* line :
       {R"({"jsonrpc": "2.0", "method": "notifications/cancelled", "params": {"requestId": 1}})",
        R"({"method": "ping"})", R"({"method": "notifications/roots/list_changed", "x": {"id": 1}})",
        R"({"method": "tools/call", "params": {"name": "list_documents"}})"})
    serve.writeLine(line);
  EXPECT_EQ(serve.ask(kInitialize), welcomeReply(2));
}

TEST(Serve, PassesPingAndRepliesToNotificationsThroughWhenItIsToBeExact) {
  const TemporaryFolder folder;
  ServerProcess serve(serveIn(folder, {"--exact"}));
  EXPECT_EQ(serve.ask(pingLine(7)), unknownMethodReply(7, "ping"));
  EXPECT_EQ(serve.ask(R"({"method": "notifications/cancelled"})"),
            unknownMethodReply("null", "notifications/cancelled"));
}

TEST(Serve, WaitsForNoReplyThatTheServerDoesNotGive) {
  const TemporaryFolder folder;
  ServerProcess serve(serveIn(folder));
  serve.writeLine(R"({"method": "notifications/initialized", "params": 1e999})");
  EXPECT_EQ(serve.ask(kInitialize), welcomeReply(2));
  const ScriptedHost host(folder.socketPath());
  EXPECT_EQ(serve.ask(kInitialize), welcomeReply(2));
  serve.writeLine(R"({"method": "notifications/initialized", "params": 1e999})");
  serve.closeInput();
  EXPECT_EQ(exitStatus(serve), 0);
}

TEST(Serve, WaitsForEveryReplyThatTheServerGives) {
  const TemporaryFolder folder;
  ServerProcess serve(serveIn(folder));
  using namespace std::string_literals;
  serve.write("{\"method\": \"notifications/initialized\", \"x\": \"\0\"}\n"s + kInitialize + '\n');
  serve.closeInput();
  EXPECT_EQ(serve.readLine(), parseErrorReply("unescaped (0) in string"));
  EXPECT_EQ(serve.readLine(), welcomeReply(2));
  EXPECT_EQ(exitStatus(serve), 0);
}

}  // namespace
