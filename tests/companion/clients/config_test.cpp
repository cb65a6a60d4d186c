// `orvane-mcp config`: the clients it lists and the entries it prints; wrong usage of any command.

#include "companion/clients/run_config.h"
#include "companion/companion_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using Json = nlohmann::ordered_json;
using testing::HasSubstr;
namespace fs = std::filesystem;

/// The clients, by id, with their files.
std::vector<std::pair<std::string, std::string>> listedClients(const TemporaryFolder& folder) {
  std::vector<std::pair<std::string, std::string>> clients;
  std::istringstream lines(runConfig(folder, {"--list"}).output);
  for (std::string line; std::getline(lines, line);)
    clients.emplace_back(line.substr(0, line.find(' ')), line.substr(line.rfind(' ') + 1));
  return clients;
}

/// The command line of the only entry in what config prints, as the client would read it.
std::vector<std::string> commandLineIn(const std::string& printed) {
  Json entry;
  if (printed.starts_with("[mcp_servers.orvane]\n")) {  // TOML, whose values are spelled as in JSON here
    std::istringstream lines(printed.substr(printed.find('\n') + 1));
    for (std::string line; std::getline(lines, line);)
      entry[line.substr(0, line.find(" = "))] = Json::parse(line.substr(line.find(" = ") + 3));
  } else {
    entry = Json::parse(printed).front()["orvane"];
  }
  std::vector<std::string> commandLine;
  if (entry["command"].is_array()) return entry["command"];
  commandLine = entry["args"];
  commandLine.insert(commandLine.begin(), entry["command"]);
  return commandLine;
}

TEST(Config, ListsEightOrMoreClientsWithAbsoluteFiles) {
  const TemporaryFolder folder;
  const auto clients = listedClients(folder);
  EXPECT_GE(clients.size(), 8U);
  for (const auto& [id, file] : clients) EXPECT_THAT(file, testing::StartsWith(folder.path() + "/")) << id;
}

TEST(Config, ListsWhichClientsAreInstalledAndWhichConfigured) {
  const TemporaryFolder folder;
  const auto lineOf = [&folder](const std::string& id) {
    std::istringstream lines(
        runCompanion(folder, {"config", "--list"}, {"PATH=" + folder.path() + "/bin"}).output);
    for (std::string line; std::getline(lines, line);)
      if (line.starts_with(id + ' ')) return line;
    return std::string();
  };
  EXPECT_THAT(lineOf("gemini-cli"), testing::ContainsRegex("  -  +-  +/"));
  fs::create_directory(folder.path() + "/.gemini");
  EXPECT_THAT(lineOf("gemini-cli"), testing::ContainsRegex("  installed  -  +/")) << "by its folder";
  std::ofstream(folder.path() + "/.gemini/settings.json") << R"({"mcpServers": {"other": {}}})";
  EXPECT_THAT(lineOf("gemini-cli"), testing::ContainsRegex("  installed  -  +/")) << "with another server";
  runConfig(folder, {"gemini-cli", "--write"});
  EXPECT_THAT(lineOf("gemini-cli"), testing::ContainsRegex("  installed  configured  /"));
  std::ofstream(folder.path() + "/.gemini/settings.json") << "{";
  EXPECT_THAT(lineOf("gemini-cli"), testing::ContainsRegex("  installed  unclear +/"));

  EXPECT_THAT(lineOf("codex"), testing::ContainsRegex("  -  +-  +/"));
  fs::create_directory(folder.path() + "/bin");
  fs::copy(ORVANE_FAKE_SERVER, folder.path() + "/bin/codex");
  EXPECT_THAT(lineOf("codex"), testing::ContainsRegex("  installed  -  +/")) << "by its program";
}

TEST(Config, NamesTheClientThatWasProbablyMeant) {
  const TemporaryFolder folder;
  EXPECT_EQ(
      runConfig(folder, {"CURSOR"}).error,
      "orvane-mcp: there is no client \"CURSOR\" (did you mean \"cursor\"?); \"orvane-mcp config --list\" "
      "names them\n");
  EXPECT_EQ(runCompanion(folder, {"confg"}).error,
            "orvane-mcp: there is no command \"confg\" (did you mean \"config\"?); see --help\n");
}

