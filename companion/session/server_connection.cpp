#include "companion/session/server_connection.h"

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>

namespace {

/// How /proc/net/unix shows a socket that is connected.
constexpr std::string_view kConnected = "03";

/// The inode numbers of the sockets that `process` (a number, or "self") holds.
std::set<std::string> socketsOf(const std::string& process) {
  constexpr std::string_view kPrefix = "socket:[";
  std::set<std::string> sockets;
  std::error_code failed;
  std::filesystem::directory_iterator entry("/proc/" + process + "/fd", failed);
  for (; !failed && entry != end(entry); entry.increment(failed)) {
    std::error_code closed;  // in the meantime
    const std::string target = std::filesystem::read_symlink(entry->path(), closed).string();
    if (target.starts_with(kPrefix))
      sockets.insert(target.substr(kPrefix.size(), target.size() - kPrefix.size() - 1));
  }
  return sockets;
}

/// Whether one of `sockets` is a local socket that is connected.
bool anyConnected(const std::set<std::string>& sockets) {
  std::ifstream table("/proc/net/unix");
  std::string line;
  std::getline(table, line);  // the heading
  while (std::getline(table, line)) {
    std::istringstream columns(line);
    std::string address, references, protocol, flags, type, state, inode;
    columns >> address >> references >> protocol >> flags >> type >> state >> inode;
    if (state == kConnected && sockets.contains(inode)) return true;
  }
  return false;
}

}  // namespace

bool holdsHostConnection(pid_t server) {
  std::set<std::string> sockets = socketsOf(std::to_string(server));
  for (const std::string& shared : socketsOf("self")) sockets.erase(shared);
  return !sockets.empty() && anyConnected(sockets);
}
