// Everything that a host can do wrong: the exact reply, what is said on standard error, and the state of the
// next call.

#include "support/crowd.h"
#include "support/elapsed.h"
#include "support/host_replies.h"
#include "support/replies.h"
#include "support/server_with_host.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <limits>
#include <ostream>
#include <string>

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using Host = ScriptedHost;

/// What Qt prints about the two writes of a request when there never was a host. Of one that has gone it says
/// nothing.
constexpr const char* kNoHost =
    "QIODevice::write (QLocalSocket): device not open\n"
    "QIODevice::write (QLocalSocket): device not open\n";

/// Far below the server's shortest wait, and enough for a loaded machine.
constexpr auto kAtOnce = 2500ms;

/// What the host does wrong about a call, and what the client sees of it.
struct HostFault {
  const char* label;
  /// What the host does between accepting the connection and the call; may do nothing.
  std::function<void(Host&)> beforeCall = {};
  /// What it does after it has read the request. Without it the host does not even read.
  std::function<void(Host&)> afterRequest = {};
  /// Of the call's reply.
  const char* text = "";
  /// Of the next call's reply, to which the host answers "next" if it still can.
  const char* nextText = "next";
};

std::ostream& operator<<(std::ostream& out, const HostFault& fault) {
  return out << fault.label;
}

/// Makes the call and the next one, and compares both replies to the byte; then looks whether the server
/// still answers, has printed nothing, and has left the host's socket alone.
void expectOutcome(const HostFault& fault, ScriptedHost& host, ServerProcess& server) {
  if (fault.beforeCall) fault.beforeCall(host);

  server.writeLine(callLine(1, "comment", R"({"address": "0x10"})"));
  if (fault.afterRequest) {
    EXPECT_EQ(host.readLine(), R"({"args":["0x10"],"request":"commentAtAddress:withReply:"})");
    fault.afterRequest(host);
  }
  EXPECT_EQ(server.readLine(), textReply(1, fault.text));

  server.writeLine(callLine(2, "address_name"));
  if (fault.afterRequest && host.isConnected()) {
    EXPECT_EQ(host.readLine(), R"({"args":[""],"request":"nameOfAddress:withReply:"})");
    host.reply(success("next"));
  }
  EXPECT_EQ(server.readLine(), textReply(2, fault.nextText));

  EXPECT_EQ(server.ask(pingLine(3)), unknownMethodReply(3, "ping"));
  EXPECT_EQ(server.diagnostics(), "");
  EXPECT_EQ(host.refuseWaiting(), 0) << "the server has connected again";
}

void sendAndClose(Host& host, const std::string& bytes) {
  host.send(bytes);
  host.close();
}

void sendByteByByte(Host& host) {
  for (const char byte : Host::framed(success("good"))) host.send(std::string_view(&byte, 1));
}

