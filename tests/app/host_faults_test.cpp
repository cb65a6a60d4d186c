// Everything that a host can do wrong, in each shape of tool: the exact reply, and the state of the next
// call.

#include "app/host_fault.h"
#include "support/server_process.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <limits>

namespace {

constexpr const char* kGood = R"({"success":true,"result":"good"})";
constexpr const char* kSurplus = R"({"success":true,"result":"surplus"})";

using Host = ScriptedHost;

void sendAndClose(Host& host, const std::string& bytes) {
  host.send(bytes);
  host.close();
}

void sendByteByByte(Host& host) {
  for (const char byte : Host::framed(kGood)) host.send(std::string_view(&byte, 1));
}

const HostFault kFaults[] = {
    {.label = "ClosesBeforeTheRequest",
     .beforeCall = [](Host& host) { host.close(); },
     .text = "",
     .nextText = ""},
    {.label = "ClosesBeforeTheReply",
     .afterRequest = [](Host& host) { host.close(); },
     .text = "",
     .nextText = ""},
    {.label = "ClosesInsideTheLength",
     .afterRequest = [](Host& host) { sendAndClose(host, Host::lengthField(5).substr(0, 2)); },
     .text = "",
     .nextText = ""},
    {.label = "ClosesAfterTheLength",
     .afterRequest = [](Host& host) { sendAndClose(host, Host::lengthField(5)); },
     .text = "",
     .nextText = ""},
    {.label = "ClosesInsideTheBody",
     .afterRequest = [](Host& host) { sendAndClose(host, Host::framed(kGood).substr(0, 20)); },
     .text = "",
     .nextText = ""},
    {.label = "ClosesAfterTheReply",
     .afterRequest = [](Host& host) { sendAndClose(host, Host::framed(kGood)); },
     .text = "good",
     .nextText = ""},
    {.label = "SendsAByteAtATime", .afterRequest = sendByteByByte, .text = "good", .nextText = "next"},
    {.label = "LengthZero",
     .afterRequest = [](Host& host) { host.send(Host::lengthField(0)); },
     .text = "",
     .nextText = "next"},
    {.label = "LengthMinusOne",
     .afterRequest = [](Host& host) { host.send(Host::lengthField(-1)); },
     .text = "",
     .nextText = "next"},
    {.label = "LowestLength",
     .afterRequest = [](Host& host) { host.send(Host::lengthField(std::numeric_limits<int>::min())); },
     .text = "",
     .nextText = "next"},
    {.label = "BytesBehindANegativeLengthAreTheNextReply",
     .afterRequest = [](Host& host) { host.send(Host::lengthField(-7) + Host::framed(kSurplus)); },
     .text = "",
     .nextText = "surplus"},
    {.label = "TwoGibibytesAnnouncedThenClosed",
     .afterRequest =
         [](Host& host) { sendAndClose(host, Host::lengthField(std::numeric_limits<int>::max()) + "{"); },
     .text = "",
     .nextText = ""},
    {.label = "BodyIsNotJson",
     .afterRequest = [](Host& host) { host.reply("\xff\x00{]"); },
     .text = "",
     .nextText = "next"},
    {.label = "BodyIsAnArray",
     .afterRequest = [](Host& host) { host.reply(R"([{"success":true,"result":"x"}])"); },
     .text = "",
     .nextText = "next"},
    {.label = "BodyIsAnEmptyObject",
     .afterRequest = [](Host& host) { host.reply("{}"); },
     .text = "",
     .nextText = "next"},
    {.label = "SuccessIsAString",
     .afterRequest = [](Host& host) { host.reply(R"({"success":"true","result":"x"})"); },
     .text = "",
     .nextText = "next"},
    {.label = "SuccessIsANumber",
     .afterRequest = [](Host& host) { host.reply(R"({"success":1,"result":"x"})"); },
     .text = "",
     .nextText = "next"},
    {.label = "SuccessIsNull",
     .afterRequest = [](Host& host) { host.reply(R"({"success":null,"result":"x"})"); },
     .text = "",
     .nextText = "next"},
    {.label = "ErrorIsANumber",
     .afterRequest = [](Host& host) { host.reply(R"({"success":false,"error":5})"); },
     .text = "",
     .nextText = "next"},
    {.label = "ErrorIsAnObject",
     .afterRequest = [](Host& host) { host.reply(R"({"success":false,"error":{"a":"b"}})"); },
     .text = "",
     .nextText = "next"},
    {.label = "ErrorIsEmpty",
     .afterRequest = [](Host& host) { host.reply(R"({"success":false,"error":""})"); },
     .text = "",
     .nextText = "next"},
    {.label = "ResultIsANumber",
     .afterRequest = [](Host& host) { host.reply(R"({"success":true,"result":42})"); },
     .text = "{}",
     .nextText = "next"},
    {.label = "ResultIsNull",
     .afterRequest = [](Host& host) { host.reply(R"({"success":true,"result":null})"); },
     .text = "{}",
     .nextText = "next"},
    {.label = "ResultIsABoolean",
     .afterRequest = [](Host& host) { host.reply(R"({"success":true,"result":true})"); },
     .text = "{}",
     .nextText = "next"},
    {.label = "ResultIsMissing",
     .afterRequest = [](Host& host) { host.reply(R"({"success":true})"); },
     .text = "{}",
     .nextText = "next"},
    {.label = "ResultBeginsLikeJsonButIsNone",
     .afterRequest = [](Host& host) { host.reply(R"({"success":true,"result":"[x"})"); },
     .text = "null",
     .nextText = "next"},
    {.label = "ResultHasABlankBeforeItsBrace",
     .afterRequest = [](Host& host) { host.reply(R"({"success":true,"result":" {}"})"); },
     .text = " {}",
     .nextText = "next"},
    {.label = "ResultIsEmpty",
     .afterRequest = [](Host& host) { host.reply(R"({"success":true,"result":""})"); },
     .text = "",
     .nextText = "next"},
    {.label = "ResultIsAnArray",
     .afterRequest = [](Host& host) { host.reply(R"({"success":true,"result":[1,2]})"); },
     .text = "[1, 2]",
     .nextText = "next"},
    {.label = "TwoRepliesInOnePacket",
     .afterRequest = [](Host& host) { host.send(Host::framed(kGood) + Host::framed(kSurplus)); },
     .text = "good",
     .nextText = "surplus"},
    {.label = "AReplyNobodyAskedFor",
     .beforeCall = [](Host& host) { host.reply(kSurplus); },
     .afterRequest = [](Host& host) { host.reply(kGood); },
     .text = "surplus",
     .nextText = "good"},
};

class HostFaults : public testing::TestWithParam<std::tuple<HostFault, ShapeCall>> {};

TEST_P(HostFaults, GiveTheExactReplyAndLeaveTheServerAlive) {
  const auto& [fault, call] = GetParam();
  expectOutcome(fault, call);
}

std::string caseName(const testing::TestParamInfo<std::tuple<HostFault, ShapeCall>>& test) {
  return std::string(std::get<0>(test.param).label) + "In" + std::get<1>(test.param).shape;
}

INSTANTIATE_TEST_SUITE_P(Each, HostFaults,
                         testing::Combine(testing::ValuesIn(kFaults), testing::ValuesIn(shapeCalls())),
                         caseName);

// --- no host to speak of ---

class NoHost : public testing::TestWithParam<ShapeCall> {};

std::string call(int id, const ShapeCall& shape) {
  return R"({"id":)" + std::to_string(id) + R"(,"method":"tools/call","params":)" + shape.call + "}";
}

TEST_P(NoHost, AbsentGivesEmptyTextsAlsoAfterOneHasStarted) {
  const TemporaryFolder folder;
  ServerProcess server({.socketFolder = folder.path()});
  EXPECT_EQ(server.ask(call(1, GetParam())), replyLine(1, ""));
  ScriptedHost host(folder.socketPath());
  EXPECT_EQ(server.ask(call(2, GetParam())), replyLine(2, ""));
  EXPECT_TRUE(server.isAlive());
}

TEST_P(NoHost, RefusingGivesEmptyTexts) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  host.stopListening();  // the socket's file stays behind
  ServerProcess server({.socketFolder = folder.path()});
  EXPECT_EQ(server.ask(call(1, GetParam())), replyLine(1, ""));
  EXPECT_EQ(server.ask(call(2, GetParam())), replyLine(2, ""));
  EXPECT_TRUE(server.isAlive());
}

/// A host in a process of its own that reads the request, sends half a reply and is killed.
pid_t startDoomedHost(const std::string& socketPath) {
  ScriptedHost host(socketPath);
  const pid_t child = ::fork();
  if (child != 0) return child;
  host.accept();
  host.readLine();
  host.send(ScriptedHost::framed(kGood).substr(0, 15));
  ::raise(SIGKILL);
  ::_exit(1);
}

TEST_P(NoHost, KilledInMidReplyGivesEmptyTexts) {
  const TemporaryFolder folder;
  const pid_t host = startDoomedHost(folder.socketPath());
  ServerProcess server({.socketFolder = folder.path()});
  EXPECT_EQ(server.ask(call(1, GetParam())), replyLine(1, ""));
  int status = 0;
  ASSERT_EQ(::waitpid(host, &status, 0), host);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
  EXPECT_EQ(server.ask(call(2, GetParam())), replyLine(2, ""));
  EXPECT_TRUE(server.isAlive());
}

INSTANTIATE_TEST_SUITE_P(Each, NoHost, testing::ValuesIn(shapeCalls()),
                         [](const auto& test) { return std::string(test.param.shape); });

}  // namespace
