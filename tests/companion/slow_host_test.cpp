// Hosts that keep a call waiting: how long the companion waits for them.

#include "companion/call/scripted_call.h"
#include "companion/companion_process.h"
#include "support/scripted_host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using Clock = std::chrono::steady_clock;

/// Longer than any reply that the host below finishes.
constexpr int kEndlessLength = 1000000;

/// Waits for a request, passing over connections that bring none.
void acceptRequest(ScriptedHost& host) {
  std::string request;
  while (request.empty()) {
    if (host.isConnected()) host.close();
    host.accept();
    request = host.readLine();
  }
}

TEST(DoctorWithASlowHost, EndsWithin45SecondsWhateverTheHostSends) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  const Clock::time_point start = Clock::now();
  auto outcome = std::async(std::launch::async, [&folder] {
    return runCompanion(folder, {"doctor", "--call"});
  });
  acceptRequest(host);
  host.send(ScriptedHost::lengthField(kEndlessLength));
  // A byte every 3 seconds keeps the server waiting for ever: it gives up after a pause of 5.
  while (outcome.wait_for(3s) != std::future_status::ready && Clock::now() - start < 80s) host.send("x");
  const Outcome result = outcome.get();
  EXPECT_LT(Clock::now() - start, 45s);
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output, HasSubstr("\nwrong  call: no reply within 38 seconds. Remedy: "));
}

TEST(CallWithASlowHost, IsAnErrorWhenTheServerGivesUp) {
  ScriptedCall call;
  call.host.send(ScriptedHost::lengthField(kEndlessLength));
  call.session.waitForDiagnostic(
      "orvane-mcp: line 1: the host did not answer within 5 seconds; it may still carry the call out\n");

  // A server of its own, so that a late answer cannot be taken for this call's.
  call.session.writeLine("current_document");
  acceptRequest(call.host);
  call.host.reply(R"({"success": true, "result": "the second answer"})");
  EXPECT_EQ(call.session.readLine(), "the second answer");
  call.session.closeInput();
  EXPECT_EQ(call.session.waitForEnd(), 1 << 8);
}

}  // namespace
