// `orvane-mcp serve` when the host comes, goes, drops the server or answers late.

#include "companion/companion_process.h"
#include "companion/serve/relayed_call.h"
#include "companion/serve/serve_messages.h"
#include "support/crowd.h"
#include "support/waiting.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <thread>

namespace {

TEST(ServeFollowing, ReachesAHostThatWasOpenedLater) {
  const TemporaryFolder folder;
  ServerProcess serve(serveIn(folder));
  EXPECT_EQ(serve.ask(kListDocuments), textReply(1, ""));
  ScriptedHost host(folder.socketPath());
  serve.writeLine(kListDocuments);
  answerOneCall(host, "opened later");
  EXPECT_EQ(serve.readLine(), textReply(1, "opened later"));
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
    EXPECT_EQ(serve.readLine(), textReply(1, name));
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
  before.reply(success("before"));
  EXPECT_EQ(serve.readLine(), textReply(1, "before"));
  answerOneCall(after, "after");
  EXPECT_EQ(serve.readLine(), textReply(5, "after"));
  EXPECT_NE(onlyChildOf(serve.pid()), first);
}

TEST(ServeFollowing, GivesALineWhoseEndCameAfterTheNewHostToAFreshServerWhole) {
  const TemporaryFolder folder;
  const std::string log = folder.path() + "/log";
  ServerProcess serve(serveFakeIn(folder, {"FAKE_SERVER_LOG=" + log}));
  const std::string first = serve.ask("pid");
  serve.write("pid, but");
  serve.waitUntilIdle();
  const ScriptedHost host(folder.socketPath());
  EXPECT_NE(serve.ask(" slowly"), first);
  EXPECT_EQ(contentOf(log), "pid\npid, but slowly\n");
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
  EXPECT_EQ(serve.ask(kListDocuments), textReply(1, ""));
  EXPECT_EQ(onlyChildOf(serve.pid()), first);
}

// --- a connection that is of no use any more
// ----------------------------------------------------------------

TEST(ServeHealing, ReachesAHostThatHasDroppedTheConnectionAtTheNextCallButOne) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  ServerProcess serve(serveIn(folder));
  serve.writeLine(kListDocuments);
  answerOneCall(host, "before");
  EXPECT_EQ(serve.readLine(), textReply(1, "before"));
  host.close();
  EXPECT_EQ(serve.ask(callLine(2, "list_documents")), textReply(2, ""));
  serve.writeLine(callLine(3, "list_documents"));
  answerOneCall(host, "after");
  EXPECT_EQ(serve.readLine(), textReply(3, "after"));
}

TEST(ServeHealing, ReachesAHostThatDroppedTheConnectionInTheMiddleOfACall) {
  RelayedCall call;
  call.host.send(ScriptedHost::lengthField(100) + "half of it");
  call.host.close();
  EXPECT_EQ(call.serve.readLine(), textReply(1, ""));
  call.serve.writeLine(callLine(2, "list_documents"));
  answerOneCall(call.host, "after");
  EXPECT_EQ(call.serve.readLine(), textReply(2, "after"));
}

TEST(ServeHealing, ReachesAHostThatHadNoRoomForTheConnection) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  const Crowd crowd(folder.socketPath());
  ServerProcess serve(serveIn(folder));
  EXPECT_EQ(serve.ask(kListDocuments), textReply(1, ""));
  for (std::size_t waiting = crowd.size(); waiting > 0; --waiting) {
    host.accept();
    host.close();
  }
  serve.writeLine(callLine(2, "list_documents"));
  answerOneCall(host, "room at last");
  EXPECT_EQ(serve.readLine(), textReply(2, "room at last"));
}

TEST(ServeHealing, KeepsTheServerOfAHostThatRightlyAnswersWithEmptyTexts) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  ServerProcess serve(serveIn(folder));
  serve.ask(kInitialize);
  const pid_t first = onlyChildOf(serve.pid());
  host.accept();
  for (int id = 0; id < 5; ++id) {
    serve.writeLine(callLine(id, "list_documents"));
    answerNextCall(host, "");
    EXPECT_EQ(serve.readLine(), textReply(id, ""));
  }
  EXPECT_EQ(onlyChildOf(serve.pid()), first);
}

// A call is given up after a pause of 5 seconds in its answer, or after 35 without one; the rest that comes
// later would be taken for the next call's.
TEST(ServeHealing, GivesNoCallTheAnswerOfTheOneBefore) {
  RelayedCall call;
  const std::string late = ScriptedHost::framed(success("late"));
  call.host.send(late.substr(0, 2));
  EXPECT_EQ(call.serve.readLine(), textReply(1, ""));
  call.host.send(late.substr(2));
  call.serve.writeLine(callLine(2, "list_documents"));
  answerOneCall(call.host, "its own");
  EXPECT_EQ(call.serve.readLine(), textReply(2, "its own"));
}

TEST(ServeHealing, HoldsForMessagesThatWereSentWithoutWaiting) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  ServerProcess serve(serveIn(folder));
  serve.writeLine(kListDocuments);
  serve.writeLine(callLine(2, "list_documents"));
  serve.writeLine(callLine(3, "list_documents"));
  host.accept();
  host.readLine();
  host.close();
  EXPECT_EQ(serve.readLine(), textReply(1, ""));
  answerOneCall(host, "second");
  EXPECT_EQ(serve.readLine(), textReply(2, "second"));
  answerNextCall(host, "third");
  EXPECT_EQ(serve.readLine(), textReply(3, "third"));
}

TEST(ServeHealing, IsTurnedOffByNoFollow) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  ServerProcess serve(serveIn(folder, {"--no-follow"}));
  serve.writeLine(kListDocuments);
  answerOneCall(host, "before");
  EXPECT_EQ(serve.readLine(), textReply(1, "before"));
  const pid_t first = onlyChildOf(serve.pid());
  host.close();
  for (int id = 2; id < 5; ++id) EXPECT_EQ(serve.ask(callLine(id, "list_documents")), textReply(id, ""));
  EXPECT_EQ(onlyChildOf(serve.pid()), first);
}

}  // namespace
