#pragma once

#include "companion/session/host_socket.h"

#include <chrono>
#include <optional>

/// The shortest wait after which the server gives a call up: a pause within the host's reply, in
/// milliseconds. (Before a reply begins it waits 35 seconds.) Counted a little shorter, since waits are
/// rounded.
inline constexpr std::chrono::milliseconds kServerGivesUpAfterMs{4900};

/// What can be seen of the host from outside the server.
struct HostSight {
  std::optional<SocketIdentity> socket = {};  ///< what is at the path of the host's socket
  bool serverIsConnected = true;              ///< whether the server holds a connection
};

/// Decides when a fresh server is due. A server connects to the host once, when it starts, and takes whatever
/// comes first for the answer to its present call, so it never reaches a host that was started later, it
/// never finds back to a host that has dropped it, and after a call that it gave up all answers would come
/// one call late.
///
/// Only decides: it looks at nothing and starts nothing.
class FreshServerRule {
 public:
  /// A server has been started. `socket` is what was at the path of the host's socket before.
  void serverStarted(const std::optional<SocketIdentity>& socket);

  /// The server has answered a message. `withEmptyText` tells whether the answer is a result with an empty
  /// text, which is what it says in place of an answer that it did not get; `took` is the time since the
  /// message was sent.
  void serverAnswered(bool withEmptyText, std::chrono::milliseconds took);

  /// Whether isDue() depends on HostSight::serverIsConnected, which is costly to find out.
  bool asksForConnection() const { return lastWasEmpty_ && !gaveUp_; }

  /// Whether the server must be replaced before it gets another message.
  bool isDue(const HostSight& sight) const;

 private:
  std::optional<SocketIdentity> socketAtStart_;
  bool lastWasEmpty_ = false;
  bool gaveUp_ = false;
};
