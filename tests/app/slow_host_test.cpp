// Faults that cost the server's real limits: 35 seconds for a reply to begin, 5 seconds for each pause within
// one.

#include "app/host_fault.h"
#include "support/server_process.h"
#include "support/temporary_folder.h"
#include "support/waiting.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

constexpr const char* kGood = R"({"success":true,"result":"good"})";

using Host = ScriptedHost;

const HostFault kSlowFaults[] = {
    {.label = "StaysSilent", .afterRequest = [](Host&) {}, .text = "", .nextText = "next"},
    {.label = "StopsInsideTheLength",
     .afterRequest = [](Host& host) { host.send(Host::lengthField(5).substr(0, 2)); },
     .text = "",
     .nextText = "next"},
    {.label = "StopsAfterTheLength",
     .afterRequest = [](Host& host) { host.send(Host::lengthField(5)); },
     .text = "",
     .nextText = "next"},
    {.label = "LengthIsLargerThanTheBody",
     .afterRequest = [](Host& host) { host.send(Host::lengthField(1000) + kGood); },
     .text = "",
     .nextText = "next"},
};

class SlowHostFaults : public testing::TestWithParam<std::tuple<HostFault, ShapeCall>> {};

TEST_P(SlowHostFaults, GiveTheExactReplyAndLeaveTheServerAlive) {
  const auto& [fault, call] = GetParam();
  expectOutcome(fault, call);
}

INSTANTIATE_TEST_SUITE_P(Each, SlowHostFaults,
                         testing::Combine(testing::ValuesIn(kSlowFaults), testing::ValuesIn(shapeCalls())),
                         [](const auto& test) {
                           return std::string(std::get<0>(test.param).label) + "In" +
                                  std::get<1>(test.param).shape;
                         });

constexpr const char* kFirstCall = R"({"id":1,"method":"tools/call","params":{"name":"current_address"}})";
constexpr const char* kSecondCall = R"({"id":2,"method":"tools/call","params":{"name":"current_address"}})";
constexpr const char* kThirdCall = R"({"id":3,"method":"tools/call","params":{"name":"current_address"}})";

TEST(LateReply, IsReadByTheNextRequest) {
  const TemporaryFolder folder;
  Host host(folder.socketPath());
  ServerProcess server({.socketFolder = folder.path()});
  host.accept();
  server.writeLine(kFirstCall);
  host.readLine();
  EXPECT_EQ(server.readLine(), replyLine(1, ""));  // given up after 35 seconds
  host.reply(R"({"success":true,"result":"late"})");
  server.writeLine(kSecondCall);
  host.readLine();
  EXPECT_EQ(server.readLine(), replyLine(2, "late"));
  host.reply(R"({"success":true,"result":"second"})");
  server.writeLine(kThirdCall);
  host.readLine();
  EXPECT_EQ(server.readLine(), replyLine(3, "second"));
}

/// Waits before the host goes on: the wait itself is what is tested, and nothing announces its end.
void letPass(std::chrono::seconds seconds) {
  std::this_thread::sleep_for(seconds);
}

TEST(SlowReply, ThatBeginsAfter32SecondsIsStillRead) {
  const TemporaryFolder folder;
  Host host(folder.socketPath());
  ServerProcess server({.socketFolder = folder.path()});
  host.accept();
  server.writeLine(kFirstCall);
  host.readLine();
  letPass(std::chrono::seconds(32));
  host.reply(kGood);
  EXPECT_EQ(server.readLine(), replyLine(1, "good"));
}

TEST(SlowReply, WithPausesBelowFiveSecondsIsReadHoweverLongItTakes) {
  const TemporaryFolder folder;
  Host host(folder.socketPath());
  ServerProcess server({.socketFolder = folder.path()});
  host.accept();
  server.writeLine(kFirstCall);
  host.readLine();
  const std::string reply = Host::framed(kGood);
  for (const std::size_t at : {0U, 2U, 4U, 20U}) {
    host.send(reply.substr(at, at == 20 ? std::string::npos : (at < 4 ? 2 : 16)));
    if (at != 20) letPass(std::chrono::seconds(3));
  }
  EXPECT_EQ(server.readLine(), replyLine(1, "good"));
}

TEST(SurplusReply, IsReadAfterThirtySecondsWhenTheHostSendsNothingNew) {
  const TemporaryFolder folder;
  Host host(folder.socketPath());
  ServerProcess server({.socketFolder = folder.path()});
  host.accept();
  server.writeLine(kFirstCall);
  host.readLine();
  host.send(Host::framed(kGood) + Host::framed(R"({"success":true,"result":"surplus"})"));
  EXPECT_EQ(server.readLine(), replyLine(1, "good"));
  server.writeLine(kSecondCall);
  host.readLine();
  EXPECT_EQ(server.readLine(), replyLine(2, "surplus"));
}

}  // namespace
