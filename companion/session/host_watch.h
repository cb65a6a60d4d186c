#pragma once

#include "companion/session/fresh_server_rule.h"

#include <sys/types.h>

#include <string>
#include <utility>

/// Looks at the host's socket at `socketPath` and, with `connectionToo`, at the connection that the process
/// `server` has to the host; without, that counts as there.
HostSight lookAtHost(const std::string& socketPath, pid_t server, bool connectionToo);

/// A FreshServerRule that looks for itself. For one thread.
class HostWatch {
 public:
  /// Will look at `socketPath`.
  explicit HostWatch(std::string socketPath) : socketPath_(std::move(socketPath)) {}

  const std::string& socketPath() const { return socketPath_; }

  /// A server is about to start. Told before the start: a socket that appears while the server starts counts
  /// as new, at worst once too often.
  void serverStarts() { rule_.serverStarted(identityOf(socketPath_)); }

  /// See FreshServerRule::serverAnswered.
  void serverAnswered(bool withEmptyText, std::chrono::milliseconds took) {
    rule_.serverAnswered(withEmptyText, took);
  }

  /// Whether `server`, the process that was started last, must be replaced before it gets another message.
  /// One system call, unless its last answer was an empty text.
  bool freshServerIsDue(pid_t server) const {
    return rule_.isDue(lookAtHost(socketPath_, server, rule_.asksForConnection()));
  }

 private:
  std::string socketPath_;
  FreshServerRule rule_;
};
