// `orvane-mcp serve` when the host comes, goes, drops the server or answers late.

#include "companion/companion_process.h"
#include "companion/serve/relayed_call.h"
#include "companion/serve/serve_messages.h"
#include "support/waiting.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <thread>

namespace {

/// A host whose queue of connections is full, so that no more can be made.
class CrowdedHost {
 public:
  explicit CrowdedHost(const std::string& path)
      : listener_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    address_.sun_family = AF_UNIX;
    std::strcpy(address_.sun_path, path.c_str());
    const auto* const address = reinterpret_cast<const sockaddr*>(&address_);
    if (::bind(listener_, address, sizeof address_) != 0 || ::listen(listener_, 0) != 0)
      throw std::runtime_error("cannot listen");
    do {
      crowd_.push_back(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    } while (::connect(crowd_.back(), address, sizeof address_) == 0);
  }
  ~CrowdedHost() {
    for (const int descriptor : crowd_) ::close(descriptor);
    ::close(listener_);
  }
  CrowdedHost(const CrowdedHost&) = delete;
  CrowdedHost& operator=(const CrowdedHost&) = delete;

  void acceptTheCrowd() {
    for (std::size_t made = crowd_.size() - 1; made > 0; --made)
      ::close(::accept(listener_, nullptr, nullptr));
  }

  /// Takes one call from a new client and answers it.
  void answerOneCall(const std::string& text) {
    crowd_.push_back(::accept(listener_, nullptr, nullptr));
    char request[1000];
    waitUntilReadable(crowd_.back(), "a request");
    [[maybe_unused]] const ssize_t read = ::read(crowd_.back(), request, sizeof request);
    const std::string reply = ScriptedHost::framed(success(text));
    [[maybe_unused]] const ssize_t written = ::write(crowd_.back(), reply.data(), reply.size());
  }

 private:
  int listener_;
  sockaddr_un address_{};
  std::vector<int> crowd_;  ///< all open ends; the last of the constructor's found no room
};

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
  CrowdedHost host(folder.socketPath());
  ServerProcess serve(serveIn(folder));
  EXPECT_EQ(serve.ask(kListDocuments), textReply(1, ""));
  host.acceptTheCrowd();
  serve.writeLine(callLine(2, "list_documents"));
  host.answerOneCall("room at last");
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
