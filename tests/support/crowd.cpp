#include "support/crowd.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

Crowd::Crowd(const std::string& socketPath) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  socketPath.copy(address.sun_path, sizeof address.sun_path - 1);
  do {
    clients_.push_back(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  } while (::connect(clients_.back(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0);
  if (errno != EAGAIN) throw std::runtime_error("nobody queues at " + socketPath);
}

Crowd::~Crowd() {
  for (const int client : clients_) ::close(client);
}