TEST(Config, WritesNothingWithoutAHomeFolder) {
  const TemporaryFolder folder;
  for (const std::string home : {"HOME=", "HOME=relative"}) {
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {"config", "cursor", "--write"}, {"config", "cursor", "--remove"}, {"config", "--list"}}) {
      const Outcome outcome = runCompanion(folder, arguments, {home});
      EXPECT_EQ(outcome.status, 1);
      EXPECT_EQ(outcome.error,
                "orvane-mcp: HOME names no absolute folder, and the clients' files are below it\n");
    }
    EXPECT_EQ(runCompanion(folder, {"config", "cursor"}, {home}).status, 0) << "printing needs no file";
    const std::string file = folder.path() + "/mcp.json";
    EXPECT_EQ(runCompanion(folder, {"config", "cursor", "--write", "--file", file}, {home}).status, 0);
  }
}

TEST(Config, FindsFilesUnderXdgConfigHome) {
  const TemporaryFolder folder;
  EXPECT_THAT(runCompanion(folder, {"config", "--list"}, {"XDG_CONFIG_HOME=/elsewhere"}).output,
              HasSubstr(" /elsewhere/zed/settings.json\n"));
  EXPECT_THAT(runCompanion(folder, {"config", "--list"}, {"XDG_CONFIG_HOME="}).output,
              HasSubstr(" " + folder.path() + "/.config/zed/settings.json\n"));
  EXPECT_THAT(runCompanion(folder, {"config", "--list"}, {"XDG_CONFIG_HOME=relative"}).output,
              HasSubstr(" " + folder.path() + "/.config/zed/settings.json\n"))
      << "a relative folder is none";
}

TEST(Config, PrintsEntriesFromWhichTheServerStarts) {
  const TemporaryFolder folder;
  for (const auto& [id, file] : listedClients(folder)) {
    for (const bool direct : {false, true}) {
      std::vector<std::string> arguments = {id};
      if (direct) arguments.emplace_back("--direct");
      const Outcome printed = runConfig(folder, arguments);
      ASSERT_EQ(printed.status, 0) << id << printed.error;
      std::vector<std::string> commandLine = commandLineIn(printed.output);
      EXPECT_EQ(fs::weakly_canonical(commandLine.front()),
                fs::weakly_canonical(direct ? ORVANE_SERVER : ORVANE_COMPANION))
          << id;
      EXPECT_TRUE(fs::path(commandLine.front()).is_absolute()) << id;
      const std::string program = commandLine.front();
      commandLine.erase(commandLine.begin());
      ServerProcess server({.socketFolder = folder.path(), .arguments = commandLine, .program = program});
      EXPECT_THAT(server.ask(R"({"id": 1, "method": "initialize"})"), HasSubstr("\"OrvaneMCPServer\"")) << id;
    }
  }
}

TEST(Config, WritesWhatItPrintsForEveryClientThatHasNoFile) {
  const TemporaryFolder folder;
  for (const auto& [id, file] : listedClients(folder)) {
    const Outcome written = runConfig(folder, {id, "--write"});
    EXPECT_EQ(written.status, 0) << id << written.error;
    std::ostringstream content;
    content << std::ifstream(file).rdbuf();
    EXPECT_EQ(content.str(), runConfig(folder, {id}).output) << id;
  }
}

