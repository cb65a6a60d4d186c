#pragma once

#include <string>
#include <vector>

/// Clients that fill the queue of the host that listens at a socket, so that no other finds room until the
/// host accepts some. They stay until the end, without a word.
class Crowd {
 public:
  /// Throws if the host refuses the clients instead of letting them wait.
  explicit Crowd(const std::string& socketPath);
  ~Crowd();
  Crowd(const Crowd&) = delete;
  Crowd& operator=(const Crowd&) = delete;

  /// How many clients the host has to accept before it comes to those that asked later.
  std::size_t size() const { return clients_.size() - 1; }

 private:
  std::vector<int> clients_;  ///< the last one found no room
};
