// `orvane-mcp config`: the entries it prints, and what it does to a client's file.

#include "companion/companion_process.h"
#include "support/waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

namespace {

using Json = nlohmann::ordered_json;
using testing::HasSubstr;
namespace fs = std::filesystem;

/// `orvane-mcp config` for somebody who has not set TMPDIR.
Outcome runConfig(const TemporaryFolder& folder, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "config");
  return runCompanion(folder, arguments, {"TMPDIR="});
}

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

class ConfigFile : public testing::Test {
 protected:
  /// Gives Claude Code's file this text, or one whose name goes on in this way.
  void put(const std::string& text, const std::string& suffix = {}) {
    std::ofstream(path_ + suffix, std::ios::binary) << text;
  }

  Outcome config(std::vector<std::string> options) {
    options.insert(options.begin(), "claude-code");
    return runConfig(folder_, options);
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

TEST_F(ConfigFile, KeepsTheRestOfTheEnvironmentWhenTmpdirIsEntered) {
  put(R"({"mcpServers": {"orvane": {"env": {"A": "b", "TMPDIR": "/old", "C": "d"}}}})");
  runCompanion(folder_, {"config", "claude-code", "--write"});
  EXPECT_EQ(Json::parse(content())["mcpServers"]["orvane"]["env"],
            Json({{"A", "b"}, {"TMPDIR", folder_.path()}, {"C", "d"}}));
}

TEST_F(ConfigFile, LetsNoTmpdirOfEarlierLeadElsewhere) {
  put(R"({"mcpServers": {"orvane": {"env": {"A": "b", "TMPDIR": "/old"}}}})");
  const Outcome outcome = config({"--write"});
  EXPECT_THAT(outcome.output, HasSubstr(" The entry sets TMPDIR to /tmp, "));
  EXPECT_EQ(Json::parse(content())["mcpServers"]["orvane"]["env"], Json({{"A", "b"}, {"TMPDIR", "/tmp"}}));
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

TEST_F(ConfigFile, IsKeptInItsNewestThreeCopies) {
  put("{}");
  put("{}", ".orvane-backup-x");
  put("{}", ".orvane-backup-07");
  for (int round = 0; round < 3; ++round) {
    config({"--write"});
    config({"--remove"});
  }
  EXPECT_THAT(filesInFolder(),
              testing::UnorderedElementsAre(".claude.json", ".claude.json.orvane-backup-4",
                                            ".claude.json.orvane-backup-5", ".claude.json.orvane-backup-6",
                                            ".claude.json.orvane-backup-x", ".claude.json.orvane-backup-07"));
  EXPECT_THAT(contentOf(path_ + ".orvane-backup-6"), HasSubstr("orvane"))
      << "the newest has the highest number";
}

TEST_F(ConfigFile, KeepsItsOwnerAndSoDoesTheCopy) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  constexpr uid_t kUser = 65533;
  constexpr gid_t kGroup = 65532;
  put("{}");
  ASSERT_EQ(::chown(path_.c_str(), kUser, kGroup), 0);
  config({"--write"});
  for (const std::string& file : {path_, path_ + ".orvane-backup"}) {
    struct stat info {};
    ASSERT_EQ(::stat(file.c_str(), &info), 0) << file;
    EXPECT_EQ(info.st_uid, kUser) << file;
    EXPECT_EQ(info.st_gid, kGroup) << file;
  }
}

TEST(Config, GivesNewFilesAndFoldersToTheOwnerOfTheFolderThatTheyAreIn) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  constexpr uid_t kUser = 65533;
  const TemporaryFolder folder;
  ASSERT_EQ(::chown(folder.path().c_str(), kUser, kUser), 0);
  EXPECT_EQ(runConfig(folder, {"zed", "--write"}).status, 0);
  for (const std::string file : {"/.config", "/.config/zed", "/.config/zed/settings.json"}) {
    struct stat info {};
    ASSERT_EQ(::stat((folder.path() + file).c_str(), &info), 0) << file;
    EXPECT_EQ(info.st_uid, kUser) << file;
    EXPECT_EQ(info.st_gid, kUser) << file;
  }
}

TEST_F(ConfigFile, HoldsWhatEveryOneOfManyAtOnceWrites) {
  const std::string path = folder_.path() + "/new/shared.json";
  std::vector<std::unique_ptr<ServerProcess>> runs;
  // Three kinds of entries, so that each must find what the others wrote.
  for (const std::string id : {"zed", "vscode", "gemini-cli", "zed", "vscode", "gemini-cli", "zed", "vscode"})
    runs.push_back(
        std::make_unique<ServerProcess>(ServerOptions{.socketFolder = folder_.path(),
                                                      .arguments = {"config", id, "--write", "--file", path},
                                                      .program = ORVANE_COMPANION}));
  for (const auto& run : runs) {
    const int status = run->waitForEnd();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << run->diagnostics();
  }
  const Json root = Json::parse(contentOf(path));
  for (const std::string servers : {"context_servers", "servers", "mcpServers"})
    EXPECT_TRUE(root.contains(servers) && root[servers].contains("orvane")) << servers << root;
}

TEST_F(ConfigFile, IsRefusedWhenItIsNoFile) {
  put("{}");
  const std::string pipe = folder_.path() + "/pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const std::string nowhere = folder_.path() + "/link";
  fs::create_symlink("/nonexistent/file", nowhere);
  const std::vector<std::pair<std::string, std::string>> rows = {
      {pipe, pipe + " is not a regular file"},
      {folder_.path(), folder_.path() + " is a folder"},
      {nowhere, nowhere + " is a symbolic link to nothing"},
      {path_ + "/file", "cannot read " + path_ + "/file: Not a directory"},
  };
  for (const auto& [path, complaint] : rows) {
    const Outcome outcome = config({"--write", "--file", path});
    EXPECT_EQ(outcome.status, 1) << path;
    EXPECT_EQ(outcome.error, "orvane-mcp: " + complaint + "\n");
  }
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

TEST_F(ConfigFile, MayHoldNothingButAByteOrderMark) {
  put("\xEF\xBB\xBF");
  EXPECT_EQ(config({"--write"}).status, 0);
  EXPECT_EQ(content(), "\xEF\xBB\xBF" + config({}).output);
}

TEST_F(ConfigFile, MayHoldNothingButCommentsWhereTheClientTakesThem) {
  put("// mine");
  EXPECT_EQ(runConfig(folder_, {"zed", "--write", "--file", path_}).status, 0);
  EXPECT_EQ(content(), "// mine\n" + runConfig(folder_, {"zed"}).output);
  put("// mine");
  EXPECT_EQ(config({"--write"}).status, 1) << "Claude Code takes no comments";
}

TEST_F(ConfigFile, IsRefusedWhenItIsNestedTooDeeply) {
  const std::string deep = "{\"a\": " + std::string(200000, '[') + std::string(200000, ']') + "}";
  put(deep);
  const Outcome outcome = config({"--write"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.error, "orvane-mcp: " + path_ + ": values are nested in more than 500 levels\n");
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

  EXPECT_EQ(runConfig(folder, {"codex", "--write"}).status, 0);
  const std::string written =
      before + "\n[mcp_servers.orvane]\ncommand = \"" ORVANE_COMPANION "\"\nargs = [\"serve\"]\n";
  EXPECT_EQ(content(), written);
  EXPECT_EQ(runConfig(folder, {"codex", "--write"}).output, path + " has this entry already.\n");
  EXPECT_EQ(runConfig(folder, {"codex", "--remove"}).status, 0);
  EXPECT_EQ(content(), before);
}

TEST(ConfigToml, MayEndWithoutALineFeedAndSpellOurEntryInAnyWay) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/config.toml";
  for (const std::string text :
       {"[mcp_servers.orvane]", "[mcp_servers.orvane.env]", "mcp_servers.orvane.env.A = 'b'",
        "[mcp_servers.orvane.env]\ncommand = \"x\"", "a = nan", "mcp_servers = {}", "mcp_servers.orvane = {}",
        "\xEF\xBB\xBF", "# mine", "mcp_servers.other.command = 'x'", "[mcp_servers]\norvane.command = 'x'"}) {
    std::ofstream(path) << text;
    const Outcome written = runCompanion(folder, {"config", "codex", "--write", "--file", path});
    EXPECT_EQ(written.status, 0) << text << written.error;
    const Outcome again = runCompanion(folder, {"config", "codex", "--write", "--file", path});
    EXPECT_EQ(again.output, path + " has this entry already.\n") << text;
    const Outcome removed = runCompanion(folder, {"config", "codex", "--remove", "--file", path});
    EXPECT_EQ(removed.status, 0) << text << removed.error;
  }
}

TEST(ConfigToml, IsRefusedWhenItJoinsTooManyKeys) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/config.toml";
  std::string keys = "a";
  for (int key = 0; key < 200000; ++key) keys += ".a";
  std::ofstream(path) << keys << " = 1\n";
  const Outcome outcome = runConfig(folder, {"codex", "--write", "--file", path});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.error, "orvane-mcp: " + path + ": more than 32 keys are joined with dots\n");
}

TEST(ConfigToml, IsLeftAloneWithThePlaceOfTheErrorWhenItDoesNotParse) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/config.toml";
  std::ofstream(path) << "a = 1\nb = oops\n";
  const Outcome outcome = runConfig(folder, {"codex", "--write", "--file", path});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.error, testing::StartsWith("orvane-mcp: " + path + ": line 2, column 5: "));
}

TEST_F(ConfigFile, KeepsTheCommentsOfAnEditorsSettings) {
  const std::string path = folder_.path() + "/settings.json";
  std::ofstream(path) << "// mine\n{\n  \"theme\": \"dark\", // at night\n}\n";
  const Outcome outcome = runConfig(folder_, {"zed", "--write", "--file", path});
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
