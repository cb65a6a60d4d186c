// bench_host: the quickest host there can be, so that a round trip shows what the program before it costs.
// Answers each request by its selector with a text made once; keeps nothing, checks nothing. One connection
// at a time.
//
// Prints "ready" when it listens on its socket in the folder for temporary files. Ends when it is ended.

#include "payloads.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <string_view>

namespace {

constexpr std::size_t kChunkSize = 65536;  // bytes taken by one read

// --- what is answered ---

std::string address(int) {
  return R"("0x401000")";
}

std::string done(int) {
  return R"("done")";
}

/// The listing alone, without the array around it.
std::string listingText(int lines) {
  const std::string array = assemblyListing(lines);
  return array.substr(1, array.size() - 2);
}

struct CannedResult {
  std::string_view selector;
  std::string (*make)(int size);
  int size;  ///< 0: the request's first argument says it
};

constexpr CannedResult kResults[] = {
    {"currentAddressWithReply:", address, 1},
    {"procedureListWithReply:", procedureNames, 100000},
    {"procedureInfoListWithReply:", procedureDescriptions, 20000},
    {"asmOfProcedure:withReply:", listingText, 5300},
    {"searchProcedureUsingPattern:caseSensitive:withReply:", procedureNames, 0},
};
constexpr CannedResult kOtherResult = {"", done, 1};

/// The text between `before` and the next quote; empty where there is no `before`. The last one counts, since
/// the selector comes after the arguments.
std::string_view lastTextAfter(std::string_view line, std::string_view before) {
  const std::size_t at = line.rfind(before);
  if (at == std::string_view::npos) return {};
  const std::string_view rest = line.substr(at + before.size());
  return rest.substr(0, rest.find('"'));
}

/// The request's first argument as a number; 0 if it is none.
int firstNumber(std::string_view line) {
  const std::string text(lastTextAfter(line.substr(0, 64), R"("args":[")"));
  return std::atoi(text.c_str());
}

/// The framed reply to a request line. Made at the first request of its kind, then kept.
const std::string& replyTo(std::string_view line) {
  static std::map<std::pair<std::string_view, int>, std::string> made;
  const std::string_view selector = lastTextAfter(line, R"("request":")");
  const auto* found = std::find_if(std::begin(kResults), std::end(kResults),
                                   [selector](const CannedResult& row) { return row.selector == selector; });
  const CannedResult& row = found == std::end(kResults) ? kOtherResult : *found;
  const int size = row.size == 0 ? firstNumber(line) : row.size;
  std::string& reply = made[{row.selector, size}];
  if (!reply.empty()) return reply;

  const std::string json = R"({"result":)" + row.make(size) + R"(,"success":true})";
  const auto length = static_cast<std::int32_t>(json.size());
  reply.assign(reinterpret_cast<const char*>(&length), sizeof length);
  reply += json;
  return reply;
}

// --- the socket ---

bool sendAll(int connection, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

/// Answers every line of one connection until it is closed.
void serve(int connection) {
  std::string pending;
  char chunk[kChunkSize];
  while (true) {
    const ssize_t count = ::read(connection, chunk, sizeof chunk);
    if (count <= 0) return;
    const std::size_t searched = pending.size();
    pending.append(chunk, static_cast<std::size_t>(count));
    std::size_t begin = 0;
    std::size_t end = pending.find('\n', searched);
    while (end != std::string::npos) {
      if (!sendAll(connection, replyTo(std::string_view(pending).substr(begin, end - begin)))) return;
      begin = end + 1;
      end = pending.find('\n', begin);
    }
    pending.erase(0, begin);
  }
}

int listenInTemporaryFolder() {
  const char* folder = std::getenv("TMPDIR");
  const std::string path = std::string(folder ? folder : "/tmp") + "/" ORVANE_SERVICE_NAME;
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  if (path.size() >= sizeof name.sun_path) return -1;
  std::memcpy(name.sun_path, path.c_str(), path.size() + 1);
  const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
  if (::bind(listener, reinterpret_cast<const sockaddr*>(&name), sizeof name) < 0) return -1;
  return ::listen(listener, 8) < 0 ? -1 : listener;
}

}  // namespace

int main(int argc, char**) {
  if (argc > 1) {
    std::fputs("bench_host: takes no arguments\n", stderr);
    return 2;
  }
  const int listener = listenInTemporaryFolder();
  if (listener < 0) {
    std::perror("bench_host: cannot listen");
    return 1;
  }
  std::puts("ready");
  std::fflush(stdout);
  while (true) {
    const int connection = ::accept(listener, nullptr, nullptr);
    if (connection < 0) continue;
    serve(connection);
    ::close(connection);
  }
}
