#include "server/stdio_transport.h"

#include "mcp/json_rpc.h"
#include "mcp/transport.h"
#include "server/format_filter.h"
#include "server/freed_memory.h"

#include <fcntl.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

namespace {

constexpr std::size_t kChunkSize = 4096;  // bytes taken by one read
constexpr char kLineEnd = '\n';
constexpr std::string_view kBlanks = " \t\n\r";

void makeInputNonBlocking() {
  const int flags = ::fcntl(STDIN_FILENO, F_GETFL);
  ::fcntl(STDIN_FILENO, F_SETFL, flags | O_NONBLOCK);
}

/// Takes the first line, which ends before the line feed at `lineEnd`, and its line feed out of the buffer.
std::string takeLine(std::string& buffer, std::size_t lineEnd) {
  if (lineEnd + 1 == buffer.size()) {
    // Nothing has come behind it, as nearly always: a line of many megabytes is handed on without a copy.
    std::string line = std::exchange(buffer, std::string());
    line.pop_back();
    return line;
  }
  std::string line = buffer.substr(0, lineEnd);
  buffer.erase(0, lineEnd + 1);
  return line;
}

bool isBlank(const std::string& line) {
  return line.find_first_not_of(kBlanks) == std::string::npos;
}

/// Writes `message` and a line feed; what a failed write leaves is lost. Returns the length of both, in
/// bytes.
std::size_t writeLine(const json11::Json& message) {
  std::string text;
  message.dump(text);
  text += kLineEnd;
  std::string_view remaining = text;
  while (!remaining.empty()) {
    const ssize_t count = ::write(STDOUT_FILENO, remaining.data(), remaining.size());
    if (count >= 0) {
      remaining.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      std::fprintf(stderr, "write(stdout) error: %s\n", std::strerror(errno));
      break;
    }
  }
  return text.size();
}

}  // namespace

int run(McpServer& server) {
  makeInputNonBlocking();
  server.running = true;
  do {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(STDIN_FILENO, &readable);
    if (::select(STDIN_FILENO + 1, &readable, nullptr, nullptr, nullptr) < 0) {
      if (errno != EINTR) {
        printDiagnostic("select() error: %{public}s", errno);
        return 1;
      }
    } else if (FD_ISSET(STDIN_FILENO, &readable) && !readAvailable(server)) {
      return 0;
    }
  } while (server.running);
  return 0;
}

bool readAvailable(McpServer& server) {
  char chunk[kChunkSize];
  while (true) {
    const ssize_t count = ::read(STDIN_FILENO, chunk, sizeof chunk);
    if (count == 0) return false;
    if (count < 0) {
      if (errno == EAGAIN) return true;
      std::fprintf(stderr, "read(stdin) error: %s\n", std::strerror(errno));
      return false;
    }
    const std::string_view bytes(chunk, static_cast<std::size_t>(count));
    server.inputBuffer.append(bytes);
    // A chunk without a line feed completes no line: searching again what is already buffered would make a
    // long line cost the square of its length.
    if (bytes.find(kLineEnd) == std::string_view::npos) continue;
    const std::size_t buffered = server.inputBuffer.size();
    processLines(server);
    giveBackMemoryAfter(buffered);
  }
}

void processLines(McpServer& server) {
  std::string& buffer = server.inputBuffer;
  while (!buffer.empty()) {
    const std::size_t lineEnd = buffer.find(kLineEnd);
    if (lineEnd == std::string::npos) return;
    std::string line = takeLine(buffer, lineEnd);
    // A second carriage return stays: the parser takes it as white space.
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!isBlank(line)) handleMessage(server, line);
  }
}

void sendMessage(McpServer&, const json11::Json& message) {
  giveBackMemoryAfter(writeLine(message));
}
