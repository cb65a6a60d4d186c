#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// A host that does what the test says, byte by byte. Plain POSIX, so that it shares no mistake with the
/// channel that it tests. Every wait has a generous limit after which it throws.
class ScriptedHost {
 public:
  /// Listens at `socketPath`. Connections are accepted by the kernel from now on.
  explicit ScriptedHost(const std::string& socketPath);
  ~ScriptedHost();
  ScriptedHost(const ScriptedHost&) = delete;
  ScriptedHost& operator=(const ScriptedHost&) = delete;

  /// Waits for the next client and talks to it from now on.
  void accept();
  /// Waits for a line and returns it without its line feed; empty with `ended()` when the client has gone.
  std::string readLine();
  bool ended() const { return ended_; }
  /// Whether the connection is open on this side.
  bool isConnected() const { return connection_ >= 0; }

  /// Sends bytes as they are.
  void send(std::string_view bytes);
  /// Sends a length and that many bytes.
  void reply(std::string_view body);
  /// Waits until the client has read everything that was sent.
  void waitUntilTaken() const;
  /// Lets go of all clients that wait to be accepted; returns how many there were. A connection counts from
  /// the moment at which the client has asked for it.
  int refuseWaiting();
  /// Closes the connection, not the listener.
  void close();
  /// Stops listening; later connections are refused.
  void stopListening();

  /// The bytes of a length field.
  static std::string lengthField(std::int32_t length);
  /// A whole reply: length field and body.
  static std::string framed(std::string_view body);

 private:
  int listener_ = -1;
  int connection_ = -1;
  bool ended_ = false;
  std::string received_;
};
