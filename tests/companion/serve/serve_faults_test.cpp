// `orvane-mcp serve` in front of servers that end too early.

#include "companion/companion_process.h"
#include "companion/serve/relayed_call.h"
#include "companion/serve/serve_messages.h"
#include "support/waiting.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

namespace {

TEST(ServeAfterAFault, AnswersTheMessageThatWasLostAndServesTheNext) {
  RelayedCall call;
  const pid_t killed = onlyChildOf(call.serve.pid());
  ::kill(killed, SIGKILL);
  EXPECT_EQ(call.serve.readLine(), lostReply(1));

  call.serve.writeLine(kListDocuments);
  answerOneCall(call.host, "alive");
  EXPECT_EQ(call.serve.readLine(), textReply("1", "alive"));
  EXPECT_NE(onlyChildOf(call.serve.pid()), killed);
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

TEST(ServeAfterAFault, WithdrawsALargeReplyThatWasCutShort) {
  const TemporaryFolder folder;
  ServerProcess serve(serveFakeIn(folder));
  constexpr std::size_t kMoreThanItsBuffers = std::size_t{3} * 1024 * 1024;
  serve.write("die-large " + std::to_string(kMoreThanItsBuffers) + "\nnext\n");
  EXPECT_EQ(serve.readLine(), lostReply("null"));
  EXPECT_EQ(serve.readLine(), "next");
}

TEST(ServeAfterAFault, SaysNothingOfALostNotification) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  ServerProcess serve(serveIn(folder));
  serve.writeLine(R"({"method": "tools/call", "params": {"name": "list_documents"}})");
  host.accept();
  host.readLine();
  ::kill(onlyChildOf(serve.pid()), SIGKILL);
  EXPECT_EQ(serve.ask(kInitialize), welcomeReply(2));
}

TEST(ServeAfterAFault, SaysAtTheFirstMessageThatTheServerEndsAtEveryStart) {
  const TemporaryFolder folder;
  ServerProcess serve(serveFakeIn(folder, {"FAKE_SERVER=ends"}));
  for (const std::string id : {"1", "\"two\"", "18446744073709551615"})
    EXPECT_EQ(serve.ask(R"({"method": "initialize", "id": )" + id + "}"), hopelessReply(id));
  serve.waitUntilIdle();
  serve.closeInput();
  EXPECT_EQ(exitStatus(serve), 0);
}

TEST(ServeAfterAFault, SaysSoOfAServerWhoseLibraryIsMissing) {
  const TemporaryFolder folder;
  const std::string program = folder.path() + "/server";
  std::filesystem::copy_file(ORVANE_NEEDS_LIBRARY, program);
  ServerProcess serve(serveIn(folder, {"--server", program}));
  for (int id = 0; id < 6; ++id) EXPECT_EQ(serve.ask(toolsListLine(id)), hopelessReply(id));
}

TEST(ServeAfterAFault, SaysSoOfAServerThatEndsAtEachMessage) {
  const TemporaryFolder folder;
  ServerProcess serve(serveFakeIn(folder));
  for (const std::string& reply :
       {lostReply("null"), lostReply("null"), hopelessReply("null"), hopelessReply("null")})
    EXPECT_EQ(serve.ask("die"), reply);
  EXPECT_EQ(serve.ask("works"), "works");
  EXPECT_EQ(serve.ask("die"), lostReply("null"));
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

}  // namespace
