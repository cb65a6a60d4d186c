// What every command of orvane-mcp does with its output: at a terminal, in a file, and where it cannot be
// written.

#include "companion/companion_process.h"
#include "companion/terminal.h"
#include "support/scripted_host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <future>

namespace {

using testing::HasSubstr;

/// All commands that print something, each with a command line on which nothing else fails.
const std::vector<std::vector<std::string>> kPrinting = {{"--help"},
                                                         {"--version"},
                                                         {"call", "--help"},
                                                         {"call", "current_document"},
                                                         {"config", "--list"},
                                                         {"config", "cursor"},
                                                         {"doctor"},
                                                         {"doctor", "--json"},
                                                         {"serve", "--help"},
                                                         {"tools"},
                                                         {"tools", "goto_address"}};

/// Runs `orvane-mcp` with its standard output on `output`.
Outcome runWithOutput(const TemporaryFolder& folder, const std::vector<std::string>& arguments, int output) {
  ServerProcess process({.socketFolder = folder.path(),
                         .arguments = arguments,
                         .environment = {"HOME=" + folder.path()},
                         .standardOutput = output,
                         .program = ORVANE_COMPANION});
  process.closeInput();
  const int status = process.waitForEnd();
  return {
      .status = WIFEXITED(status) ? WEXITSTATUS(status) : -1, .output = {}, .error = process.diagnostics()};
}

/// Answers every request that comes until `client` is done.
template <typename Result>
Result answerUntilDone(ScriptedHost& host, std::future<Result> client) {
  host.accept();
  while (!host.readLine().empty()) host.reply(R"({"success": true, "result": "here"})");
  return client.get();
}

TEST(Output, ThatCannotBeWrittenEndsEveryCommandWithStatusOne) {
  const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
  for (const std::vector<std::string>& arguments : kPrinting) {
    const TemporaryFolder folder;
    ScriptedHost host(folder.socketPath());
    auto run = [&] { return runWithOutput(folder, arguments, full); };
    const Outcome outcome = arguments.back() == "current_document"
                                ? answerUntilDone(host, std::async(std::launch::async, run))
                                : run();
    EXPECT_EQ(outcome.status, 1) << testing::PrintToString(arguments);
    EXPECT_EQ(outcome.error, "orvane-mcp: cannot write standard output: No space left on device\n")
        << testing::PrintToString(arguments);
  }
  ::close(full);
}

TEST(Output, ThatIsClosedCannotBeWritten) {
  const TemporaryFolder folder;
  ServerProcess shell({.socketFolder = folder.path(),
                       .arguments = {"-c", "exec \"$0\" --version >&-", ORVANE_COMPANION},
                       .program = "/bin/sh"});
  EXPECT_EQ(WEXITSTATUS(shell.waitForEnd()), 1);
  EXPECT_THAT(shell.diagnostics(), HasSubstr("cannot write standard output: Bad file descriptor\n"));
}

TEST(Output, ThatNobodyReadsIsNoReasonToComplain) {
  const TemporaryFolder folder;
  ServerProcess process({.socketFolder = folder.path(), .arguments = {"tools"}, .program = ORVANE_COMPANION});
  process.closeOutput();
  EXPECT_NE(process.waitForEnd(), 0);
  EXPECT_EQ(process.diagnostics(), "");
}

TEST(Output, OfASessionThatCannotBeWrittenIsAFailure) {
  const TemporaryFolder folder;
  const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
  ServerProcess process({.socketFolder = folder.path(),
                         .arguments = {"call", "--repl"},
                         .standardOutput = full,
                         .program = ORVANE_COMPANION});
  process.writeLine("help");
  process.closeInput();
  EXPECT_EQ(WEXITSTATUS(process.waitForEnd()), 1);
  EXPECT_EQ(process.diagnostics(), "orvane-mcp: cannot write standard output: No space left on device\n");
  ::close(full);
}

/// What `orvane-mcp call current_document` prints for `reply` without a terminal.
std::string printed(const std::string& reply) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  auto outcome = std::async(std::launch::async, [&folder] {
    return runCompanion(folder, {"call", "current_document"});
  });
  host.accept();
  host.readLine();
  host.reply(reply);
  return outcome.get().output;
}

/// The same on a terminal, standard error included when that is one too.
std::string shown(const std::string& reply, bool withError = false) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  Terminal terminal;
  ServerOptions options = atTerminal(folder, terminal, {"call", "current_document"});
  if (withError) {
    options.arguments = {"-c", "exec \"$0\" call current_document 2>&1", ORVANE_COMPANION};
    options.program = "/bin/sh";
  }
  ServerProcess process(options);
  terminal.closeProgramEnd();
  host.accept();
  host.readLine();
  host.reply(reply);
  return terminal.rest();
}

TEST(CallOutput, GoesOutToItsEndWithZeroBytes) {
  EXPECT_EQ(printed(R"({"success": true, "result": "a\u0000b and more"})"),
            std::string("a\0b and more\n", 13));
}

TEST(CallOutput, HoldsControlBytesAsTheyAreWithoutATerminal) {
  EXPECT_EQ(printed(R"({"success": true, "result": "\u001b[2J\u009b\r"})"), "\x1b[2J\xc2\x9b\r\n");
}

TEST(CallOutput, ShowsControlBytesOnATerminal) {
  EXPECT_EQ(shown(R"({"success": true, "result": "\u001b]0;title\u0007\u0000\u009b2J\r é\tx\ny"})"),
            "^[]0;title^G^@<9B>2J^M \xc3\xa9\tx\r\ny\r\n");
}

TEST(CallOutput, ShowsControlBytesOfErrorsOnATerminal) {
  EXPECT_EQ(shown(R"({"success": false, "error": "\u001b[2Jwrong"})", true), "orvane-mcp: ^[[2Jwrong\r\n");
}

TEST(CallOutput, KeepsDigitsWhenItIndents) {
  EXPECT_EQ(shown(R"({"success": true, "result": [1.1000000000000001, 18446744073709551615]})"),
            "[\r\n  1.1000000000000001,\r\n  18446744073709551615\r\n]\r\n");
}

TEST(CallOutput, HoldsAResultThatIsNotUtf8) {
  // The server passes half of a pair of code units on as three bytes.
  EXPECT_EQ(printed(R"({"success": true, "result": ["a\ud800b"]})"),
            "[\"a\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd"
            "b\"]\n");
}

TEST(CallOutput, HoldsALargeObject) {
  std::string members = "\"0\": \"\"";
  for (int member = 1; member < 80000; ++member) members += ", \"" + std::to_string(member) + "\": \"name\"";
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  ServerProcess process(
      {.socketFolder = folder.path(), .arguments = {"call", "list_procedures"}, .program = ORVANE_COMPANION});
  host.accept();
  host.readLine();
  host.reply("{\"success\": true, \"result\": {" + members + "}}");
  const std::string output = process.readLine();
  EXPECT_EQ(std::count(output.begin(), output.end(), ','), 79999);
}

}  // namespace
