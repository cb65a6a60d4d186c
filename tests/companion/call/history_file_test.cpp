#include "companion/call/history_file.h"

#include "support/full_disk.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

TEST(HistoryFile, GivesTheLinesThatWereAddedInOrder) {
  const TemporaryFolder folder;
  const HistoryFile history(folder.path() + "/a/b/history");
  EXPECT_EQ(history.load(10), Lines{});
  history.add("first");
  history.add(
      "se\xc3\xa9"
      "cond\r");
  EXPECT_EQ(HistoryFile(folder.path() + "/a/b/history").load(10), (Lines{"first",
                                                                         "se\xc3\xa9"
                                                                         "cond\r"}));
}

TEST(HistoryFile, CanBeReadByItsOwnerOnly) {
  const TemporaryFolder folder;
  HistoryFile(folder.path() + "/state/history").add("line");
  EXPECT_EQ(fs::status(folder.path() + "/state/history").permissions(), fs::perms(0600));
  EXPECT_EQ(fs::status(folder.path() + "/state").permissions(), fs::perms(0700));
}

TEST(HistoryFile, IsCutDownWhenItHoldsMoreThanTwiceTheLinesWanted) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/history";
  const HistoryFile history(path);
  for (int line = 1; line <= 6; ++line) history.add(std::to_string(line));
  EXPECT_EQ(history.load(3), (Lines{"4", "5", "6"}));
  EXPECT_EQ(fs::file_size(path), 12U);  // not more than twice as many
  history.add("7");
  EXPECT_EQ(history.load(3), (Lines{"5", "6", "7"}));
  EXPECT_EQ(fs::file_size(path), 6U);
  EXPECT_EQ(fs::status(path).permissions(), fs::perms(0600));
}

TEST(HistoryFile, KeepsAllItsLinesWhereTheDiskIsTooFullToCutItDown) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/history";
  const HistoryFile history(path);
  for (int line = 1; line <= 7; ++line) history.add(std::to_string(line));
  {
    const FullDisk disk(4);
    EXPECT_EQ(history.load(3), (Lines{"5", "6", "7"}));
  }
  EXPECT_EQ(fs::file_size(path), 14U);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 1);
}

TEST(HistoryFile, IsLeftOutWhereThereCanBeNone) {
  const TemporaryFolder folder;
  std::ofstream(folder.path() + "/file") << "x";
  for (const std::string& path : {std::string(), folder.path(), folder.path() + "/file/history"}) {
    HistoryFile(path).add("line");
    EXPECT_EQ(HistoryFile(path).load(10), Lines{}) << path;
  }
}

TEST(HistoryPath, IsBelowTheStateFolderOfTheEnvironment) {
  const std::string home = std::getenv("HOME") == nullptr ? "" : std::getenv("HOME");
  ::setenv("HOME", "/home/me", 1);
  ::setenv("XDG_STATE_HOME", "/state", 1);
  EXPECT_EQ(historyPath(), "/state/orvane-mcp/history");
  ::setenv("XDG_STATE_HOME", "not/absolute", 1);
  EXPECT_EQ(historyPath(), "/home/me/.local/state/orvane-mcp/history");
  ::unsetenv("XDG_STATE_HOME");
  EXPECT_EQ(historyPath(), "/home/me/.local/state/orvane-mcp/history");
  ::unsetenv("HOME");
  EXPECT_EQ(historyPath(), "");
  if (!home.empty()) ::setenv("HOME", home.c_str(), 1);
}

}  // namespace