const HostFault kFaults[] = {
    {.label = "ClosesBeforeTheRequest", .beforeCall = [](Host& host) { host.close(); }, .nextText = ""},
    {.label = "ClosesBeforeTheReply", .afterRequest = [](Host& host) { host.close(); }, .nextText = ""},
    {.label = "ClosesInsideTheLength",
     .afterRequest = [](Host& host) { sendAndClose(host, Host::lengthField(5).substr(0, 2)); },
     .nextText = ""},
    {.label = "ClosesAfterTheLength",
     .afterRequest = [](Host& host) { sendAndClose(host, Host::lengthField(5)); },
     .nextText = ""},
    {.label = "ClosesInsideTheBody",
     .afterRequest = [](Host& host) { sendAndClose(host, Host::framed(success("good")).substr(0, 20)); },
     .nextText = ""},
    {.label = "ClosesAfterTheReply",
     .afterRequest = [](Host& host) { sendAndClose(host, Host::framed(success("good"))); },
     .text = "good",
     .nextText = ""},
    {.label = "SendsAByteAtATime", .afterRequest = sendByteByByte, .text = "good"},
    {.label = "LengthZero", .afterRequest = [](Host& host) { host.send(Host::lengthField(0)); }},
    {.label = "LengthMinusOne", .afterRequest = [](Host& host) { host.send(Host::lengthField(-1)); }},
    {.label = "LowestLength",
     .afterRequest = [](Host& host) { host.send(Host::lengthField(std::numeric_limits<int>::min())); }},
    {.label = "BytesBehindANegativeLengthAreTheNextReply",
     .afterRequest = [](Host& host) { host.send(Host::lengthField(-7) + Host::framed(success("surplus"))); },
     .nextText = "surplus"},
    {.label = "TwoGibibytesAnnouncedThenClosed",
     .afterRequest =
         [](Host& host) { sendAndClose(host, Host::lengthField(std::numeric_limits<int>::max()) + "{"); },
     .nextText = ""},
    {.label = "BodyIsNotJson", .afterRequest = [](Host& host) { host.reply("\xff\0{]"s); }},
    {.label = "BodyHasAZeroByteBehindIt",
     .afterRequest = [](Host& host) { host.reply(success("good") + "\0"s); }},
    {.label = "BodyHasBytesThatAreNoUtf8", .afterRequest = [](Host& host) { host.reply(success("\xff")); }},
    {.label = "BodyHasBlanksAround",
     .afterRequest = [](Host& host) { host.reply(" \r\n" + success("good") + "\t\n"); },
     .text = "good"},
    {.label = "BodyBeginsWithAByteOrderMark",
     .afterRequest = [](Host& host) { host.reply("\xEF\xBB\xBF" + success("good")); },
     .text = "good"},
    {.label = "BodyIsAnArray",
     .afterRequest = [](Host& host) { host.reply(R"([{"success":true,"result":"x"}])"); }},
    {.label = "BodyIsAnEmptyObject", .afterRequest = [](Host& host) { host.reply("{}"); }},
    {.label = "SuccessIsAString",
     .afterRequest = [](Host& host) { host.reply(R"({"success":"true","result":"x"})"); }},
    {.label = "SuccessIsANumber",
     .afterRequest = [](Host& host) { host.reply(R"({"success":1,"result":"x"})"); }},
    {.label = "SuccessIsNull",
     .afterRequest = [](Host& host) { host.reply(R"({"success":null,"result":"x"})"); }},
    {.label = "ErrorIsANumber",
     .afterRequest = [](Host& host) { host.reply(R"({"success":false,"error":5})"); }},
    {.label = "ErrorIsAnObject",
     .afterRequest = [](Host& host) { host.reply(R"({"success":false,"error":{"a":"b"}})"); }},
    {.label = "ErrorIsEmpty",
     .afterRequest = [](Host& host) { host.reply(R"({"success":false,"error":""})"); }},
    {.label = "ResultIsANumber",
     .afterRequest = [](Host& host) { host.reply(successWith("42")); },
     .text = "{}"},
    {.label = "ResultIsNull",
     .afterRequest = [](Host& host) { host.reply(successWith("null")); },
     .text = "{}"},
    {.label = "ResultIsABoolean",
     .afterRequest = [](Host& host) { host.reply(successWith("true")); },
     .text = "{}"},
    {.label = "ResultIsMissing",
     .afterRequest = [](Host& host) { host.reply(R"({"success":true})"); },
     .text = "{}"},
    {.label = "ResultBeginsLikeJsonButIsNone",
     .afterRequest = [](Host& host) { host.reply(success("[x")); },
     .text = "null"},
    {.label = "ResultHasABlankBeforeItsBrace",
     .afterRequest = [](Host& host) { host.reply(success(" {}")); },
     .text = " {}"},
    {.label = "ResultIsEmpty", .afterRequest = [](Host& host) { host.reply(success("")); }},
    {.label = "ResultIsAnArray",
     .afterRequest = [](Host& host) { host.reply(successWith("[1,2]")); },
     .text = "[1, 2]"},
    {.label = "TwoRepliesInOnePacket",
     .afterRequest =
         [](Host& host) { host.send(Host::framed(success("good")) + Host::framed(success("surplus"))); },
     .text = "good",
     .nextText = "surplus"},
    {.label = "TwoRepliesInOnePacketThenCloses",
     .afterRequest =
         [](Host& host) {
           sendAndClose(host, Host::framed(success("good")) + Host::framed(success("surplus")));
         },
     .text = "good",
     .nextText = ""},
    {.label = "AReplyNobodyAskedFor",
     .beforeCall = [](Host& host) { host.reply(success("surplus")); },
     .afterRequest = [](Host& host) { host.reply(success("good")); },
     .text = "surplus",
     .nextText = "good"},
};

class HostFaults : public ServerWithHost, public testing::WithParamInterface<HostFault> {};

