// `orvane-mcp call --repl` at a terminal.

#include "companion/call/scripted_call.h"
#include "companion/companion_process.h"
#include "companion/terminal.h"
#include "support/scripted_host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace {

using testing::HasSubstr;
namespace fs = std::filesystem;

constexpr char kPrompt[] = "orvane> ";
constexpr char kCtrlC[] = "\x03";
constexpr char kCtrlD[] = "\x04";
constexpr char kPreviousLine[] = "\x10";  // Ctrl-P

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

/// A folder for sessions, and a host for their calls.
class CallPrompt : public testing::Test {
 protected:
  const TemporaryFolder folder_;
  ScriptedHost host_{folder_.socketPath()};
};

TEST_F(CallPrompt, CompletesToolsAndArguments) {
  Session session(folder_);
  session.terminal.type("search_n\tp\tmain c\tt\t\n");
  host_.accept();
  EXPECT_EQ(host_.readLine(),
            R"({"args":["main",true],"request":"searchNameUsingPattern:caseSensitive:withReply:"})");
  host_.reply(R"({"success": true, "result": {"0x10": "main"}})");
  session.terminal.waitFor("{\r\n  \"0x10\": \"main\"\r\n}\r\n");  // indented, since it is a terminal
  session.terminal.type("quit\n");
  EXPECT_EQ(session.process.waitForEnd(), 0);
}

TEST_F(CallPrompt, DropsTheLineOnCtrlC) {
  Session session(folder_);
  const pid_t server = onlyChildOf(session.process.pid());
  session.terminal.type("no_such_tool");
  session.terminal.waitFor("no_such_tool");
  session.terminal.type(kCtrlC);
  session.terminal.waitFor(kPrompt);
  session.terminal.type("current_document\n");
  host_.accept();
  answer(host_);
  session.terminal.waitFor(kPrompt);
  EXPECT_EQ(onlyChildOf(session.process.pid()), server);  // which the terminal's signal has not ended
  session.terminal.type(kCtrlD);
  EXPECT_EQ(session.process.waitForEnd(), 0);
}

TEST_F(CallPrompt, DropsTheLineOnASignalFromElsewhere) {
  Session session(folder_);
  session.terminal.type("no_such_tool");
  session.terminal.waitFor("no_such_tool");
  session.process.signal(SIGINT);
  session.terminal.waitFor(kPrompt);
  session.terminal.type("quit\n");
  EXPECT_EQ(session.process.waitForEnd(), 0);
}

TEST_F(CallPrompt, StopsWaitingOnCtrlCAndGoesOnWithAFreshServer) {
  Session session(folder_);
  session.terminal.type("comment address=1\n");
  host_.accept();
  host_.readLine();
  session.terminal.type(kCtrlC);
  session.process.waitForDiagnostic("orvane-mcp: stopped waiting; the host may still carry the call out\n");
  session.terminal.waitFor(kPrompt);

  session.terminal.type("current_document\n");
  host_.accept();
  answer(host_);
  session.terminal.waitFor("here\r\n");
  session.terminal.type("quit\n");
  EXPECT_EQ(session.process.waitForEnd(), 0);
}

TEST_F(CallPrompt, LeavesOutTheRestOfAResultOnCtrlC) {
  Session session(folder_);
  session.terminal.type("current_document\n");
  host_.accept();
  host_.readLine();
  std::string lines;
  for (int line = 0; line < 1000000; ++line) lines += "line\\n";
  host_.reply(R"({"success": true, "result": ")" + lines + R"(the last line"})");
  session.terminal.waitFor("line\r\n");  // it is stuck now, since nobody reads the terminal
  session.terminal.type(kCtrlC);
  EXPECT_THAT(session.terminal.waitFor(kPrompt), testing::Not(HasSubstr("the last line")));
  session.terminal.type("quit\n");
  EXPECT_EQ(session.process.waitForEnd(), 0);
}

TEST_F(CallPrompt, EndsOfASignalThatEndsPrograms) {
  Session session(folder_);
  session.process.signal(SIGTERM);
  const int status = session.process.waitForEnd();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
}

TEST_F(CallPrompt, EndsWithStatusZeroWhateverFailed) {
  Session session(folder_);
  session.terminal.type("no_such_tool\n");
  session.process.waitForDiagnostic("orvane-mcp: there is no tool \"no_such_tool\"");
  session.terminal.waitFor(kPrompt);
  session.terminal.type("quit\n");
  EXPECT_EQ(session.process.waitForEnd(), 0);
}

TEST_F(CallPrompt, KeepsItsHistoryBetweenSessions) {
  for (const std::string& line : {std::string("current_document\n"), std::string(kPreviousLine) + '\n'}) {
    Session session(folder_);
    session.terminal.type(line);
    host_.accept();
    answer(host_);
    session.terminal.waitFor("here\r\n");
    session.process.signal(SIGKILL);  // nothing is put off until a session's end
    session.process.waitForEnd();
  }
  EXPECT_TRUE(fs::is_regular_file(folder_.path() + "/.local/state/orvane-mcp/history"));
}

TEST_F(CallPrompt, KeepsItsHistoryWhereTheEnvironmentSays) {
  Session session(folder_, {"XDG_STATE_HOME=" + folder_.path() + "/state"});
  session.terminal.type("help\nquit\n");
  EXPECT_EQ(session.process.waitForEnd(), 0);
  EXPECT_TRUE(fs::is_regular_file(folder_.path() + "/state/orvane-mcp/history"));
}

}  // namespace
