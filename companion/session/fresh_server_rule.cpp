#include "companion/session/fresh_server_rule.h"

void FreshServerRule::serverStarted(const std::optional<SocketIdentity>& socket) {
  socketAtStart_ = socket;
  lastWasEmpty_ = false;
  gaveUp_ = false;
}

void FreshServerRule::serverAnswered(bool withEmptyText, std::chrono::milliseconds took) {
  lastWasEmpty_ = withEmptyText;
  // The host's answer may still be on its way, and would be taken for the next call's.
  if (withEmptyText && took >= kServerGivesUpAfterMs) gaveUp_ = true;
}

bool FreshServerRule::isDue(const HostSight& sight) const {
  if (gaveUp_) return true;
  // A socket that has only vanished brings no host to connect to.
  if (!sight.socket) return false;
  return sight.socket != socketAtStart_ || (lastWasEmpty_ && !sight.serverIsConnected);
}