TEST_P(HostFaults, GiveTheExactReplyAtOnceAndLeaveTheServerAlive) {
  EXPECT_EQ(server_.ask(pingLine(0)), unknownMethodReply(0, "ping"));  // it has started
  const Elapsed elapsed;
  expectOutcome(GetParam(), host_, server_);
  EXPECT_LT(elapsed.time(), kAtOnce);
}

INSTANTIATE_TEST_SUITE_P(Each, HostFaults, testing::ValuesIn(kFaults),
                         [](const auto& test) { return std::string(test.param.label); });

// Faults that the server waits for, with waits so short that the tests can wait too.
const HostFault kSlowFaults[] = {
    {.label = "StaysSilent", .afterRequest = [](Host&) {}},
    {.label = "StopsInsideTheLength",
     .afterRequest = [](Host& host) { host.send(Host::lengthField(5).substr(0, 2)); }},
    {.label = "StopsAfterTheLength", .afterRequest = [](Host& host) { host.send(Host::lengthField(5)); }},
    {.label = "LengthIsLargerThanTheBody",
     .afterRequest = [](Host& host) { host.send(Host::lengthField(1000) + success("good")); }},
};

class SlowHostFaults : public ImpatientServerWithHost, public testing::WithParamInterface<HostFault> {};

TEST_P(SlowHostFaults, GiveTheExactReplyAndLeaveTheServerAlive) {
  expectOutcome(GetParam(), host_, server_);
}

INSTANTIATE_TEST_SUITE_P(Each, SlowHostFaults, testing::ValuesIn(kSlowFaults),
                         [](const auto& test) { return std::string(test.param.label); });

class HostReply : public ServerWithHost {};

TEST_F(HostReply, OfAFailureDoesNotStickToTheNextCall) {
  EXPECT_EQ(replyFor(1, failure("No.")), toolErrorReply(1, "No."));
  EXPECT_EQ(replyFor(2, success("yes")), textReply(2, "yes"));
  EXPECT_EQ(replyFor(3, failure("No.")), toolErrorReply(3, "No."));
  EXPECT_EQ(replyFor(4, R"({"success":false})"), textReply(4, ""));
  EXPECT_EQ(replyFor(5, failure("No.")), toolErrorReply(5, "No."));
  EXPECT_EQ(replyFor(6, success("")), textReply(6, ""));
}

TEST_F(HostReply, IsAwaitedBeforeAnyMessageBehindTheCallIsAnswered) {
  server_.write(callLine(1, "comment") + "\n" + pingLine(2) + "\n" + callLine(3, "address_name") + "\n" +
                pingLine(4) + "\n");
  EXPECT_EQ(host_.readLine(), R"({"args":[""],"request":"commentAtAddress:withReply:"})");
  server_.writeLine(pingLine(5));
  server_.waitUntilIdle();
  EXPECT_EQ(server_.pendingOutput(), "");
  host_.reply(success("first"));
  EXPECT_EQ(server_.readLine(), textReply(1, "first"));
  EXPECT_EQ(server_.readLine(), unknownMethodReply(2, "ping"));
  EXPECT_EQ(host_.readLine(), R"({"args":[""],"request":"nameOfAddress:withReply:"})");
  server_.waitUntilIdle();
  EXPECT_EQ(server_.pendingOutput(), "");
  host_.reply(success("second"));
  EXPECT_EQ(server_.readLine(), textReply(3, "second"));
  EXPECT_EQ(server_.readLine(), unknownMethodReply(4, "ping"));
  EXPECT_EQ(server_.readLine(), unknownMethodReply(5, "ping"));
}

// --- no host to speak of ---

TEST(AbsentHost, GivesEmptyTextsAndOneThatStartsLaterIsNeverConnectedTo) {
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path()});
  EXPECT_EQ(server.ask(pingLine(0)), unknownMethodReply(0, "ping"));  // it has started
  const Elapsed elapsed;
  EXPECT_EQ(server.ask(callLine(1, "comment")), textReply(1, ""));
  EXPECT_LT(elapsed.time(), kAtOnce);
  EXPECT_EQ(server.diagnostics(), kNoHost);
  ScriptedHost host(folder.socketPath());
  EXPECT_EQ(server.ask(callLine(2, "list_names")), textReply(2, ""));
  EXPECT_EQ(server.ask(callLine(3, "comment")), textReply(3, ""));
  EXPECT_LT(elapsed.time(), kAtOnce);
  EXPECT_EQ(host.refuseWaiting(), 0);
  EXPECT_EQ(server.diagnostics(), kNoHost + std::string(kNoHost) + kNoHost);
}

