// `orvane-mcp call --repl` as a script.

#include "companion/call/scripted_call.h"
#include "companion/companion_process.h"
#include "support/scripted_host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <future>
#include <string>

namespace {

using testing::HasSubstr;
namespace fs = std::filesystem;

TEST(CallScript, MakesOneCallAfterAnotherAndSurvivesMistakes) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  std::future<Outcome> outcome =
      startScript(folder,
                  "current_document\nno_such_tool\n\ncomment \"open\n"
                  "set_comment address=1 comment=\"two words\"\nquit\ncurrent_document\n");
  host.accept();
  EXPECT_THAT(host.readLine(), HasSubstr("currentDocument"));
  host.reply(R"({"success": true, "result": "first"})");
  EXPECT_THAT(host.readLine(), HasSubstr(R"(["two words","1"])"));
  host.reply(R"({"success": false, "error": "refused"})");
  const Outcome result = outcome.get();
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output, "first\n");
  EXPECT_EQ(result.error,
            "orvane-mcp: line 2: there is no tool \"no_such_tool\"; help names them\n"
            "orvane-mcp: line 4: a quotation is not closed\n"
            "orvane-mcp: line 5: refused\n");
}

TEST(CallScript, TakesArgumentsAsJsonToo) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  std::future<Outcome> outcome =
      startScript(folder, " set_comment  {\"address\": \"1\", \"comment\": \"\\\"two\\\" words\"} \n");
  host.accept();
  EXPECT_THAT(host.readLine(), HasSubstr(R"(["\"two\" words","1"])"));
  host.reply(R"({"success": true, "result": "done"})");
  EXPECT_EQ(outcome.get().output, "done\n");
}

TEST(CallScript, NamesTheToolsAndTheirArguments) {
  const TemporaryFolder folder;
  const Outcome outcome = runScript(folder, "help\nhelp goto_address\n");
  EXPECT_THAT(outcome.output, HasSubstr("\nsearch_strings [case_sensitive=boolean] [pattern=string]\n"));
  EXPECT_THAT(outcome.output,
              HasSubstr("\n  address (string): The address in hexadecimal, or a label name.\n"));
}

TEST(CallScript, ReachesAHostThatIsOpenedLater) {
  const TemporaryFolder folder;
  ServerProcess session(scriptIn(folder));
  session.writeLine("current_document");
  session.waitForDiagnostic("no host answers");
  ScriptedHost host(folder.socketPath());
  session.writeLine("current_document");
  host.accept();
  answer(host);
  EXPECT_EQ(session.readLine(), "here");
}

TEST(CallScript, TellsThatALineEndsInABackslash) {
  const TemporaryFolder folder;
  const Outcome outcome = runScript(folder, "comment address=a\\\nhelp \"a\\\n");
  EXPECT_EQ(outcome.error,
            "orvane-mcp: line 1: nothing is behind the backslash at the end\n"
            "orvane-mcp: line 2: nothing is behind the backslash at the end\n");
}

TEST(CallScript, TakesABackslashThatQuotesOrIsQuoted) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  std::future<Outcome> outcome =
      startScript(folder, "comment address=a\\\\\ncomment address='a\\'\ncomment address=\"a\\\\\"\n");
  host.accept();
  for (int line = 0; line < 3; ++line) {
    EXPECT_EQ(host.readLine(), R"({"args":["a\\"],"request":"commentAtAddress:withReply:"})");
    host.reply(kAnswer);
  }
  EXPECT_EQ(outcome.get().status, 0);
}

TEST(CallScript, RefusesAZeroByte) {
  const TemporaryFolder folder;
  const Outcome outcome = runScript(folder, std::string("current_document\0 x=1\n", 22));
  EXPECT_EQ(outcome.error, "orvane-mcp: line 1: the line holds a zero byte\n");
  EXPECT_EQ(outcome.status, 1);
}

