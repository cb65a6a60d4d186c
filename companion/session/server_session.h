#pragma once

#include "companion/session/server_child.h"

#include <nlohmann/json.hpp>

#include <memory>
#include <optional>
#include <string>

/// No limit for a wait: the server bounds its own waits for the host.
inline constexpr int kNoLimit = -1;

/// A server of one's own, spoken to as a client does, one message at a time. For one thread; blocks.
class ServerSession {
 public:
  using Json = nlohmann::ordered_json;

  /// Starts `program`. Null, with the reason in `error`, when it cannot be executed.
  static std::unique_ptr<ServerSession> start(const std::string& program,
                                              ServerChild::Diagnostics diagnostics, std::string& error);

  /// Sends a request for `method` and waits up to `limitMs` milliseconds for its reply, which may be an error
  /// reply. Nothing, with the reason in `error`, when none comes or it is not JSON.
  std::optional<Json> ask(const std::string& method, const Json& params, int limitMs, std::string& error);

  /// The server's process.
  pid_t pid() const { return child_->pid(); }

  /// Sends a notification; what it is lost to shows in the next request.
  void notify(const std::string& method);

 private:
  explicit ServerSession(std::unique_ptr<ServerChild> child) : child_(std::move(child)) {}

  bool exchange(std::string unsent, bool wantsReply, int limitMs, std::string& error);
  std::string howItEnded();

  std::unique_ptr<ServerChild> child_;
  int lastId_ = 0;
  std::string received_;     ///< of its output, not yet taken as lines
  std::string diagnostics_;  ///< all that came on its standard error, when that is piped
};
