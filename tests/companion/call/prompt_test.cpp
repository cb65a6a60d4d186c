// `orvane-mcp call --repl`: as a script, and at a terminal.

#include "companion/companion_process.h"
#include "companion/terminal.h"
#include "support/scripted_host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <future>

namespace {

using testing::HasSubstr;
namespace fs = std::filesystem;

constexpr char kPrompt[] = "orvane> ";
constexpr char kCtrlC[] = "\x03";
constexpr char kCtrlD[] = "\x04";
constexpr char kPreviousLine[] = "\x10";  // Ctrl-P
constexpr char kAnswer[] = R"({"success": true, "result": "here"})";

/// Answers the next request of a new connection, or of the present one.
void answer(ScriptedHost& host) {
  EXPECT_THAT(host.readLine(), HasSubstr("currentDocument"));
  host.reply(kAnswer);
}

TEST(CallScript, MakesOneCallAfterAnotherAndSurvivesMistakes) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  auto outcome = std::async(std::launch::async, [&folder] {
    return runCompanion(folder, {"call", "--repl"}, {},
                        "current_document\nno_such_tool\n\ncomment \"open\n"
                        "set_comment address=1 comment=\"two words\"\nquit\ncurrent_document\n");
  });
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
  auto outcome = std::async(std::launch::async, [&folder] {
    return runCompanion(folder, {"call", "--repl"}, {},
                        " set_comment  {\"address\": \"1\", \"comment\": \"\\\"two\\\" words\"} \n");
  });
  host.accept();
  EXPECT_THAT(host.readLine(), HasSubstr(R"(["\"two\" words","1"])"));
  host.reply(R"({"success": true, "result": "done"})");
  EXPECT_EQ(outcome.get().output, "done\n");
}

TEST(CallScript, NamesTheToolsAndTheirArguments) {
  const TemporaryFolder folder;
  const Outcome outcome = runCompanion(folder, {"call", "--repl"}, {}, "help\nhelp goto_address\n");
  EXPECT_THAT(outcome.output, HasSubstr("\nsearch_strings [case_sensitive=boolean] [pattern=string]\n"));
  EXPECT_THAT(outcome.output,
              HasSubstr("\n  address (string): The address in hexadecimal, or a label name.\n"));
}

TEST(CallScript, ReachesAHostThatIsOpenedLater) {
  const TemporaryFolder folder;
  ServerProcess session(
      {.socketFolder = folder.path(), .arguments = {"call", "--repl"}, .program = ORVANE_COMPANION});
  session.writeLine("current_document");
  session.waitForDiagnostic("no host answers");
  ScriptedHost host(folder.socketPath());
  session.writeLine("current_document");
  host.accept();
  host.readLine();
  host.reply(R"({"success": true, "result": "here"})");
  EXPECT_EQ(session.readLine(), "here");
}

TEST(CallScript, TellsThatALineEndsInABackslash) {
  const TemporaryFolder folder;
  const Outcome outcome = runCompanion(folder, {"call", "--repl"}, {}, "comment address=a\\\nhelp \"a\\\n");
  EXPECT_EQ(outcome.error,
            "orvane-mcp: line 1: nothing is behind the backslash at the end\n"
            "orvane-mcp: line 2: nothing is behind the backslash at the end\n");
}

TEST(CallScript, TakesABackslashThatQuotesOrIsQuoted) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  auto outcome = std::async(std::launch::async, [&folder] {
    return runCompanion(folder, {"call", "--repl"}, {},
                        "comment address=a\\\\\ncomment address='a\\'\ncomment address=\"a\\\\\"\n");
  });
  host.accept();
  for (int line = 0; line < 3; ++line) {
    EXPECT_EQ(host.readLine(), R"({"args":["a\\"],"request":"commentAtAddress:withReply:"})");
    host.reply(kAnswer);
  }
  EXPECT_EQ(outcome.get().status, 0);
}

TEST(CallScript, RefusesAZeroByte) {
  const TemporaryFolder folder;
  const Outcome outcome =
      runCompanion(folder, {"call", "--repl"}, {}, std::string("current_document\0 x=1\n", 22));
  EXPECT_EQ(outcome.error, "orvane-mcp: line 1: the line holds a zero byte\n");
  EXPECT_EQ(outcome.status, 1);
}

