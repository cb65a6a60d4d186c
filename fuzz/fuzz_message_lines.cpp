// Any stream of bytes on standard input: cut into pieces at any places it draws the same replies as in one
// piece, and every reply is a JSON-RPC envelope on one line.
//
// Input: two bytes that choose the cuts, then the stream.

#include "fuzz_target.h"
#include "json/json.h"
#include "mcp/transport.h"
#include "server/stdio_transport.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <random>
#include <string_view>

using json11::Json;

namespace {

constexpr std::size_t kCutBytes = 2;

/// The part of a stream that is tried, so that it fits into a pipe in one piece.
constexpr std::size_t kMaxStream = 65536;

/// What the longest piece of a stream may measure: single bytes, pieces of a line, a few lines, more than one
/// read takes.
constexpr std::array<std::size_t, 4> kLongestPiece = {1, 20, 300, 10000};

/// Cuts made in one stream; the rest arrives in one piece. Keeps a long stream of single bytes from taking
/// most of the time.
constexpr int kMaxCuts = 200;

/// A pipe on descriptor 0 and a file in memory on descriptor 1, for as long as it lives.
class StandardStreams {
 public:
  StandardStreams() {
    std::array<int, 2> pipe{};
    expect(::pipe2(pipe.data(), O_NONBLOCK) == 0, "a pipe opens");
    ::dup2(pipe[0], STDIN_FILENO);
    ::close(pipe[0]);
    input_ = pipe[1];
    const int output = ::memfd_create("replies", 0);
    expect(output >= 0, "a file in memory opens");
    ::dup2(output, STDOUT_FILENO);
    ::close(output);
  }
  StandardStreams(const StandardStreams&) = delete;
  StandardStreams& operator=(const StandardStreams&) = delete;
  ~StandardStreams() {
    endInput();
    ::dup2(realInput_, STDIN_FILENO);
    ::dup2(realOutput_, STDOUT_FILENO);
    ::close(realInput_);
    ::close(realOutput_);
  }

  void write(std::string_view bytes) const {
    const ssize_t count = ::write(input_, bytes.data(), bytes.size());
    expect(count == static_cast<ssize_t>(bytes.size()), "the pipe takes a whole piece");
  }

  void endInput() {
    if (input_ >= 0) ::close(input_);
    input_ = -1;
  }

  std::string output() const {
    std::string bytes(static_cast<std::size_t>(::lseek(STDOUT_FILENO, 0, SEEK_END)), '\0');
    const ssize_t count = ::pread(STDOUT_FILENO, bytes.data(), bytes.size(), 0);
    expect(count == static_cast<ssize_t>(bytes.size()), "the replies are read back");
    return bytes;
  }

 private:
  const int realInput_ = ::dup(STDIN_FILENO);
  const int realOutput_ = ::dup(STDOUT_FILENO);
  int input_ = -1;
};

// --- the server under test

/// Offers tools that behave as a tool can: every kind of result, and failure.
void registerTools(ToolRegistry& registry) {
  const auto offer = [&registry](const char* name, ToolHandler handler) {
    registerTool(registry, Tool{name, name, Json::object{{"type", "object"}}}, std::move(handler));
  };
  const auto offerResult = [&offer](const char* name, const Json& result) {
    offer(name, [result](const Json&, std::string&) { return result; });
  };
  offer("echo", [](const Json& arguments, std::string&) { return arguments; });
  offer("say", [](const Json& arguments, std::string&) { return arguments["text"]; });
  offer("fail", [](const Json& arguments, std::string& error) {
    error = arguments["text"].stringValue();
    return Json("discarded if there is a text");
  });
  offerResult("null", Json());
  offerResult("true", true);
  offerResult("int", -7);
  offerResult("double", 0.1);
  offerResult("address", 18446744073709551615UL);
  offerResult("lines", "two\nlines");
  offerResult("list", Json::array{1, "two", nullptr});
}

std::string repliesInOnePiece(std::string_view stream) {
  StandardStreams streams;
  McpServer server;
  registerTools(*toolRegistry(server));
  streams.write(stream);
  streams.endInput();
  expect(run(server) == 0, "the run loop ends well at the end of input");
  return streams.output();
}

std::string repliesInPieces(std::string_view stream, unsigned seed) {
  StandardStreams streams;
  McpServer server;
  registerTools(*toolRegistry(server));
  std::minstd_rand random(seed);
  const std::size_t longest = kLongestPiece[seed % kLongestPiece.size()];
  for (int cut = 0; !stream.empty(); ++cut) {
    const std::size_t wanted = cut < kMaxCuts ? 1 + random() % longest : stream.size();
    const std::size_t length = std::min(wanted, stream.size());
    streams.write(stream.substr(0, length));
    stream.remove_prefix(length);
    expect(readAvailable(server), "the loop goes on while the input is open");
  }
  return streams.output();
}

// --- what the replies must be

/// Cuts the next line off `text`, which holds one.
std::string_view takeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end + 1);
  return line;
}

bool drawsReply(std::string_view line) {
  if (line.find_first_not_of(" \t\r") == std::string_view::npos) return false;
  std::string error;
  const Json message = Json::parse(std::string(line), error);
  return message["method"].stringValue() != "notifications/initialized";
}

std::size_t countExpectedReplies(std::string_view stream) {
  std::size_t count = 0;
  while (stream.find('\n') != std::string_view::npos) {
    if (drawsReply(takeLine(stream))) ++count;
  }
  return count;
}

void checkReply(std::string_view line) {
  std::string error;
  const Json reply = Json::parse(std::string(line), error);
  expectSame(error, "", "a reply parses");
  const Json::object& members = reply.objectItems();
  expect(members.size() == 3 && members.contains("id"), "a reply has an id and two members more");
  expectSame(reply["jsonrpc"].stringValue(), "2.0", "a reply is of JSON-RPC 2.0");
  expect(members.contains("result") != members.contains("error"), "a reply has a result or an error");
}

void checkReplies(std::string_view replies, std::size_t expected) {
  expect(replies.empty() || replies.back() == '\n', "a reply ends its line");
  std::size_t count = 0;
  for (; !replies.empty(); ++count) checkReply(takeLine(replies));
  expect(count == expected, "each message draws one reply, but for the accepted notification");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < kCutBytes) return 0;
  const unsigned seed = data[0] * 256U + data[1];
  const std::string text = asText(data + kCutBytes, std::min(size - kCutBytes, kMaxStream));
  const std::string replies = repliesInOnePiece(text);
  checkReplies(replies, countExpectedReplies(text));
  expectSame(repliesInPieces(text, seed), replies, "cuts make no difference");
  return 0;
}
