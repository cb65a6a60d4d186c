#include "companion/clients/settings_file.h"

#include "companion/clients/settings_backup.h"
#include "support/full_disk.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

namespace fs = std::filesystem;

class SettingsFileTest : public testing::Test {
 protected:
  void put(const std::string& text) { std::ofstream(path_, std::ios::binary) << text; }
  SettingsFile read() {
    std::string error;
    const std::optional<SettingsFile> file = readSettingsFile(path_, error);
    EXPECT_TRUE(file) << error;
    return file.value_or(SettingsFile{});
  }
  std::size_t filesInFolder() const {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder_.path()), {}));
  }

  TemporaryFolder folder_;
  std::string path_ = folder_.path() + "/settings";
};

TEST_F(SettingsFileTest, IsReadByteForByte) {
  const std::string text("a\0b\r\nc", 6);
  put(text);
  EXPECT_EQ(read().text, text);
  EXPECT_TRUE(read().exists);
}

TEST_F(SettingsFileTest, IsEmptyWhenItIsNotThere) {
  EXPECT_EQ(read().text, "");
  EXPECT_FALSE(read().exists);
}

TEST_F(SettingsFileTest, IsLeftAloneWhenSomebodyElseHasChangedIt) {
  put("old");
  const SettingsFile file = read();
  put("theirs");
  const Replacement replacement = replaceSettingsFile(file, "ours");
  EXPECT_TRUE(replacement.wasChangedMeanwhile);
  EXPECT_EQ(replacement.error, "");
  EXPECT_EQ(read().text, "theirs");
  EXPECT_EQ(filesInFolder(), 1U) << "no copy is left either";
}

TEST_F(SettingsFileTest, IsLeftAloneWhenSomebodyElseHasMadeOrRemovedIt) {
  const SettingsFile missing = read();
  put("theirs");
  EXPECT_TRUE(replaceSettingsFile(missing, "ours").wasChangedMeanwhile);
  EXPECT_EQ(read().text, "theirs");
  const SettingsFile file = read();
  fs::remove(path_);
  EXPECT_TRUE(replaceSettingsFile(file, "ours").wasChangedMeanwhile);
  EXPECT_EQ(filesInFolder(), 0U);
}

TEST_F(SettingsFileTest, IsLeftAloneWhenItCannotBeWritten) {
  put("old settings");
  const SettingsFile file = read();
  fs::remove(path_);
  Replacement replacement;
  {
    const FullDisk disk(4);
    replacement = replaceSettingsFile(read(), "new settings");
  }
  EXPECT_EQ(replacement.error, "cannot write " + path_ + ": File too large");
  EXPECT_EQ(filesInFolder(), 0U);
  put(file.text);
  {
    const FullDisk disk(4);
    replacement = replaceSettingsFile(file, "new");
  }
  EXPECT_EQ(replacement.error, "cannot make a backup: File too large");
  EXPECT_EQ(read().text, "old settings");
  EXPECT_EQ(filesInFolder(), 1U) << "no copy is left either";
}

TEST_F(SettingsFileTest, SaysWhyItCannotBeReadOrBackedUp) {
  std::string error;
  EXPECT_FALSE(readSettingsFile("/proc/self/mem", error)) << "nothing is mapped at its beginning";
  EXPECT_EQ(error, "cannot read /proc/self/mem: Input/output error");
  const QString longest = QString::fromStdString(folder_.path() + "/" + std::string(255, 'x'));
  EXPECT_EQ(makeBackup(longest, "text", {.user = ::getuid(), .group = ::getgid()}, error), QString());
  EXPECT_EQ(error, "cannot make a backup: File name too long");
}

TEST_F(SettingsFileTest, LocksTheFolderAndLeavesNothing) {
  const int folder = ::open(folder_.path().c_str(), O_RDONLY | O_DIRECTORY);
  {
    const SettingsLock lock(folder_.path() + "/missing/folders/settings");
    EXPECT_NE(::flock(folder, LOCK_EX | LOCK_NB), 0);
  }
  EXPECT_EQ(::flock(folder, LOCK_EX | LOCK_NB), 0);
  ::close(folder);
  EXPECT_EQ(filesInFolder(), 0U);
}

}  // namespace