TEST(Config, LetsEveryClientsEntryCarryTmpdirWhereThatIsSet) {
  const TemporaryFolder folder;
  for (const auto& [id, file] : listedClients(folder)) {
    const std::string member = id == "opencode" ? "environment" : "env";
    const Outcome printed = runCompanion(folder, {"config", id});
    ASSERT_EQ(printed.status, 0) << id;
    if (id == "codex") {
      EXPECT_THAT(printed.output, HasSubstr("\nenv = {TMPDIR = \"" + folder.path() + "\"}\n"));
    } else {
      EXPECT_EQ(Json::parse(printed.output).front()["orvane"][member], Json({{"TMPDIR", folder.path()}}))
          << id;
    }
    const Outcome written = runCompanion(folder, {"config", id, "--write"});
    EXPECT_THAT(written.output, HasSubstr(" The entry sets TMPDIR to " + folder.path() +
                                          ", since not every client passes its own on. "))
        << id;
    EXPECT_THAT(runCompanion(folder, {"config", id, "--write"}).output, HasSubstr(" has this entry already."))
        << id;
  }
}

TEST(Config, MakesARelativeTmpdirAbsolute) {
  const TemporaryFolder folder;
  const Outcome printed = runCompanion(folder, {"config", "cursor"}, {"TMPDIR=sockets"});
  EXPECT_EQ(Json::parse(printed.output).front()["orvane"]["env"]["TMPDIR"],
            fs::current_path().string() + "/sockets");
}

TEST(Config, SaysWhatAClientNeedsBesideItsEntry) {
  const TemporaryFolder folder;
  const Outcome printed = runCompanion(folder, {"config", "gemini-cli"});
  EXPECT_TRUE(Json::accept(printed.output)) << printed.output;
  EXPECT_THAT(printed.error, HasSubstr("folders that it trusts"));
  const Outcome written = runCompanion(folder, {"config", "gemini-cli", "--write"});
  EXPECT_THAT(written.output, HasSubstr("folders that it trusts"));
  EXPECT_EQ(written.error, "");
  EXPECT_EQ(runCompanion(folder, {"config", "codex"}).error, "");
}

TEST(Config, PassesAChosenServerOn) {
  const TemporaryFolder folder;
  const std::string printed = runConfig(folder, {"cursor", "--server", ORVANE_FAKE_SERVER}).output;
  EXPECT_EQ(commandLineIn(printed),
            (std::vector<std::string>{ORVANE_COMPANION, "serve", "--server", ORVANE_FAKE_SERVER}));
}

TEST(Config, RefusesWrongUsageInOneLine) {
  const TemporaryFolder folder;
  const std::vector<std::vector<std::string>> commandLines = {
      {"config"},
      {"config", "nobody"},
      {"config", "zed", "cursor"},
      {"config", "--list", "zed"},
      {"config", "zed", "--write", "--remove"},
      {"config", "zed", "--no-such-option"},
      {"config", "zed", "--file"},
      {"config", "zed", "--file", ""},
      {"tools", "--no-such-option"},
      {"serve", "argument"},
      {"serve", "--no-such-option"},
      {},
      {"no-such-command"},
      {"--no-such-option"},
  };
  for (const std::vector<std::string>& arguments : commandLines) {
    const Outcome outcome = runCompanion(folder, arguments);
    EXPECT_EQ(outcome.status, 2) << testing::PrintToString(arguments);
    EXPECT_EQ(std::count(outcome.error.begin(), outcome.error.end(), '\n'), 1) << outcome.error;
    EXPECT_THAT(outcome.error, testing::StartsWith("orvane-mcp: "));
    EXPECT_EQ(outcome.output, "");
  }
}

TEST(Help, IsPrintedForEveryCommand) {
  const TemporaryFolder folder;
  const Outcome help = runCompanion(folder, {"--help"});
  EXPECT_EQ(help.status, 0);
  for (const std::string command : {"call", "config", "doctor", "serve", "tools"}) {
    EXPECT_THAT(help.output, HasSubstr("\n  " + command + " "));
    const Outcome own = runCompanion(folder, {command, "--help"});
    EXPECT_EQ(own.status, 0);
    EXPECT_THAT(own.output, testing::StartsWith("Usage: orvane-mcp " + command + " "));
  }
}

TEST(Version, IsTheProjects) {
  const TemporaryFolder folder;
  EXPECT_EQ(runCompanion(folder, {"--version"}).output, "orvane-mcp " ORVANE_VERSION "\n");
}

}  // namespace