TEST(AbsentHost, ThatStartsBeforeTheFirstCallIsNotConnectedToEither) {
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path()});
  EXPECT_EQ(server.ask(pingLine(1)), unknownMethodReply(1, "ping"));
  ScriptedHost host(folder.socketPath());
  EXPECT_EQ(server.ask(callLine(2, "comment")), textReply(2, ""));
  EXPECT_EQ(host.refuseWaiting(), 0);
}

TEST(AbsentHost, WhoseSocketWasLeftBehindGivesEmptyTexts) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  host.stopListening();  // the socket's file stays behind
  ServerProcess server({.socketFolder = folder.path()});
  EXPECT_EQ(server.ask(callLine(1, "comment")), textReply(1, ""));
  EXPECT_EQ(server.ask(callLine(2, "comment")), textReply(2, ""));
  EXPECT_EQ(server.diagnostics(), kNoHost + std::string(kNoHost));
}

TEST(BusyHost, ThatCannotQueueTheConnectionHoldsNothingUp) {
  const TemporaryFolder folder;
  const ScriptedHost host(folder.socketPath());
  const Crowd crowd(folder.socketPath());
  const Elapsed elapsed;
  ServerProcess server({.socketFolder = folder.path()});
  EXPECT_EQ(server.ask(pingLine(1)), unknownMethodReply(1, "ping"));
  EXPECT_EQ(server.ask(callLine(2, "comment")), textReply(2, ""));
  EXPECT_LT(elapsed.time(), kAtOnce);
  EXPECT_EQ(server.diagnostics(), kNoHost);
}

TEST(LateHost, MayAcceptAfterTheRequestWasSent) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  ServerProcess server({.socketFolder = folder.path()});
  server.writeLine(callLine(1, "comment"));
  server.waitUntilIdle();
  host.accept();
  EXPECT_EQ(host.readLine(), R"({"args":[""],"request":"commentAtAddress:withReply:"})");
  host.reply(success("good"));
  EXPECT_EQ(server.readLine(), textReply(1, "good"));
  EXPECT_EQ(server.diagnostics(), "");
}

class HostThatHasClosed : public ServerWithHost {};

TEST_F(HostThatHasClosed, IsNotConnectedToAgainAndNeitherIsTheNextOne) {
  EXPECT_EQ(replyFor(1, success("good")), textReply(1, "good"));
  host_.close();
  const Elapsed elapsed;
  EXPECT_EQ(server_.ask(callLine(2, "comment")), textReply(2, ""));
  EXPECT_EQ(server_.ask(callLine(3, "list_names")), textReply(3, ""));
  EXPECT_EQ(host_.refuseWaiting(), 0);
  host_.stopListening();
  std::filesystem::remove(folder_.socketPath());
  ScriptedHost next(folder_.socketPath());
  EXPECT_EQ(server_.ask(callLine(4, "comment")), textReply(4, ""));
  EXPECT_EQ(next.refuseWaiting(), 0);
  EXPECT_LT(elapsed.time(), kAtOnce);
}

/// A host in a process of its own that reads the request, sends half a reply and is killed.
pid_t startDoomedHost(const std::string& socketPath) {
  ScriptedHost host(socketPath);
  const pid_t child = ::fork();
  if (child != 0) return child;
  host.accept();
  host.readLine();
  host.send(ScriptedHost::framed(success("good")).substr(0, 15));
  ::raise(SIGKILL);
  ::_exit(1);
}

TEST(KilledHost, InMidReplyGivesEmptyTexts) {
  const TemporaryFolder folder;
  const pid_t host = startDoomedHost(folder.socketPath());
  ServerProcess server({.socketFolder = folder.path()});
  EXPECT_EQ(server.ask(callLine(1, "comment")), textReply(1, ""));
  int status = 0;
  ASSERT_EQ(::waitpid(host, &status, 0), host);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
  EXPECT_EQ(server.ask(callLine(2, "comment")), textReply(2, ""));
  EXPECT_EQ(server.diagnostics(), "");
}

}  // namespace
