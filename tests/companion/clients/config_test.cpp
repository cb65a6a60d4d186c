// `orvane-mcp config`: the entries it prints, and what it does to a client's file.

#include "companion/companion_process.h"
#include "support/waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

using Json = nlohmann::ordered_json;
using testing::HasSubstr;
namespace fs = std::filesystem;

/// The clients, by id, with their files.
std::vector<std::pair<std::string, std::string>> listedClients(const TemporaryFolder& folder) {
  std::vector<std::pair<std::string, std::string>> clients;
  std::istringstream lines(runCompanion(folder, {"config", "--list"}).output);
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

class ConfigFile : public testing::Test {
 protected:
  /// Gives Claude Code's file this text.
  void put(const std::string& text) { std::ofstream(path_, std::ios::binary) << text; }

  Outcome config(std::vector<std::string> options) {
    options.insert(options.begin(), {"config", "claude-code"});
    return runCompanion(folder_, options);
  }

  static std::string contentOf(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
  }
  std::string content() const { return contentOf(path_); }

  std::vector<std::string> filesInFolder() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_.path())) names.push_back(entry.path().filename());
    return names;
  }

  TemporaryFolder folder_;
  std::string path_ = folder_.path() + "/.claude.json";
};

TEST(Config, ListsEightOrMoreClientsWithAbsoluteFiles) {
  const TemporaryFolder folder;
  const auto clients = listedClients(folder);
  EXPECT_GE(clients.size(), 8U);
  for (const auto& [id, file] : clients) EXPECT_THAT(file, testing::StartsWith(folder.path() + "/")) << id;
}

TEST(Config, FindsFilesUnderXdgConfigHome) {
  const TemporaryFolder folder;
  EXPECT_THAT(runCompanion(folder, {"config", "--list"}, {"XDG_CONFIG_HOME=/elsewhere"}).output,
              HasSubstr(" /elsewhere/zed/settings.json\n"));
  EXPECT_THAT(runCompanion(folder, {"config", "--list"}, {"XDG_CONFIG_HOME="}).output,
              HasSubstr(" " + folder.path() + "/.config/zed/settings.json\n"));
}

TEST(Config, PrintsEntriesFromWhichTheServerStarts) {
  const TemporaryFolder folder;
  for (const auto& [id, file] : listedClients(folder)) {
    for (const bool direct : {false, true}) {
      std::vector<std::string> arguments = {"config", id};
      if (direct) arguments.emplace_back("--direct");
      const Outcome printed = runCompanion(folder, arguments);
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
    const Outcome written = runCompanion(folder, {"config", id, "--write"});
    EXPECT_EQ(written.status, 0) << id << written.error;
    std::ostringstream content;
    content << std::ifstream(file).rdbuf();
    EXPECT_EQ(content.str(), runCompanion(folder, {"config", id}).output) << id;
  }
}

TEST(Config, PassesAChosenServerOn) {
  const TemporaryFolder folder;
  const std::string printed =
      runCompanion(folder, {"config", "cursor", "--server", ORVANE_FAKE_SERVER}).output;
  EXPECT_EQ(commandLineIn(printed),
            (std::vector<std::string>{ORVANE_COMPANION, "serve", "--server", ORVANE_FAKE_SERVER}));
}

TEST_F(ConfigFile, KeepsOtherEntriesUnknownKeysOrderAndSpelling) {
  put("{\n  \"zebra\": 1.50,\n  \"mcpServers\": {\n    \"other\": {\"command\": \"x\"}\n  },\n  \"a\": "
      "1e2\n}\n");
  EXPECT_EQ(config({"--write"}).status, 0);
  EXPECT_EQ(content(),
            "{\n  \"zebra\": 1.50,\n  \"mcpServers\": {\n    \"other\": {\"command\": \"x\"},\n"
            "    \"orvane\": {\n      \"type\": \"stdio\",\n      \"command\": \"" ORVANE_COMPANION
            "\",\n      \"args\": [\n        \"serve\"\n      ]\n    }\n  },\n  \"a\": 1e2\n}\n");
}

TEST_F(ConfigFile, KeepsWhatElseItsOwnEntryHolds) {
  put(R"({"mcpServers": {"orvane": {"command": "/old", "env": {"A": "b"}, "args": ["serve"]}}})");
  config({"--write"});
  EXPECT_EQ(
      Json::parse(content())["mcpServers"]["orvane"],
      Json({{"command", ORVANE_COMPANION}, {"env", {{"A", "b"}}}, {"args", {"serve"}}, {"type", "stdio"}}));
}

TEST_F(ConfigFile, IsLeftAloneByASecondRun) {
  put("{\"a\": 1}");
  config({"--write"});
  const std::string once = content();
  const std::vector<std::string> files = filesInFolder();
  const Outcome second = config({"--write"});
  EXPECT_EQ(second.status, 0);
  EXPECT_EQ(second.output, path_ + " has this entry already.\n");
  EXPECT_EQ(content(), once);
  EXPECT_EQ(filesInFolder(), files);
}

TEST_F(ConfigFile, IsAsBeforeWhenTheEntryIsTakenOutAgain) {
  const std::string before = "{\n\t\"mcpServers\": {\n\t\t\"other\": {}\n\t}\n}\n";
  put(before);
  config({"--write"});
  EXPECT_NE(content(), before);
  EXPECT_EQ(config({"--remove"}).status, 0);
  EXPECT_EQ(content(), before);
  EXPECT_EQ(config({"--remove"}).output, path_ + " has no such entry.\n");
}

TEST_F(ConfigFile, IsCopiedBeforeEachChangeUnderAFreeName) {
  put("{}");
  config({"--write"});
  const std::string written = content();
  config({"--remove"});
  EXPECT_EQ(contentOf(path_ + ".orvane-backup"), "{}");
  EXPECT_EQ(contentOf(path_ + ".orvane-backup-2"), written);
}

TEST_F(ConfigFile, KeepsItsModeAndSoDoesTheCopy) {
  put("{}");
  fs::permissions(path_, fs::perms(0600));
  config({"--write"});
  EXPECT_EQ(fs::status(path_).permissions(), fs::perms(0600));
  EXPECT_EQ(fs::status(path_ + ".orvane-backup").permissions(), fs::perms(0600));
}

TEST_F(ConfigFile, StaysASymbolicLink) {
  fs::create_directory(folder_.path() + "/real");
  const std::string target = folder_.path() + "/real/settings.json";
  std::ofstream(target) << "{}";
  fs::create_symlink(target, path_);
  EXPECT_EQ(config({"--write"}).status, 0);
  EXPECT_TRUE(fs::is_symlink(path_));
  EXPECT_THAT(contentOf(target), HasSubstr("\"orvane\""));
}

TEST_F(ConfigFile, IsLeftAloneWithThePlaceOfTheErrorWhenItDoesNotParse) {
  const std::string broken = "{\n  \"a\": 1,\n  // a comment\n}";
  put(broken);
  for (const char* option : {"--write", "--remove"}) {
    const Outcome outcome = config({option});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.error, testing::StartsWith("orvane-mcp: " + path_ + ": line 3, column 3: "));
    EXPECT_EQ(std::count(outcome.error.begin(), outcome.error.end(), '\n'), 1);
  }
  EXPECT_EQ(content(), broken);
  EXPECT_EQ(filesInFolder(), (std::vector<std::string>{".claude.json"}));
}

