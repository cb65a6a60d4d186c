// The way of a large reply from the socket's bytes to standard output's, whole and stage by stage, beside the
// same bytes through only those stages that are Qt's: document parsed, result printed compactly, decoded,
// encoded again.

#include "json/json.h"
#include "mcp/json_rpc.h"
#include "mcp/transport.h"
#include "payloads.h"
#include "server/freed_memory.h"
#include "server/mcp_server.h"
#include "tools/tool_handler.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

using json11::Json;

struct Reply {
  const char* name;
  QByteArray body;
};

std::vector<Reply> replies() {
  const auto around = [](const std::string& result) {
    return QByteArray::fromStdString("{\"result\":" + result + ",\"success\":true}");
  };
  const std::string listing = assemblyListing(5300);  // in an array, whose brackets go
  return {{"names_object", around(procedureNames(100000))},
          {"info_array", around(procedureDescriptions(20000))},
          {"long_string", around(listing.substr(1, listing.size() - 2))}};
}

// --- the stages, each as the server has it ---

QJsonValue parsedResult(const QByteArray& body) {
  return QJsonDocument::fromJson(body).object()["result"];
}

QByteArray compactBytes(const QJsonValue& result) {
  const QJsonDocument document =
      result.isArray() ? QJsonDocument(result.toArray()) : QJsonDocument(result.toObject());
  return document.toJson(QJsonDocument::Compact);
}

QString decodedText(const QJsonValue& result) {
  return result.isString() ? result.toString() : QString::fromUtf8(compactBytes(result));
}

Json textOf(const Json& result) {
  return result.type() == Json::Type::String ? result : Json(result.dump());
}

Json messageOf(const Json& text) {
  const Json content = Json::object{{"text", text}, {"type", "text"}};
  return Json::object{
      {"id", 1}, {"jsonrpc", "2.0"}, {"result", Json::object{{"content", Json::array{content}}}}};
}

void wholeWay(const QByteArray& body, McpServer& server) {
  const QString text = decodedText(parsedResult(body));
  Json result = resultFromText(text);
  result = textOf(result);
  sendMessage(server, messageOf(result));
}

void qtFloor(const QByteArray& body) {
  benchmark::DoNotOptimize(decodedText(parsedResult(body)).toUtf8());
}

// --- what is measured ---

using Work = std::function<void()>;

void runWork(benchmark::State& state, const Work& work) {
  for (auto _ : state) work();
}

/// Each stage works on what the stages before it made, outside the measured time.
void registerStages(const Reply& reply, McpServer& server) {
  const auto stage = [&reply](const char* name, const Work& work) {
    benchmark::RegisterBenchmark((std::string("reply_way/") + reply.name + "/" + name).c_str(), runWork, work)
        ->Unit(benchmark::kMicrosecond);
  };
  const QJsonValue parsed = parsedResult(reply.body);
  const QString decoded = decodedText(parsed);
  const std::string encoded = decoded.toStdString();
  const Json value = resultFromText(decoded);
  const Json message = messageOf(textOf(value));

  stage("whole", [&reply, &server] { wholeWay(reply.body, server); });
  stage("qt_floor", [&reply] { qtFloor(reply.body); });
  stage("1_document", [&reply] { benchmark::DoNotOptimize(parsedResult(reply.body)); });
  if (!parsed.isString()) {
    stage("2_compact", [parsed] { benchmark::DoNotOptimize(compactBytes(parsed)); });
  }
  stage("3_decode", [parsed, bytes = QByteArray::fromStdString(encoded)] {
    benchmark::DoNotOptimize(QString::fromUtf8(bytes));
  });
  stage("4_encode", [decoded] { benchmark::DoNotOptimize(decoded.toStdString()); });
  if (!parsed.isString()) {
    stage("5_parse", [encoded] {
      std::string error;
      benchmark::DoNotOptimize(Json::parse(encoded, error));
    });
    stage("6_dump", [value] { benchmark::DoNotOptimize(value.dump()); });
  }
  stage("7_quote", [message] { benchmark::DoNotOptimize(message.dump()); });
  stage("8_quote_and_write", [message, &server] { sendMessage(server, message); });
}

/// The server's messages go to descriptor 1, which leads nowhere from now on. Returns the name of the file
/// that it led to, for the figures.
std::string setStandardOutputAside() {
  const int figures = ::dup(STDOUT_FILENO);
  const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  ::dup2(nowhere, STDOUT_FILENO);
  return "/dev/fd/" + std::to_string(figures);
}

}  // namespace

int main(int argc, char** argv) {
  keepFreedMemory();  // as the server does
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  std::ofstream figures(setStandardOutputAside());
  const std::unique_ptr<benchmark::BenchmarkReporter> reporter(benchmark::CreateDefaultDisplayReporter());
  reporter->SetOutputStream(&figures);

  const std::vector<Reply> all = replies();
  McpServer server;
  for (const Reply& reply : all) registerStages(reply, server);
  benchmark::RunSpecifiedBenchmarks(reporter.get());
  benchmark::Shutdown();
}
