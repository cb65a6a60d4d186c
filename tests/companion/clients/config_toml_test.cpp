// `orvane-mcp config`: what it does to a client's file of TOML.

#include "companion/clients/run_config.h"
#include "companion/companion_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;

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

}  // namespace
