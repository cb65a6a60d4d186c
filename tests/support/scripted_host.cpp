#include "support/scripted_host.h"

#include "support/waiting.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

ScriptedHost::ScriptedHost(const std::string& socketPath) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (socketPath.size() >= sizeof address.sun_path) throw std::runtime_error("the socket's path is too long");
  std::memcpy(address.sun_path, socketPath.c_str(), socketPath.size() + 1);
  listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const auto* const generic = reinterpret_cast<const sockaddr*>(&address);
  if (::bind(listener_, generic, sizeof address) != 0 || ::listen(listener_, 16) != 0) {
    throw std::runtime_error("cannot listen at " + socketPath);
  }
}

ScriptedHost::~ScriptedHost() {
  close();
  stopListening();
}

void ScriptedHost::accept() {
  waitUntilReadable(listener_, "a client's connection");
  connection_ = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
  const timeval limit{.tv_sec = kWaitLimitMs / 1000, .tv_usec = 0};
  ::setsockopt(connection_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
  ended_ = false;
  received_.clear();
}

std::string ScriptedHost::readLine() {
  std::size_t end = received_.find('\n');
  while (end == std::string::npos) {
    waitUntilReadable(connection_, "a request");
    char bytes[4096];
    const ssize_t count = ::read(connection_, bytes, sizeof bytes);
    if (count <= 0) {
      ended_ = true;
      return {};
    }
    const std::size_t searched = received_.size();
    received_.append(bytes, static_cast<std::size_t>(count));
    end = received_.find('\n', searched);
  }
  std::string line = received_.substr(0, end);
  received_.erase(0, end + 1);
  return line;
}

void ScriptedHost::send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::send(connection_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0) throw std::runtime_error("the client no longer reads");
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

void ScriptedHost::reply(std::string_view body) {
  send(framed(body));
}

void ScriptedHost::waitUntilTaken() const {
  waitUntil(
      [this] {
        int left = 0;
        return ::ioctl(connection_, SIOCOUTQ, &left) != 0 || left == 0;
      },
      "the client to read");
}

int ScriptedHost::refuseWaiting() {
  int count = 0;
  for (pollfd ready{listener_, POLLIN, 0}; ::poll(&ready, 1, 0) > 0; ++count) {
    const int client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) throw std::runtime_error("cannot accept a client that waits");
    ::close(client);
  }
  return count;
}

void ScriptedHost::close() {
  if (connection_ >= 0) ::close(connection_);
  connection_ = -1;
}

void ScriptedHost::stopListening() {
  if (listener_ >= 0) ::close(listener_);
  listener_ = -1;
}

std::string ScriptedHost::lengthField(std::int32_t length) {
  return std::string(reinterpret_cast<const char*>(&length), sizeof length);
}

std::string ScriptedHost::framed(std::string_view body) {
  return lengthField(static_cast<std::int32_t>(body.size())) + std::string(body);
}
