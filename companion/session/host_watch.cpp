#include "companion/session/host_watch.h"

bool HostWatch::freshServerIsDue() const {
  // A socket that has only vanished brings no host to connect to.
  const std::optional<SocketIdentity> now = identityOf(socketPath_);
  return now && now != socketAtStart_;
}
