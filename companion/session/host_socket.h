#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// Where the server looks for the host's socket: in the folder for temporary files, as Qt resolves a plain
/// name. When TMPDIR names nothing that exists, that is the root folder.
std::string hostSocketPath();

/// The folder for temporary files, or what TMPDIR names in its place and does not exist.
std::string temporaryFolder();

/// Tells one socket file from another that has the same path.
struct SocketIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t seconds = 0;       ///< when it was made, since inode numbers are soon used again;
  std::uint32_t nanoseconds = 0;  ///< where the file system does not keep that, when it was last changed

  bool operator==(const SocketIdentity&) const = default;
};

/// The socket at `path`; nothing when there is none or something else is there. One system call.
std::optional<SocketIdentity> identityOf(const std::string& path);

/// What a visit to the host's socket finds.
enum class HostSocketState {
  kListening,    ///< somebody accepts connections
  kMissing,      ///< nothing is at the path
  kHidden,       ///< the way to it may not be searched; see HostSocketVisit::reason
  kNotASocket,   ///< something else is at the path
  kOtherOwner,   ///< it belongs to another user, and this one is not root
  kStale,        ///< left behind: nobody listens any more
  kBusy,         ///< somebody listens, but accepts nobody for now: the queue of connections is full
  kUnreachable,  ///< connecting fails for another reason; see HostSocketVisit::reason
};

struct HostSocketVisit {
  HostSocketState state = HostSocketState::kMissing;
  std::string reason = {};  ///< of the system, for kHidden and kUnreachable
};

/// Looks at the socket at `path` and, when it is this user's or this user is root, opens a connection to the
/// host and closes it at once. Sends nothing.
HostSocketVisit visitHostSocket(const std::string& path);