TEST(CallScript, MayHaveCarriageReturnsBeforeItsLineFeeds) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  auto outcome = std::async(std::launch::async, [&folder] {
    return runCompanion(
        folder, {"call", "--repl"}, {},
        "\r\ncomment address=1\r\ncomment {\"address\": \"2\"}\r\nquit\r\ncurrent_document\r\n");
  });
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
  EXPECT_EQ(runCompanion(folder, {"call", "--repl"}, {}, "help\nquit\n").status, 0);
  EXPECT_EQ(runCompanion(folder, {"call", "--repl"}, {}, "help no_such_tool\nhelp\n").status, 1);
  const Outcome outcome = runCompanion(folder, {"call", "--repl"}, {}, "\n\ncurrent_document");
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
  ServerProcess session(
      {.socketFolder = folder.path(), .arguments = {"call", "--repl"}, .program = ORVANE_COMPANION});
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
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  ServerProcess session(
      {.socketFolder = folder.path(), .arguments = {"call", "--repl"}, .program = ORVANE_COMPANION});
  session.writeLine("current_document");
  host.accept();
  host.readLine();
  ::kill(onlyChildOf(session.pid()), SIGKILL);
  session.waitForDiagnostic("orvane-mcp: line 1: the server ended by a signal (Killed)\n");

  session.writeLine("current_document");
  host.accept();
  answer(host);
  EXPECT_EQ(session.readLine(), "here");
}

TEST(CallScript, TellsThatTheHostClosedTheConnectionAndGoesOnWithAFreshOne) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  ServerProcess session(
      {.socketFolder = folder.path(), .arguments = {"call", "--repl"}, .program = ORVANE_COMPANION});
  session.writeLine("current_document");
  host.accept();
  host.readLine();
  host.close();
  session.waitForDiagnostic(
      "orvane-mcp: line 1: the host closed the connection without an answer; it may have carried the call "
      "out\n");
  host.accept();  // a visit, which finds out that the host is there
  EXPECT_EQ(host.readLine(), "");
  host.close();

  session.writeLine("current_document");
  host.accept();
  answer(host);
  EXPECT_EQ(session.readLine(), "here");
}

TEST(CallScript, TakesAnEmptyTextForAnAnswer) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  auto outcome = std::async(std::launch::async, [&folder] {
    return runCompanion(folder, {"call", "--repl"}, {}, "current_document\ncurrent_document\n");
  });
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

/// A session at a terminal, at its first prompt.
struct Session {
  explicit Session(const TemporaryFolder& folder, std::vector<std::string> environment = {})
      : process(startedIn(folder, std::move(environment))) {
    terminal.waitFor(kPrompt);
  }

  ServerOptions startedIn(const TemporaryFolder& folder, std::vector<std::string> environment) const {
    ServerOptions options = atTerminal(folder, terminal, {"call", "--repl"});
    environment.insert(environment.end(), options.environment.begin(), options.environment.end());
    options.environment = std::move(environment);
    return options;
  }

  Terminal terminal;
  ServerProcess process;
};

TEST(CallPrompt, CompletesToolsAndArguments) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  Session session(folder);
  session.terminal.type("search_n\tp\tmain c\tt\t\n");
  host.accept();
  EXPECT_EQ(host.readLine(),
            R"({"args":["main",true],"request":"searchNameUsingPattern:caseSensitive:withReply:"})");
  host.reply(R"({"success": true, "result": {"0x10": "main"}})");
  session.terminal.waitFor("{\r\n  \"0x10\": \"main\"\r\n}\r\n");  // indented, since it is a terminal
  session.terminal.type("quit\n");
  EXPECT_EQ(session.process.waitForEnd(), 0);
}

