#pragma once

#include "companion/session/host_socket.h"

#include <optional>
#include <string>

/// Watches the host's socket and decides when a fresh server is due: a server looks for the host only once,
/// when it starts. For one thread.
class HostWatch {
 public:
  /// Will look at `socketPath`.
  explicit HostWatch(std::string socketPath) : socketPath_(std::move(socketPath)) {}

  const std::string& socketPath() const { return socketPath_; }

  /// A server is about to start. Told before the start: a socket that appears while the server starts counts
  /// as new, at worst once too often.
  void serverStarts() { socketAtStart_ = identityOf(socketPath_); }

  /// Whether the server that was started last should be replaced before it gets the next message. One system
  /// call.
  bool freshServerIsDue() const;

 private:
  std::string socketPath_;
  std::optional<SocketIdentity> socketAtStart_;
};