TEST_F(ConfigFile, IsLeftAloneWhenSomethingElseStandsInTheWay) {
  for (const std::string text : {"[]", R"({"mcpServers": []})", R"({"mcpServers": null})"}) {
    put(text);
    EXPECT_EQ(config({"--write"}).status, 1) << text;
    EXPECT_EQ(content(), text);
  }
}

TEST_F(ConfigFile, MayBeEmpty) {
  put(" \n");
  EXPECT_EQ(config({"--write"}).status, 0);
  EXPECT_EQ(content(), config({}).output);
}

TEST_F(ConfigFile, IsLeftAloneWhenItSaysTheSameThingTwice) {
  const std::string ambiguous = R"({"mcpServers": {"orvane": {"a": 1}, "orvane": {"b": 2}}})";
  put(ambiguous);
  const Outcome outcome = config({"--remove"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.error, "orvane-mcp: " + path_ +
                               " is written in a way that cannot be changed safely here; "
                               "\"orvane-mcp config claude-code\" prints the entry\n");
  EXPECT_EQ(content(), ambiguous);
  EXPECT_EQ(filesInFolder(), (std::vector<std::string>{".claude.json"}));
}

TEST(ConfigToml, IsEditedInPlaceAndIsAsBeforeWhenTheEntryIsTakenOut) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/.codex/config.toml";
  const std::string before = "# mine\nmodel = \"m\" # big\n\n[mcp_servers.other]\ncommand = \"\u00e9\"\n";
  fs::create_directory(folder.path() + "/.codex");
  std::ofstream(path) << before;
  const auto content = [&path] {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
  };

  EXPECT_EQ(runCompanion(folder, {"config", "codex", "--write"}).status, 0);
  const std::string written =
      before + "\n[mcp_servers.orvane]\ncommand = \"" ORVANE_COMPANION "\"\nargs = [\"serve\"]\n";
  EXPECT_EQ(content(), written);
  EXPECT_EQ(runCompanion(folder, {"config", "codex", "--write"}).output, path + " has this entry already.\n");
  EXPECT_EQ(runCompanion(folder, {"config", "codex", "--remove"}).status, 0);
  EXPECT_EQ(content(), before);
}

TEST(ConfigToml, IsLeftAloneWithThePlaceOfTheErrorWhenItDoesNotParse) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/config.toml";
  std::ofstream(path) << "a = 1\nb = oops\n";
  const Outcome outcome = runCompanion(folder, {"config", "codex", "--write", "--file", path});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.error, testing::StartsWith("orvane-mcp: " + path + ": line 2, column 5: "));
}

TEST_F(ConfigFile, KeepsTheCommentsOfAnEditorsSettings) {
  const std::string path = folder_.path() + "/settings.json";
  std::ofstream(path) << "// mine\n{\n  \"theme\": \"dark\", // at night\n}\n";
  const Outcome outcome = runCompanion(folder_, {"config", "zed", "--write", "--file", path});
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  EXPECT_THAT(contentOf(path),
              testing::StartsWith("// mine\n{\n  \"theme\": \"dark\", // at night\n  \"context_"));
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
