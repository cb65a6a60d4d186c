// The run loop, call by call.

#include "server/mcp_server.h"
#include "server/messages.h"
#include "server/scripted_calls.h"
#include "server/stdio_transport.h"
#include "support/stdio_pipes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

using testing::ElementsAre;

namespace {

constexpr const char* kSelect = "select(1, {0}, none, none, none) = ";

class Run : public testing::Test {
 protected:
  /// Runs the loop over the script, behind flags that are read and set without trouble.
  void play(std::vector<ScriptedCall> script) {
    script.insert(script.begin(), {flagsAre(O_RDWR), flagsAreSet()});
    playAll(std::move(script));
    ASSERT_GE(calls_.size(), 2U);
    calls_.erase(calls_.begin(), calls_.begin() + 2);
  }

  void playAll(std::vector<ScriptedCall> script) {
    const CapturedDescriptor diagnostics(2);
    const ScriptedCalls calls(std::move(script));
    result_ = run(server_);
    calls_ = calls.record();
    replies_ = calls.output();
    diagnostics_ = diagnostics.text();
    EXPECT_TRUE(calls.isOver());
  }

  /// A call during which `running` becomes false.
  ScriptedCall stopping(ScriptedCall call) {
    call.meanwhile = [this] { server_.running = false; };
    return call;
  }

