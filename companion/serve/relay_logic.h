#pragma once

#include "companion/serve/client_outbox.h"
#include "companion/serve/line_cutter.h"
#include "companion/serve/request_queue.h"
#include "companion/session/fresh_server_rule.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// Everything that a relay between a client and a server decides: what to pass on, to keep, to answer itself,
/// and when to put a fresh server in the present one's place. Without descriptors, clocks and processes, so
/// that every course of events can be tried: it is told what has happened and says what is to be done.
///
/// A message goes to the server when the one before it has been answered. So a server that has answered is at
/// rest, can be replaced, and is owed nothing by the host but a call's answer that it gave up.
class RelayLogic {
 public:
  /// Since any fixed moment.
  using Time = std::chrono::milliseconds;

  struct Options {
    bool follow = true;  ///< whether a server that has lost the host is replaced
    bool exact = false;  ///< whether pings and notifications are treated like every other message
    std::size_t bufferBytes =
        std::size_t{1024} * 1024;  ///< what is kept in each direction before reading stops
  };

  explicit RelayLogic(const Options& options);

  // --- what is to be done ---

  enum class Step {
    kNothing,      ///< nothing but to write what is to be written and to wait
    kEnd,          ///< the relay's work is done
    kLookAtHost,   ///< look, with the connection if asksForConnection(), and tell hostSeen()
    kRenewServer,  ///< end the server, if there is one, start one, and tell serverStarted() or
                   ///< serverNotStarted()
  };
  /// What comes next. Any other than kNothing is to be done before waiting.
  Step nextStep() const;
  bool asksForConnection() const { return freshServerRule_.asksForConnection(); }

  /// What is to be written now; empty when there is nothing.
  std::string_view toServer() const;
  std::string_view toClient() const { return outbox_.unsent(); }
  /// Whether more is to be read now.
  bool readsClient() const { return !clientHasEnded_ && queue_.hasRoom(); }
  bool readsServer() const { return hasServer_ && outbox_.hasRoom(); }

  // --- what has happened ---

  void clientSent(std::string_view bytes);
  void clientEnded();  ///< it sends no more
  void clientTook(std::size_t count);
  void clientLeft();  ///< it reads no more

  /// `socket` is what was at the path of the host's socket before the start.
  void serverStarted(const std::optional<SocketIdentity>& socket);
  void serverNotStarted(const std::string& reason);
  void serverTook(std::size_t count, Time now);
  void serverClosedInput();  ///< it reads no more; its end is to follow
  void serverSent(std::string_view bytes, Time now);
  /// The server has ended and all its output has been told. `unread` is how much of what it was sent it has
  /// not read.
  void serverEnded(std::size_t unread);

  void hostSeen(const HostSight& sight);

 private:
  bool mayBegin() const { return hasServer_ && !serverIsDeaf_ && mayBegin_; }
  void answerPings();
  void take(std::string reply, Time now);
  void finishFront();
  void failFront(std::string_view reason);
  void forgetServer();

  const Options options_;
  RequestQueue queue_;  ///< its front is what the server is at, or gets next
  ClientOutbox outbox_;
  LineCutter replies_;
  FreshServerRule freshServerRule_;

  bool clientHasEnded_ = false;
  bool clientHasLeft_ = false;

  bool hasServer_ = false;
  bool serverIsDeaf_ = false;    ///< it reads no more
  bool serverAnswered_ = false;  ///< any message, ever
  int mutedServers_ = 0;         ///< servers in a row that ended without ever having answered anything

  bool mayBegin_ = false;     ///< the front may go to the present server
  bool isDue_ = false;        ///< the present server must be replaced first
  std::size_t sent_ = 0;      ///< how much of the front the server has taken
  bool awaitsReply_ = false;  ///< it has taken all of it and not answered
  Time sentAt_{};
};
