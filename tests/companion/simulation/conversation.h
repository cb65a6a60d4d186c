#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

using Random = std::mt19937;

/// Whether something happens that happens once in `often` times.
inline bool onceIn(Random& random, unsigned often) {
  return random() % often == 0;
}

/// A number from `least` to `most`.
inline std::size_t between(Random& random, std::size_t least, std::size_t most) {
  return least + random() % (most - least + 1);
}

/// One line of a simulated client, and what has become of it.
struct Message {
  enum class Kind { kCall, kOther, kGarbage, kNotification, kSilentCall, kInitialized, kBlank, kPing };

  Kind kind;
  std::string number;      ///< its own; its id, if it has one
  std::string line;        ///< without its line feed
  std::string reply = {};  ///< of the server, with its line feed, once it has given one
  int begun = 0;           ///< how many servers have read all of it
  int answered = 0;        ///< how many replies the client has got to it
  bool isSent = false;     ///< the relay has all of it

  /// Whether the server answers it.
  bool drawsReply() const { return kind != Kind::kInitialized && kind != Kind::kBlank; }
  bool isCall() const { return kind == Kind::kCall || kind == Kind::kSilentCall; }
  bool isNotification() const { return kind == Kind::kNotification || kind == Kind::kSilentCall; }
};

/// All that a client says in one schedule.
class Conversation {
 public:
  explicit Conversation(Random& random);

  std::vector<Message>& messages() { return messages_; }
  const std::vector<Message>& messages() const { return messages_; }

  /// The message whose line is `line`; null for a blank line.
  Message* find(std::string_view line);

 private:
  std::vector<Message> messages_;
};

/// The server's reply to `message`, with a line feed. `text` is what the host says, if it is a call.
std::string replyOf(const Message& message, std::string_view text);
