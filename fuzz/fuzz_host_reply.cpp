// Any bytes as the host's replies to the five shapes of tool: the handler ends within the (shortened) time
// limits and returns what the bytes mean.
//
// Input: three characters, then the bytes that the host sends.
//   1  '0'..'4'  the shape of the first tool that is called; the next calls take the next shapes
//   2  'r'       the bytes are sent as they are
//      others    each line of the bytes is sent as one reply, behind its length
//   3  'o'       the connection stays open: an incomplete reply costs the time limits, so there is one call
//      'g'       the host has gone before the first call
//      others    the host sends nothing more but still takes requests

#include "fuzz_target.h"
#include "ipc/external_api_service.h"
#include "ipc/ipc_client.h"
#include "json/json.h"
#include "tools/tool_handler.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <optional>
#include <string_view>

using json11::Json;

namespace {

constexpr std::size_t kHeaderBytes = 3;
constexpr std::size_t kCalls = 3;

/// Longest reply that is announced together with other bytes. Longer than any input, so that what lies above
/// means the same; but the sanitizers take a third of a second for the storage of the longest one.
constexpr std::int32_t kMaxAnnounced = 1 << 20;

/// One tool for each way to put a request together.
constexpr CatalogueEntry kTools[] = {
    {.name = "none", .selector = "noneWithReply:", .description = ""},
    {.name = "text",
     .selector = "text:withReply:",
     .description = "",
     .arguments = {Argument{.name = "address"}}},
    {.name = "search",
     .selector = "search:caseSensitive:withReply:",
     .description = "",
     .arguments = {Argument{.name = "pattern"},
                   Argument{.name = "case_sensitive", .type = ArgumentType::kBoolean}}},
    {.name = "pair",
     .selector = "pair:at:withReply:",
     .description = "",
     .arguments = {Argument{.name = "name"}, Argument{.name = "address"}}},
    {.name = "map",
     .selector = "map:withReply:",
     .description = "",
     .arguments = {Argument{.name = "names", .type = ArgumentType::kTextMap}}},
};

// --- input

struct Script {
  std::size_t firstTool = 0;
  bool staysOpen = false;
  bool hasGone = false;
  std::string bytes;  ///< all that the host sends
};

/// Each line of `lines` behind its length, which the machine's own byte order gives.
std::string framed(std::string_view lines) {
  std::string bytes;
  while (!lines.empty()) {
    const std::string_view line = lines.substr(0, lines.find('\n'));
    lines.remove_prefix(std::min(line.size() + 1, lines.size()));
    const auto length = static_cast<std::int32_t>(line.size());
    bytes.append(reinterpret_cast<const char*>(&length), sizeof length);
    bytes.append(line);
  }
  return bytes;
}

/// The length that `bytes` begin with; none if they are too few.
std::optional<std::int32_t> announcedLength(std::string_view bytes) {
  std::int32_t length = 0;
  if (bytes.size() < sizeof length) return std::nullopt;
  std::memcpy(&length, bytes.data(), sizeof length);
  return length;
}

/// Takes the next reply's body off `bytes`. Of a reply that is not whole nothing is left.
std::string_view takeBody(std::string_view& bytes) {
  const std::optional<std::int32_t> length = announcedLength(bytes);
  bytes.remove_prefix(length ? sizeof *length : bytes.size());
  const auto size = static_cast<std::size_t>(std::max(length.value_or(0), 0));
  const std::string_view body = size <= bytes.size() ? bytes.substr(0, size) : std::string_view();
  bytes.remove_prefix(std::min(size, bytes.size()));
  return body;
}

bool announcesTooMuch(std::string_view bytes) {
  if (bytes.size() == sizeof(std::int32_t)) return false;
  while (!bytes.empty()) {
    if (announcedLength(bytes).value_or(0) > kMaxAnnounced) return true;
    takeBody(bytes);
  }
  return false;
}

Script readScript(const std::string& input) {
  const std::string bytes = input.substr(kHeaderBytes);
  return {.firstTool = static_cast<unsigned char>(input[0] - '0') % std::size(kTools),
          .staysOpen = input[2] == 'o',
          .hasGone = input[2] == 'g',
          .bytes = input[1] == 'r' ? bytes : framed(bytes)};
}

// --- the host

/// Listens where the channel looks for the host, in a folder of its own. Answers before it is asked: what it
/// sends waits in the connection, so no second thread is needed.
class Host {
 public:
  Host() {
    expect(folder_.isValid(), "a folder for the socket is made");
    qputenv("TMPDIR", folder_.path().toUtf8());
    const QByteArray path = (folder_.filePath(kExternalApiServiceName)).toUtf8();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    expect(static_cast<std::size_t>(path.size()) < sizeof address.sun_path, "the socket's path is short");
    std::memcpy(address.sun_path, path.data(), static_cast<std::size_t>(path.size()));
    const bool listening =
        ::bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        ::listen(listener_, 1) == 0;
    expect(listening, "the host listens");
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  ~Host() { ::close(listener_); }

  /// The next client's connection, which the caller closes.
  int accept() const {
    const int connection = ::accept(listener_, nullptr, nullptr);
    expect(connection >= 0, "the channel has connected");
    return connection;
  }

 private:
  QTemporaryDir folder_;
  const int listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

/// Sends what the connection takes without a reader and drops the rest from the script.
void play(int connection, Script& script) {
  const ssize_t sent =
      ::send(connection, script.bytes.data(), script.bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  script.bytes.resize(sent > 0 ? static_cast<std::size_t>(sent) : 0);
  if (!script.staysOpen) ::shutdown(connection, SHUT_WR);
}

// --- what the bytes mean

struct Outcome {
  std::string value;  ///< the JSON text of what the handler returns
  std::string error;
};

/// The envelope of a reply; empty for a body that is none.
QJsonObject envelopeOf(std::string_view body) {
  return QJsonDocument::fromJson(QByteArray(body.data(), static_cast<qsizetype>(body.size()))).object();
}

std::string resultText(const QJsonValue& result) {
  if (result.isString()) return result.toString().toStdString();
  const QJsonDocument document =
      result.isArray() ? QJsonDocument(result.toArray()) : QJsonDocument(result.toObject());
  return document.toJson(QJsonDocument::Compact).toStdString();
}

Json fromResultText(const std::string& text) {
  if (!text.starts_with('{') && !text.starts_with('[')) return text;
  std::string error;
  return Json::parse(text, error);
}

Outcome expectedOutcome(const QJsonObject& envelope) {
  if (envelope["success"] == QJsonValue(true)) {
    return {fromResultText(resultText(envelope["result"])).dump(), ""};
  }
  return {"\"\"", envelope["error"].toString().toStdString()};
}

// --- the calls

Json arguments() {
  return Json::object{{"address", "0x1000"},
                      {"case_sensitive", true},
                      {"name", "main"},
                      {"names", Json::object{{"0x1000", "main"}, {"0x1010", 5}}},
                      {"pattern", "ma.*"}};
}

Outcome call(const CatalogueEntry& tool, IPCClient& channel) {
  std::string error;
  const Json value = makeHandler(tool, &channel)(arguments(), error);
  return {value.dump(), error};
}

void checkCalls(IPCClient& channel, const Script& script) {
  std::string_view rest = script.hasGone ? std::string_view() : script.bytes;
  const std::size_t calls = script.staysOpen ? 1 : kCalls;
  for (std::size_t i = 0; i < calls; ++i) {
    const CatalogueEntry& tool = kTools[(script.firstTool + i) % std::size(kTools)];
    const Outcome got = call(tool, channel);
    const Outcome wanted = expectedOutcome(envelopeOf(takeBody(rest)));
    expectSame(got.value, wanted.value, "the handler returns what the reply means");
    expectSame(got.error, wanted.error, "the handler's error is the host's");
  }
}

/// Qt's sockets watch their descriptors through an application object.
void startApplication() {
  static char name[] = "fuzz_host_reply";
  static char* argv[] = {name, nullptr};
  static int argc = 1;
  static const QCoreApplication application(argc, argv);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < kHeaderBytes) return 0;
  startApplication();
  static const Host host;

  Script script = readScript(asText(data, size));
  if (announcesTooMuch(script.bytes)) return 0;
  IPCClient channel;
  const int connection = host.accept();
  play(connection, script);
  if (script.hasGone) ::close(connection);
  checkCalls(channel, script);
  if (!script.hasGone) ::close(connection);
  return 0;
}
