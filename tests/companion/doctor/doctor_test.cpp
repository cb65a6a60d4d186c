// `orvane-mcp doctor`: what it finds, and that it alters nothing.

#include "companion/companion_process.h"
#include "companion/doctor/put_file.h"
#include "companion/session/scripted_server.h"
#include "support/crowd.h"
#include "support/scripted_host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <future>
#include <map>
#include <string>

namespace {

constexpr uid_t kSomebodyElse = 65534;

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using Json = nlohmann::ordered_json;
namespace fs = std::filesystem;

/// All files below `folder` with when they were last changed.
std::map<std::string, fs::file_time_type> stateOf(const std::string& folder) {
  std::map<std::string, fs::file_time_type> state;
  for (const auto& entry : fs::recursive_directory_iterator(folder))
    state[entry.path()] = fs::last_write_time(entry.path());
  return state;
}

TEST(Doctor, FindsNothingWrongWhenAllIsWell) {
  const TemporaryFolder folder;
  const ScriptedHost host(folder.socketPath());
  runCompanion(folder, {"config", "cursor", "--write"});
  const Outcome outcome = runCompanion(folder, {"doctor"});
  EXPECT_EQ(outcome.status, 0) << outcome.output;
  EXPECT_THAT(outcome.output,
              AllOf(ContainsRegex("^ok     server: the server is /"),
                    HasSubstr("\nok     libraries: the server's shared libraries are found\n"),
                    ContainsRegex("\nok     initialize: the server starts and answers within [0-9]+ ms\n"),
                    HasSubstr("\nok     socket: a host listens at " + folder.socketPath() +
                              " (this check opened a connection to it)\n"),
                    HasSubstr("\nok     client cursor: Cursor is configured in " + folder.path() +
                              "/.cursor/mcp.json and starts " ORVANE_COMPANION " serve\n")));
}

TEST(Doctor, AltersNothing) {
  const TemporaryFolder folder;
  const ScriptedHost host(folder.socketPath());
  put(folder.path() + "/.claude.json", "{}");
  put(folder.path() + "/.cursor/mcp.json", "{");
  const auto before = stateOf(folder.path());
  runCompanion(folder, {"doctor"});
  EXPECT_EQ(stateOf(folder.path()), before);
}

TEST(Doctor, SaysInItsHelpThatItConnectsToTheHost) {
  const TemporaryFolder folder;
  const Outcome outcome = runCompanion(folder, {"doctor", "--help"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.output, ContainsRegex("open a\\sconnection to the host"));
}

TEST(Doctor, TellsASocketLeftBehindFromNoneAndFromSomethingElse) {
  const TemporaryFolder folder;
  Outcome outcome = runCompanion(folder, {"doctor"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output, HasSubstr("\nwrong  socket: there is no socket at " + folder.socketPath()));

  ScriptedHost host(folder.socketPath());
  host.stopListening();
  outcome = runCompanion(folder, {"doctor"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output,
              HasSubstr("\nwrong  socket: the socket " + folder.socketPath() +
                        " was left behind: nobody listens there any more. Remedy: start Orvane"));

  fs::remove(folder.socketPath());
  put(folder.socketPath(), "");
  outcome = runCompanion(folder, {"doctor"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output, HasSubstr("\nwrong  socket: " + folder.socketPath() + " is not a socket"));
}

TEST(Doctor, SaysThatTmpdirNamesNoFolder) {
  const TemporaryFolder folder;
  const std::string missing = folder.path() + "/missing";
  const std::string name = fs::path(folder.socketPath()).filename();
  // Qt then looks for a plain name in the root folder, and so does the server.
  EXPECT_THAT(runCompanion(folder, {"doctor"}, {"TMPDIR=" + missing}).output,
              HasSubstr("\nwrong  socket: TMPDIR is " + missing +
                        ", which is no folder; there is no socket at /" + name + ". Remedy: "));
  const std::string file = folder.path() + "/file";
  put(file, "");
  EXPECT_THAT(runCompanion(folder, {"doctor"}, {"TMPDIR=" + file}).output,
              HasSubstr("\nwrong  socket: TMPDIR is " + file +
                        ", which is no folder; there is no socket at " + file + "/" + name));
}

TEST(Doctor, FindsNothingWrongWithRootUsingTheSocketOfAUser) {
  const TemporaryFolder folder;
  const ScriptedHost host(folder.socketPath());
  if (::chown(folder.socketPath().c_str(), kSomebodyElse, static_cast<gid_t>(-1)) != 0)
    GTEST_SKIP() << "only root can give a socket away";
  const Outcome outcome = runCompanion(folder, {"doctor"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.output, HasSubstr("\nok     socket: a host listens at " + folder.socketPath()));
}

/// What `orvane-mcp doctor` prints when somebody else than root runs it. `mode` is that of the folder with
/// the host's socket.
std::string foundBySomebodyElse(const TemporaryFolder& folder, fs::perms mode) {
  const TemporaryFolder programs;  // the build tree may not be everybody's to read
  fs::copy_file(ORVANE_COMPANION, programs.path() + "/orvane-mcp");
  fs::copy_file(ORVANE_SERVER, programs.path() + "/OrvaneMCPServer");
  fs::permissions(programs.path(), fs::perms(0755));
  fs::permissions(folder.path(), mode);
  ServerProcess doctor({.socketFolder = folder.path(),
                        .arguments = {"--reuid", std::to_string(kSomebodyElse), "--clear-groups",
                                      programs.path() + "/orvane-mcp", "doctor"},
                        .environment = {"HOME=" + programs.path()},
                        .program = "/usr/bin/setpriv"});
  doctor.waitForEnd();
  return doctor.pendingOutput();
}

TEST(Doctor, FindsASocketOfAnotherUser) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
  const TemporaryFolder folder;
  const ScriptedHost host(folder.socketPath());
  EXPECT_THAT(
      foundBySomebodyElse(folder, fs::perms(0755)),
      HasSubstr("\nwrong  socket: the socket " + folder.socketPath() + " belongs to another user. Remedy: "));
}

TEST(Doctor, TellsAFolderThatMayNotBeSearchedFromOneWithoutASocket) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
  const TemporaryFolder folder;
  const ScriptedHost host(folder.socketPath());
  EXPECT_THAT(foundBySomebodyElse(folder, fs::perms(0700)),
              HasSubstr("\nwrong  socket: cannot look for a socket at " + folder.socketPath() +
                        ": Permission denied. Remedy: "));
}

TEST(Doctor, TellsThatAHostIsBusy) {
  const TemporaryFolder folder;
  const ScriptedHost host(folder.socketPath());
  const Crowd crowd(folder.socketPath());
  const Outcome outcome = runCompanion(folder, {"doctor"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.output, HasSubstr("\nnote   socket: the host at " + folder.socketPath() +
                                        " is busy: too many connections wait for it. Remedy: wait"));
}

TEST(Doctor, PrintsALineAsSoonAsItsCheckHasEnded) {
  const TemporaryFolder folder;
  const std::string server = scriptedServer(folder.path(), "exec sleep 1000\n");
  ServerProcess doctor({.socketFolder = folder.path(),
                        .arguments = {"doctor", "--server", server},
                        .environment = {"HOME=" + folder.path()},
                        .program = ORVANE_COMPANION});
  EXPECT_THAT(doctor.readLine(), testing::StartsWith("ok     server: "));
  EXPECT_THAT(doctor.readLine(), testing::StartsWith("note   libraries: "));
  onlyChildOf(doctor.pid());  // the server, which it still waits for
}

TEST(Doctor, CallsTheHostWhenAsked) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  auto outcome = std::async(std::launch::async, [&folder] {
    return runCompanion(folder, {"doctor", "--call"});
  });
  std::string request;
  while (request.empty()) {  // the checks of the server and of the socket connect and leave without a word
    host.accept();
    request = host.readLine();
    if (request.empty()) host.close();
  }
  EXPECT_EQ(request, R"({"args":[],"request":"documentListWithReply:"})");
  host.reply(R"({"success": true, "result": []})");
  EXPECT_THAT(outcome.get().output, HasSubstr("\nok     call: the host answered a call of list_documents\n"));
}

TEST(Doctor, FindsThatTheHostDoesNotAnswer) {
  const TemporaryFolder folder;
  EXPECT_THAT(runCompanion(folder, {"doctor", "--call"}).output,
              HasSubstr("\nwrong  call: the host did not answer a call of list_documents. Remedy: "));
}

TEST(Doctor, FindsThatThereIsNoServer) {
  const TemporaryFolder folder;
  const Outcome outcome = runCompanion(folder, {"doctor", "--call", "--server", "/no/such/server"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(
      outcome.output,
      testing::StartsWith("wrong  server: /no/such/server is not an executable file. Remedy: install"));
}

TEST(Doctor, FindsAServerThatEndsAtOnceAndPassesItsLastWordOn) {
  const TemporaryFolder folder;
  const std::string server =
      scriptedServer(folder.path(), "echo 'error while loading shared libraries: libX.so' >&2\nexit 127\n");
  const Outcome outcome = runCompanion(folder, {"doctor", "--server", server});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output,
              HasSubstr("\nwrong  initialize: the server ended with exit status 127: error while "
                        "loading shared libraries: libX.so. Remedy: "));
}

TEST(Doctor, FindsMissingLibraries) {
  const TemporaryFolder folder;
  const std::string server = folder.path() + "/server";
  fs::copy_file(ORVANE_NEEDS_LIBRARY, server);  // away from its library
  const Outcome outcome = runCompanion(folder, {"doctor", "--server", server});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output,
              AllOf(HasSubstr("\nwrong  libraries: shared libraries of the server are not found: "
                              "libneeded_library.so. Remedy: install"),
                    HasSubstr("\nwrong  initialize: the server ended with exit status 127: ")));
}

TEST(Doctor, FindsWhatIsWrongWithEntries) {
  const TemporaryFolder folder;
  put(folder.path() + "/.claude.json",
      R"({"mcpServers": {"orvane": {"command": "orvane-mcp", "args": []}}})");
  put(folder.path() + "/.cursor/mcp.json", R"({"mcpServers": {"orvane": {"command": "/no/such/program"}}})");
  put(folder.path() + "/.config/opencode/opencode.json",
      R"({"mcp": {"orvane": {"type": "local", "command": [")" ORVANE_COMPANION R"(", "serve"]}}})");
  put(folder.path() + "/.kiro/settings/mcp.json", "{\n  oops\n}");
  put(folder.path() + "/.codex/config.toml", "[mcp_servers.orvane]\ncommand = \"server\"\n");
  put(folder.path() + "/.lmstudio/mcp.json", R"({"mcpServers": {"other": {}}})");
  const Outcome outcome = runCompanion(folder, {"doctor"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(
      outcome.output,
      AllOf(HasSubstr("\nwrong  client claude-code: Claude Code's entry in " + folder.path() +
                      "/.claude.json starts \"orvane-mcp\", which is not an absolute path. Remedy: run "
                      "\"orvane-mcp config claude-code --write\"\n"),
            HasSubstr("/.codex/config.toml starts \"server\", which is not an absolute path. Remedy: "),
            HasSubstr("starts /no/such/program, which does not exist. Remedy: "),
            HasSubstr("\nok     client opencode: "),
            HasSubstr("\nwrong  client kiro: Kiro's file does not parse: " + folder.path() +
                      "/.kiro/settings/mcp.json: line 2, column 3: "),
            HasSubstr("\nnote   client lm-studio: LM Studio is not configured for the server in ")));
}

TEST(Doctor, PrintsOneLineForEachCheck) {
  const TemporaryFolder folder;
  const Outcome outcome = runCompanion(folder, {"doctor", "--call"});
  EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 6) << outcome.output;
}

TEST(Doctor, PrintsJsonForPrograms) {
  const TemporaryFolder folder;
  const Outcome outcome = runCompanion(folder, {"doctor", "--json"});
  EXPECT_EQ(outcome.status, 1);
  const Json checks = Json::parse(outcome.output)["checks"];
  ASSERT_EQ(checks.size(), 5U);
  EXPECT_EQ(
      checks[1],
      (Json{{"check", "libraries"}, {"verdict", "ok"}, {"text", "the server's shared libraries are found"}}));
  EXPECT_EQ(checks[3]["verdict"], "wrong");
  EXPECT_THAT(checks[3]["remedy"], HasSubstr("start Orvane"));
}

TEST(Doctor, RefusesWrongUsage) {
  const TemporaryFolder folder;
  EXPECT_EQ(runCompanion(folder, {"doctor", "me"}).status, 2);
  EXPECT_EQ(runCompanion(folder, {"doctor", "--no-such-option"}).status, 2);
}

}  // namespace
