#pragma once

#include "companion/serve/relay_logic.h"
#include "companion/session/host_socket.h"
#include "companion/simulation/conversation.h"

#include <optional>
#include <string>
#include <string_view>

/// A host that comes and goes, as far as it can be seen through the file system.
struct SimulatedHost {
  std::optional<SocketIdentity> socket = {};
  bool listens = false;  ///< false also when a socket was left behind

  void open(Random& random);
};

/// A server process: two pipes, a connection to the host that is made once and never looked after, and one
/// message at a time. Faults of the relay are thrown as std::string.
class SimulatedServer {
 public:
  using Time = RelayLogic::Time;

  SimulatedServer(Random& random, Conversation& conversation, const SimulatedHost& host);

  /// Takes a beginning of `bytes` into its pipe. Returns how much.
  std::size_t take(std::string_view bytes);
  /// Reads on, and answers what is due.
  void run(Time now);
  void die();
  bool isAlive() const { return isAlive_; }
  /// When it will answer what it is at.
  std::optional<Time> answersAt() const {
    return present_ != nullptr ? std::optional(answerAt_) : std::nullopt;
  }

  std::size_t unread() const { return pipe_.size(); }
  /// What it has written and nobody has read.
  std::string& output() { return output_; }

  /// The host has closed the connection; the server sees it when it next uses it.
  void loseHost(Time now);

  /// The socket that was there when it was started.
  const std::optional<SocketIdentity>& socketAtStart() const { return socketAtStart_; }
  bool holdsConnection() const { return holdsConnection_; }
  /// Whether the host's answer to a call that was given up would be taken for the next one's.
  bool owesAnAnswer() const { return owesAnAnswer_; }
  /// Whether a call has shown that there is no connection.
  bool knowsOfNoHost() const { return knowsOfNoHost_; }

 private:
  void begin(std::string_view line, Time now);
  void askHost(Time now);
  void answer();

  Random& random_;
  Conversation& conversation_;
  const std::size_t capacity_;
  const std::optional<SocketIdentity> socketAtStart_;
  bool isAlive_ = true;
  std::string pipe_;
  std::string line_;  ///< as far as it has been read
  std::string output_;
  bool holdsConnection_;
  bool isConnected_;  ///< on the host's side too
  bool owesAnAnswer_ = false;
  bool knowsOfNoHost_ = false;
  Message* present_ = nullptr;
  Time answerAt_{};
  std::string answer_;
};
