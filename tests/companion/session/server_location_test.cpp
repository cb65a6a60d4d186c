#include "companion/companion_process.h"
#include "support/server_process.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;

TEST(ServerLocation, IsAFileThatMayBeExecuted) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/server";
  const std::string refusal = "orvane-mcp: " + path + " is not an executable file\n";
  EXPECT_EQ(runCompanion(folder, {"tools", "--server", path}).error, refusal) << "nothing is there";
  fs::create_directory(path);
  EXPECT_EQ(runCompanion(folder, {"tools", "--server", path}).error, refusal) << "a folder";
  fs::remove(path);
  std::ofstream(path) << "#!/bin/sh\n";
  EXPECT_EQ(runCompanion(folder, {"tools", "--server", path}).error, refusal) << "a file without the right";
  fs::remove(path);
  fs::create_symlink(ORVANE_SERVER, path);
  EXPECT_EQ(runCompanion(folder, {"tools", "--server", path}).error, "");
}

TEST(ServerLocation, IsTheFolderOfTheCompanionUnlessItIsGiven) {
  const TemporaryFolder folder;
  const std::string companion = folder.path() + "/orvane-mcp";
  fs::copy_file(ORVANE_COMPANION, companion);
  const auto run = [&folder, &companion] {
    ServerProcess process({.socketFolder = folder.path(), .arguments = {"tools"}, .program = companion});
    process.closeInput();
    const int status = process.waitForEnd();
    return std::pair(WEXITSTATUS(status), process.diagnostics());
  };
  EXPECT_EQ(run(), std::pair(1, "orvane-mcp: there is no OrvaneMCPServer in " + folder.path() + "\n"));
  fs::create_symlink(ORVANE_SERVER, folder.path() + "/OrvaneMCPServer");
  EXPECT_EQ(run(), std::pair(0, std::string()));
}

}  // namespace