TEST(CallScript, MayHaveCarriageReturnsBeforeItsLineFeeds) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  std::future<Outcome> outcome = startScript(
      folder, "\r\ncomment address=1\r\ncomment {\"address\": \"2\"}\r\nquit\r\ncurrent_document\r\n");
  host.accept();
  EXPECT_THAT(host.readLine(), HasSubstr(R"(["1"])"));
  host.reply(kAnswer);
  EXPECT_THAT(host.readLine(), HasSubstr(R"(["2"])"));
  host.reply(kAnswer);
  const Outcome result = outcome.get();
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(result.output, "here\nhere\n");
  EXPECT_EQ(result.status, 0);
}

TEST(CallScript, EndsWithStatusOneWhenALineFailed) {
  const TemporaryFolder folder;
  EXPECT_EQ(runScript(folder, "help\nquit\n").status, 0);
  EXPECT_EQ(runScript(folder, "help no_such_tool\nhelp\n").status, 1);
  const Outcome outcome = runScript(folder, "\n\ncurrent_document");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.error, testing::StartsWith("orvane-mcp: line 3: no host answers at "));
}

TEST(CallScript, TellsThatItCannotBeRead) {
  const TemporaryFolder folder;
  const int notAFile = ::open(folder.path().c_str(), O_RDONLY | O_CLOEXEC);
  ServerProcess session({.socketFolder = folder.path(),
                         .arguments = {"call", "--repl"},
                         .standardInput = notAFile,
                         .program = ORVANE_COMPANION});
  session.waitForDiagnostic("orvane-mcp: cannot read standard input");
  EXPECT_EQ(WEXITSTATUS(session.waitForEnd()), 1);
  ::close(notAFile);
}

TEST(CallScript, GetsAFreshServerWhenTheServerHasDied) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  ServerProcess session(scriptIn(folder));
  session.writeLine("current_document");
  host.accept();
  answer(host);
  EXPECT_EQ(session.readLine(), "here");

  const pid_t server = onlyChildOf(session.pid());
  ::kill(server, SIGKILL);
  waitUntilGone(server);
  session.writeLine("current_document");
  host.accept();
  answer(host);
  EXPECT_EQ(session.readLine(), "here");
  EXPECT_EQ(session.diagnostics(), "");
}

TEST(CallScript, GetsAFreshServerAfterACallInWhichTheServerDied) {
  ScriptedCall call;
  ::kill(onlyChildOf(call.session.pid()), SIGKILL);
  call.session.waitForDiagnostic("orvane-mcp: line 1: the server ended by a signal (Killed)\n");

  call.session.writeLine("current_document");
  call.host.accept();
  answer(call.host);
  EXPECT_EQ(call.session.readLine(), "here");
}

TEST(CallScript, TellsThatTheHostClosedTheConnectionAndGoesOnWithAFreshOne) {
  ScriptedCall call;
  call.host.close();
  call.session.waitForDiagnostic(
      "orvane-mcp: line 1: the host closed the connection without an answer; it may have carried the call "
      "out\n");
  call.host.accept();  // a visit, which finds out that the host is there
  EXPECT_EQ(call.host.readLine(), "");
  call.host.close();

  call.session.writeLine("current_document");
  call.host.accept();
  answer(call.host);
  EXPECT_EQ(call.session.readLine(), "here");
}

TEST(CallScript, TakesAnEmptyTextForAnAnswer) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  std::future<Outcome> outcome = startScript(folder, "current_document\ncurrent_document\n");
  host.accept();
  for (int call = 0; call < 2; ++call) {
    EXPECT_THAT(host.readLine(), HasSubstr("currentDocument"));
    host.reply(R"({"success": true, "result": ""})");
  }
  const Outcome result = outcome.get();
  EXPECT_EQ(result.output, "\n\n");
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(result.status, 0);
}

TEST(CallScript, KeepsNoHistory) {
  const TemporaryFolder folder;
  runCompanion(folder, {"call", "--repl"}, {"XDG_STATE_HOME="}, "help\n");
  EXPECT_FALSE(fs::exists(folder.path() + "/.local"));
}

}  // namespace
