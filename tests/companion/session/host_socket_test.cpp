#include "companion/session/host_socket.h"

#include "support/scripted_host.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <filesystem>
#include <optional>
#include <string>

namespace {

namespace fs = std::filesystem;

bool keepsTimeOfBirth(const std::string& path) {
  struct statx file {};
  return ::statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME, &file) == 0 && (file.stx_mask & STATX_BTIME) != 0;
}

TEST(IdentityOfASocket, OutlivesAChangeOfItsMode) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/socket";
  const ScriptedHost host(path);
  if (!keepsTimeOfBirth(path)) GTEST_SKIP() << "the file system does not keep when a file was made";
  const std::optional<SocketIdentity> before = identityOf(path);
  ASSERT_TRUE(before);
  fs::permissions(path, fs::perms(0600));
  fs::permissions(path, fs::perms(0700));
  EXPECT_EQ(identityOf(path), before);
}

TEST(VisitToTheHostsSocket, TellsThatItsPathIsTooLong) {
  const std::string longest(sizeof(sockaddr_un::sun_path), 'x');
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/" + longest;
  const ScriptedHost host(folder.path() + "/socket");
  fs::rename(folder.path() + "/socket", path);
  const HostSocketVisit visit = visitHostSocket(path);
  EXPECT_EQ(visit.state, HostSocketState::kUnreachable);
  EXPECT_EQ(visit.reason, "its path is too long for a socket");
}

}  // namespace