  McpServer server_;
  int result_ = -1;
  std::vector<std::string> calls_;
  std::string replies_;
  std::string diagnostics_;
};

std::string select(const std::string& result) {
  return kSelect + result;
}

TEST_F(Run, MakesDescriptor0NonBlockingBeforeItWaits) {
  playAll({flagsAre(O_RDWR | O_APPEND), flagsAreSet(), inputIsReady(), inputEnds()});
  EXPECT_THAT(calls_,
              ElementsAre("fcntl(0, F_GETFL) = " + std::to_string(O_RDWR | O_APPEND),
                          "fcntl(0, F_SETFL, " + std::to_string(O_RDWR | O_APPEND | O_NONBLOCK) + ") = 0",
                          select("1"), "read(0, 4096) = 0"));
  EXPECT_EQ(result_, 0);
  EXPECT_EQ(diagnostics_, "");
}

TEST_F(Run, DoesNotMindWhenTheFlagsCannotBeReadOrSet) {
  playAll({flagsAreUnknown(), flagsCannotBeSet(), inputIsReady(), reads(ping(1) + "\n"), inputEnds()});
  EXPECT_EQ(result_, 0);
  EXPECT_EQ(replies_, pong(1));
  EXPECT_EQ(diagnostics_, "");
}

TEST_F(Run, SetsRunningBeforeItWaits) {
  bool running = false;
  ScriptedCall ready = inputIsReady();
  ready.meanwhile = [this, &running] { running = server_.running; };
  play({ready, inputEnds()});
  EXPECT_TRUE(running);
  EXPECT_TRUE(server_.running);
}

TEST_F(Run, WaitsAgainWhenAllInputIsRead) {
  play({inputIsReady(), reads(ping(1) + "\n"), readFails(EAGAIN), inputIsReady(), reads(ping(2) + "\n"),
        readFails(EAGAIN), inputIsReady(), inputEnds()});
  const std::string write = "write(1, " + std::to_string(pong(1).size()) + ")";
  const std::string read = "read(0, 4096) = " + std::to_string(ping(1).size() + 1);
  EXPECT_THAT(calls_, ElementsAre(select("1"), read, write, "read(0, 4096) = EAGAIN",  //
                                  select("1"), read, write, "read(0, 4096) = EAGAIN",  //
                                  select("1"), "read(0, 4096) = 0"));
  EXPECT_EQ(replies_, pong(1) + pong(2));
  EXPECT_EQ(result_, 0);
}

TEST_F(Run, ReturnsZeroAfterAReadFailure) {
  play({inputIsReady(), readFails(EIO)});
  EXPECT_EQ(result_, 0);
  EXPECT_EQ(diagnostics_, "read(stdin) error: Input/output error\n");
  EXPECT_EQ(replies_, "");
}

TEST_F(Run, EndsWhenAReadIsInterrupted) {
  play({inputIsReady(), reads(ping(1) + "\n"), readFails(EINTR)});
  EXPECT_EQ(result_, 0);
  EXPECT_EQ(diagnostics_, "read(stdin) error: Interrupted system call\n");
  EXPECT_EQ(replies_, pong(1));
}

TEST_F(Run, GoesOnWhenASelectIsInterrupted) {
  play({selectFails(EINTR), selectFails(EINTR), inputIsReady(), reads(ping(1) + "\n"), inputEnds()});
  EXPECT_EQ(calls_[0], select("EINTR"));
  EXPECT_EQ(calls_[1], select("EINTR"));
  EXPECT_EQ(calls_[2], select("1"));
  EXPECT_EQ(replies_, pong(1));
  EXPECT_EQ(result_, 0);
  EXPECT_EQ(diagnostics_, "");
}

TEST_F(Run, ReadsNothingAfterAnInterruptedSelect) {
  // The set still holds descriptor 0 then.
  play({selectFails(EINTR), inputIsReady(), inputEnds()});
  EXPECT_THAT(calls_, ElementsAre(select("EINTR"), select("1"), "read(0, 4096) = 0"));
}

TEST_F(Run, ReturnsOneAfterAnyOtherSelectFailure) {
  const std::pair<int, const char*> failures[] = {
      {EBADF, "select() error: Bad file descriptor"},
      {EINVAL, "select() error: Invalid argument"},
      {ENOMEM, "select() error: Cannot allocate memory"},
      {EAGAIN, "select() error: Resource temporarily unavailable"},
  };
  for (const auto& [error, text] : failures) {
    play({selectFails(error)});
    EXPECT_EQ(result_, 1) << text;
    EXPECT_EQ(diagnostics_, text);
    EXPECT_EQ(replies_, "") << text;
    EXPECT_TRUE(server_.running) << text;
  }
}

TEST_F(Run, ReadsOnlyWhenDescriptor0IsInTheSet) {
  play({selectReturnsWithoutInput(0), selectReturnsWithoutInput(1), inputIsReady(), inputEnds()});
  EXPECT_THAT(calls_, ElementsAre(select("0"), select("1"), select("1"), "read(0, 4096) = 0"));
}

TEST_F(Run, ReturnsZeroWhenRunningIsFoundFalse) {
  play({stopping(inputIsReady()), reads(ping(1) + "\n"), readFails(EAGAIN)});
  EXPECT_EQ(result_, 0);
  EXPECT_EQ(replies_, pong(1));
}

TEST_F(Run, FindsRunningFalseAfterAnInterruptedSelectToo) {
  play({stopping(selectFails(EINTR))});
  EXPECT_EQ(result_, 0);
  EXPECT_EQ(diagnostics_, "");
}

TEST_F(Run, FindsRunningFalseAfterASelectWithoutInputToo) {
  play({stopping(selectReturnsWithoutInput(0))});
  EXPECT_EQ(result_, 0);
}

TEST_F(Run, ReportsASelectFailureEvenWhenRunningIsFalse) {
  play({stopping(selectFails(EBADF))});
  EXPECT_EQ(result_, 1);
  EXPECT_EQ(diagnostics_, "select() error: Bad file descriptor");
}

TEST_F(Run, MayBeStartedAgain) {
  play({stopping(inputIsReady()), readFails(EAGAIN)});
  EXPECT_FALSE(server_.running);
  play({inputIsReady(), inputEnds()});
  EXPECT_TRUE(server_.running);
}

TEST_F(Run, GoesOnAfterAWriteFailure) {
  play({inputIsReady(), reads(ping(1) + "\n" + ping(2) + "\n"), writeFails(EPIPE), readFails(EAGAIN),
        inputIsReady(), inputEnds()});
  EXPECT_EQ(result_, 0);
  EXPECT_EQ(replies_, pong(2));
  EXPECT_EQ(diagnostics_, "write(stdout) error: Broken pipe\n");
}

}  // namespace