TEST(CallPrompt, DropsTheLineOnCtrlC) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  Session session(folder);
  const pid_t server = onlyChildOf(session.process.pid());
  session.terminal.type("no_such_tool");
  session.terminal.waitFor("no_such_tool");
  session.terminal.type(kCtrlC);
  session.terminal.waitFor(kPrompt);
  session.terminal.type("current_document\n");
  host.accept();
  answer(host);
  session.terminal.waitFor(kPrompt);
  EXPECT_EQ(onlyChildOf(session.process.pid()), server);  // which the terminal's signal has not ended
  session.terminal.type(kCtrlD);
  EXPECT_EQ(session.process.waitForEnd(), 0);
}

TEST(CallPrompt, DropsTheLineOnASignalFromElsewhere) {
  const TemporaryFolder folder;
  Session session(folder);
  session.terminal.type("no_such_tool");
  session.terminal.waitFor("no_such_tool");
  session.process.signal(SIGINT);
  session.terminal.waitFor(kPrompt);
  session.terminal.type("quit\n");
  EXPECT_EQ(session.process.waitForEnd(), 0);
}

TEST(CallPrompt, StopsWaitingOnCtrlCAndGoesOnWithAFreshServer) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  Session session(folder);
  session.terminal.type("comment address=1\n");
  host.accept();
  host.readLine();
  session.terminal.type(kCtrlC);
  session.process.waitForDiagnostic("orvane-mcp: stopped waiting; the host may still carry the call out\n");
  session.terminal.waitFor(kPrompt);

  session.terminal.type("current_document\n");
  host.accept();
  answer(host);
  session.terminal.waitFor("here\r\n");
  session.terminal.type("quit\n");
  EXPECT_EQ(session.process.waitForEnd(), 0);
}

TEST(CallPrompt, LeavesOutTheRestOfAResultOnCtrlC) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  Session session(folder);
  session.terminal.type("current_document\n");
  host.accept();
  host.readLine();
  std::string lines;
  for (int line = 0; line < 1000000; ++line) lines += "line\\n";
  host.reply(R"({"success": true, "result": ")" + lines + R"(the last line"})");
  session.terminal.waitFor("line\r\n");  // it is stuck now, since nobody reads the terminal
  session.terminal.type(kCtrlC);
  EXPECT_THAT(session.terminal.waitFor(kPrompt), testing::Not(HasSubstr("the last line")));
  session.terminal.type("quit\n");
  EXPECT_EQ(session.process.waitForEnd(), 0);
}

TEST(CallPrompt, EndsOfASignalThatEndsPrograms) {
  const TemporaryFolder folder;
  Session session(folder);
  session.process.signal(SIGTERM);
  const int status = session.process.waitForEnd();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
}

TEST(CallPrompt, EndsWithStatusZeroWhateverFailed) {
  const TemporaryFolder folder;
  Session session(folder);
  session.terminal.type("no_such_tool\n");
  session.process.waitForDiagnostic("orvane-mcp: there is no tool \"no_such_tool\"");
  session.terminal.waitFor(kPrompt);
  session.terminal.type("quit\n");
  EXPECT_EQ(session.process.waitForEnd(), 0);
}

TEST(CallPrompt, KeepsItsHistoryBetweenSessions) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  for (const std::string& line : {std::string("current_document\n"), std::string(kPreviousLine) + '\n'}) {
    Session session(folder);
    session.terminal.type(line);
    host.accept();
    answer(host);
    session.terminal.waitFor("here\r\n");
    session.process.signal(SIGKILL);  // nothing is put off until a session's end
    session.process.waitForEnd();
  }
  EXPECT_TRUE(fs::is_regular_file(folder.path() + "/.local/state/orvane-mcp/history"));
}

TEST(CallPrompt, KeepsItsHistoryWhereTheEnvironmentSays) {
  const TemporaryFolder folder;
  Session session(folder, {"XDG_STATE_HOME=" + folder.path() + "/state"});
  session.terminal.type("help\nquit\n");
  EXPECT_EQ(session.process.waitForEnd(), 0);
  EXPECT_TRUE(fs::is_regular_file(folder.path() + "/state/orvane-mcp/history"));
}

TEST(CallScript, KeepsNoHistory) {
  const TemporaryFolder folder;
  runCompanion(folder, {"call", "--repl"}, {"XDG_STATE_HOME="}, "help\n");
  EXPECT_FALSE(fs::exists(folder.path() + "/.local"));
}

}  // namespace
