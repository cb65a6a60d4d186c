#include "companion/session/host_socket.h"

#include "companion/common/build_values.h"

#include <QDir>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

/// May connect to everybody's sockets.
constexpr uid_t kRoot = 0;

}  // namespace

std::string hostSocketPath() {
  return (QDir::tempPath() + u'/' + QLatin1StringView(kServiceName)).toStdString();
}

std::string temporaryFolder() {
  const std::string folder = QDir::tempPath().toStdString();
  return folder.empty() ? qgetenv("TMPDIR").toStdString() : folder;
}

std::optional<SocketIdentity> identityOf(const std::string& path) {
  struct statx file {};
  constexpr unsigned kWanted = STATX_TYPE | STATX_INO | STATX_CTIME | STATX_BTIME;
  if (::statx(AT_FDCWD, path.c_str(), 0, kWanted, &file) != 0 || !S_ISSOCK(file.stx_mode))
    return std::nullopt;
  const statx_timestamp& made = (file.stx_mask & STATX_BTIME) != 0 ? file.stx_btime : file.stx_ctime;
  return SocketIdentity{.device = (std::uint64_t{file.stx_dev_major} << 32) | file.stx_dev_minor,
                        .inode = file.stx_ino,
                        .seconds = made.tv_sec,
                        .nanoseconds = made.tv_nsec};
}

HostSocketVisit visitHostSocket(const std::string& path) {
  struct stat file {};
  if (::stat(path.c_str(), &file) != 0) {
    if (errno == ENOENT || errno == ENOTDIR) return {HostSocketState::kMissing};
    return {HostSocketState::kHidden, std::strerror(errno)};
  }
  if (!S_ISSOCK(file.st_mode)) return {HostSocketState::kNotASocket};
  if (file.st_uid != ::geteuid() && ::geteuid() != kRoot) return {HostSocketState::kOtherOwner};

  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path)
    return {HostSocketState::kUnreachable, "its path is too long for a socket"};
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  const int failed = ::connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  const int reason = errno;
  ::close(probe);
  if (failed == 0) return {HostSocketState::kListening};
  if (reason == ECONNREFUSED) return {HostSocketState::kStale};
  if (reason == EAGAIN) return {HostSocketState::kBusy};
  return {HostSocketState::kUnreachable, std::strerror(reason)};
}
