// A server for the faults that the real one does not have. Answers each line that is not blank with the line
// itself, except for these words at its start:
//   "quiet"       no reply
//   "pid"         its process number
//   "large N"     N bytes
//   "die"         ends without a reply
//   "die-half"    ends in the middle of a short reply
//   "die-large N" ends after N bytes of a reply
// With FAKE_SERVER=ends it ends as soon as it is started, with FAKE_SERVER=talks after it has said a line
// first. What it reads goes to FAKE_SERVER_LOG, if set.

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>

namespace {

void put(std::string_view bytes) {
  std::cout.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  std::cout.flush();
}

[[noreturn]] void dieAfter(std::string_view bytes) {
  put(bytes);
  ::_exit(3);
}

void answer(const std::string& line) {
  if (line.find_first_not_of(" \t\r") == std::string::npos || line.starts_with("quiet")) return;
  if (line.starts_with("large ")) return put(std::string(std::stoul(line.substr(6)), 'x') + '\n');
  if (line.starts_with("die-large ")) dieAfter(std::string(std::stoul(line.substr(10)), 'x'));
  if (line.starts_with("die-half")) dieAfter("half a re");
  if (line.starts_with("die")) dieAfter("");
  put((line.starts_with("pid") ? std::to_string(::getpid()) : line) + '\n');
}

}  // namespace

int main() {
  const char* const mode = std::getenv("FAKE_SERVER");
  if (mode != nullptr && std::string_view(mode) == "ends") return 1;
  const char* const logPath = std::getenv("FAKE_SERVER_LOG");
  std::ofstream log;
  if (logPath != nullptr) log.open(logPath, std::ios::app | std::ios::binary);
  std::ios::sync_with_stdio(false);
  for (std::string line; std::getline(std::cin, line);) {
    if (std::cin.eof()) break;
    log << line << '\n' << std::flush;
    answer(line);
  }
  while (true) ::pause();  // like the server, it stays until it is ended
}
