// `orvane-mcp config`: what it does to a client's file of JSON.

#include "companion/clients/run_config.h"
#include "companion/companion_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using Json = nlohmann::ordered_json;
using testing::HasSubstr;
namespace fs = std::filesystem;

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

TEST_F(ConfigFile, KeepsTheCommentsOfAnEditorsSettings) {
  const std::string path = folder_.path() + "/settings.json";
  std::ofstream(path) << "// mine\n{\n  \"theme\": \"dark\", // at night\n}\n";
  const Outcome outcome = runConfig(folder_, {"zed", "--write", "--file", path});
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  EXPECT_THAT(contentOf(path),
              testing::StartsWith("// mine\n{\n  \"theme\": \"dark\", // at night\n  \"context_"));
}

}  // namespace
