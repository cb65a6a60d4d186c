// `orvane-mcp doctor`: what it finds in the files of clients.

#include "companion/companion_process.h"
#include "companion/doctor/put_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace {

using testing::HasSubstr;
using Json = nlohmann::ordered_json;
namespace fs = std::filesystem;

/// What doctor says of the entry `entry` of Cursor.
std::string verdictOn(const TemporaryFolder& folder, const Json& entry,
                      const std::vector<std::string>& environment = {},
                      const std::vector<std::string>& arguments = {"doctor"}) {
  put(folder.path() + "/.cursor/mcp.json", Json{{"mcpServers", {{"orvane", entry}}}}.dump());
  const std::string output = runCompanion(folder, arguments, environment).output;
  const std::size_t at = output.find("client cursor: ");
  return at == std::string::npos ? output : output.substr(at - 7, output.find('\n', at) - at + 7);
}

TEST(DoctorOnEntries, IsContentWithTheCompanionAndTheServer) {
  const TemporaryFolder folder;
  fs::create_symlink(ORVANE_COMPANION, folder.path() + "/linked");
  const std::vector<Json> entries = {
      {{"command", ORVANE_COMPANION}, {"args", {"serve"}}},
      {{"command", ORVANE_COMPANION}, {"args", {"serve", "--server", ORVANE_SERVER}}},
      {{"command", folder.path() + "/linked"}, {"args", {"serve"}}},
      {{"command", ORVANE_SERVER}},
      {{"command", ORVANE_COMPANION}, {"args", {"serve"}}, {"env", {{"TMPDIR", folder.path()}}}},
      {{"command", ORVANE_COMPANION}, {"args", {"serve"}}, {"env", {{"TMPDIR", folder.path() + "/./"}}}},
      {{"command", ORVANE_COMPANION}, {"args", {"serve"}}, {"disabled", false}, {"enabled", true}},
  };
  for (const Json& entry : entries)
    EXPECT_THAT(verdictOn(folder, entry), testing::StartsWith("ok     client cursor: ")) << entry;
  const Json any = {{"command", ORVANE_FAKE_SERVER}};
  EXPECT_THAT(verdictOn(folder, any, {}, {"doctor", "--server", ORVANE_FAKE_SERVER}),
              testing::StartsWith("ok     client cursor: "));
}

TEST(DoctorOnEntries, LooksForCommandsOnPath) {
  const TemporaryFolder folder;
  const TemporaryFolder programs;
  fs::create_symlink(ORVANE_COMPANION, programs.path() + "/orvane-mcp");
  const Json entry = {{"command", "orvane-mcp"}, {"args", {"serve"}}};
  EXPECT_THAT(verdictOn(folder, entry, {"PATH=/usr/bin:/bin:" + programs.path()}),
              testing::StartsWith("ok     client cursor: "));
  EXPECT_THAT(verdictOn(folder, entry, {"PATH=/usr/bin:/bin"}),
              testing::StartsWith("wrong  client cursor: "));
}

TEST(DoctorOnEntries, FindsOneThatStartsAnotherProgram) {
  const TemporaryFolder folder;
  EXPECT_THAT(verdictOn(folder, {{"command", "/bin/true"}}),
              HasSubstr("starts /bin/true, which is neither orvane-mcp nor OrvaneMCPServer. Remedy: "));
  EXPECT_THAT(verdictOn(folder, {{"command", "true"}}), HasSubstr("starts true, which is neither"));
  EXPECT_THAT(verdictOn(folder, {{"command", ORVANE_COMPANION}, {"args", {"doctor"}}}),
              HasSubstr("starts orvane-mcp without \"serve\""));
  EXPECT_THAT(verdictOn(folder, {{"command", ORVANE_COMPANION}, {"args", {"serve", "--server", "/no/such"}}}),
              HasSubstr("names the server /no/such, which is not an executable file"));
}

TEST(DoctorOnEntries, FindsOneThatIsTurnedOff) {
  const TemporaryFolder folder;
  for (const auto& [member, value] : {std::pair("disabled", true), std::pair("enabled", false)}) {
    const Json entry = {{"command", ORVANE_COMPANION}, {"args", {"serve"}}, {member, value}};
    EXPECT_THAT(
        verdictOn(folder, entry),
        testing::MatchesRegex("wrong  client cursor: .* is turned off\\. Remedy: turn it on in Cursor.*"));
  }
}

TEST(DoctorOnEntries, FindsOneWithAnotherTmpdir) {
  const TemporaryFolder folder;
  const Json entry = {
      {"command", ORVANE_COMPANION}, {"args", {"serve"}}, {"env", {{"TMPDIR", "/elsewhere"}}}};
  EXPECT_THAT(verdictOn(folder, entry), HasSubstr(" looks for the host in /elsewhere, not in " +
                                                  folder.path() + " (TMPDIR). Remedy: "));
}

TEST(DoctorOnEntries, ComparesTmpdirsThatDoNotExist) {
  const TemporaryFolder folder;
  const auto verdictWith = [&](const std::string& tmpdir) {
    const Json entry = {
        {"command", ORVANE_COMPANION}, {"args", {"serve"}}, {"env", {{"TMPDIR", "/no/such/folder"}}}};
    return verdictOn(folder, entry, {"TMPDIR=" + tmpdir});
  };
  EXPECT_THAT(verdictWith("/no/such/folder"), testing::StartsWith("ok     client cursor: "));
  EXPECT_THAT(verdictWith("/nor/this/one"),
              HasSubstr(" looks for the host in /no/such/folder, not in /nor/this/one (TMPDIR). Remedy: "));
}

TEST(DoctorOnEntries, NotesThoseThatLeaveTmpdirToTheClient) {
  const TemporaryFolder folder;
  verdictOn(folder, {{"command", ORVANE_COMPANION}, {"args", {"serve"}}});
  EXPECT_THAT(runCompanion(folder, {"doctor"}).output,
              HasSubstr("\nnote   clients: TMPDIR is " + folder.path() +
                        " here, and these entries do not say so: cursor. Remedy: "));
  runCompanion(folder, {"config", "cursor", "--write"});
  EXPECT_THAT(runCompanion(folder, {"doctor"}).output, testing::Not(HasSubstr("note   clients:")));
}

TEST(DoctorOnEntries, SaysOfAFileThatCannotBeReadWhatItIs) {
  const TemporaryFolder folder;
  fs::create_directories(folder.path() + "/.cursor/mcp.json");
  fs::create_directories(folder.path() + "/.kiro/settings");
  fs::create_symlink("/no/such/file", folder.path() + "/.kiro/settings/mcp.json");
  fs::create_directories(folder.path() + "/.lmstudio");
  ASSERT_EQ(::mkfifo((folder.path() + "/.lmstudio/mcp.json").c_str(), 0600), 0);
  const Outcome outcome = runCompanion(folder, {"doctor"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output, AllOf(testing::Not(HasSubstr("does not parse")),
                                    HasSubstr("mcp.json is a folder. Remedy: put a file"),
                                    HasSubstr("mcp.json is a symbolic link to nothing. Remedy: put a file"),
                                    HasSubstr("mcp.json is not a regular file. Remedy: put a file")));
}

}  // namespace
