// Plays one conversation file; see README.md beside it.

#include "support/scripted_host.h"
#include "support/server_process.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>

namespace {

std::vector<std::string> linesOf(const std::filesystem::path& file) {
  std::ifstream stream(file);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

class Conversation : public testing::TestWithParam<std::filesystem::path> {
 protected:
  void play(const std::string& line) {
    const std::string mark = line.substr(0, line.find(' '));
    const std::string rest = line.size() > mark.size() ? line.substr(mark.size() + 1) : "";
    if (mark == ">") {
      server_->writeLine(rest);
    } else if (mark == "<") {
      EXPECT_EQ(server_->readLine(), rest);
    } else if (mark == "host>") {
      EXPECT_EQ(host_->readLine(), rest);
    } else if (mark == "host<") {
      host_->reply(rest);
    } else if (mark == "host!") {
      host_->close();
    } else {
      EXPECT_EQ(mark, "#") << "an unknown mark";
    }
  }

  void start(bool withHost) {
    if (withHost) host_.emplace(folder_.socketPath());
    server_.emplace(ServerOptions{.socketFolder = folder_.path()});
    if (withHost) host_->accept();
  }

  const TemporaryFolder folder_;
  std::optional<ScriptedHost> host_;
  std::optional<ServerProcess> server_;
};

TEST_P(Conversation, GoesAsWritten) {
  const std::vector<std::string> lines = linesOf(GetParam());
  ASSERT_FALSE(lines.empty());
  start(std::ranges::any_of(lines, [](const std::string& line) { return line.starts_with("host"); }));
  for (const std::string& line : lines) {
    SCOPED_TRACE(line);
    play(line);
  }
  server_->waitUntilIdle();
  EXPECT_EQ(server_->pendingOutput(), "");
  EXPECT_TRUE(server_->isAlive());
}

std::vector<std::filesystem::path> conversations() {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(ORVANE_SOURCE_DIR "/tests/conversations")) {
    if (entry.path().extension() == ".conversation") files.push_back(entry.path());
  }
  return files;
}

INSTANTIATE_TEST_SUITE_P(All, Conversation, testing::ValuesIn(conversations()),
                         [](const auto& test) { return test.param.stem().string(); });

}  // namespace
