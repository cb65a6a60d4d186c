#pragma once

#include "companion/session/server_child.h"

#include <nlohmann/json.hpp>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

/// No limit for a wait: the server bounds its own waits for the host.
inline constexpr int kNoLimit = -1;

/// What ask() says when it was interrupted.
inline constexpr char kInterrupted[] = "interrupted";

/// A server of one's own, spoken to as a client does, one message at a time. For one thread; blocks.
class ServerSession {
 public:
  using Json = nlohmann::ordered_json;

  /// Starts `program`. Null, with the reason in `error`, when it cannot be executed.
  static std::unique_ptr<ServerSession> start(const std::string& program,
                                              ServerChild::Diagnostics diagnostics, std::string& error);

  /// From now on ask() gives up, with kInterrupted for its error, when `descriptor` can be read. That stays
  /// the caller's. -1 for none.
  void interruptBy(int descriptor) { interruption_ = descriptor; }

  /// Sends a request for `method` and waits up to `limitMs` milliseconds for its reply, which may be an error
  /// reply; bytes of it that are not UTF-8 are replaced. Nothing, with the reason in `error`, when none comes
  /// or it is not JSON. A session is of no more use then: a reply that comes late would be taken for the next
  /// request's.
  std::optional<Json> ask(const std::string& method, const Json& params, int limitMs, std::string& error);

  /// The server's process.
  pid_t pid() const { return child_->pid(); }

  /// Whether the server is known to have ended.
  bool hasEnded() const;

  /// Sends a notification; what it is lost to shows in the next request.
  void notify(const std::string& method);

 private:
  explicit ServerSession(std::unique_ptr<ServerChild> child) : child_(std::move(child)) {}

  bool exchange(std::string_view unsent, bool wantsReply, int limitMs, std::string& error);
  bool hasLine();
  std::string howItEnded();

  std::unique_ptr<ServerChild> child_;
  int interruption_ = -1;
  int lastId_ = 0;
  std::string received_;      ///< of its output, not yet taken as lines
  std::size_t searched_ = 0;  ///< how much of that is known to hold no line end
  std::string diagnostics_;   ///< all that came on its standard error, when that is piped
};
