#include "mcp_client.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace {

constexpr int kReplyLimitMs = 30000;
constexpr int kEndLimitMs = 2000;

}  // namespace

QJsonObject Answer::object() const {
  return QJsonDocument::fromJson(text.toUtf8()).object();
}

QJsonArray Answer::array() const {
  return QJsonDocument::fromJson(text.toUtf8()).array();
}

bool McpClient::start(const QString& program) {
  server_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
  server_.start(program, QStringList());
  return server_.waitForStarted();
}

McpClient::~McpClient() {
  // The server stays until its client ends it, also after its input has ended.
  server_.terminate();
  server_.waitForFinished(kEndLimitMs);
}

void McpClient::send(const QJsonObject& message) {
  server_.write(QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n');
}

QJsonObject McpClient::request(const QString& method, const QJsonObject& params) {
  send({{"jsonrpc", "2.0"}, {"id", ++lastId_}, {"method", method}, {"params", params}});
  while (!server_.canReadLine()) {
    if (!server_.waitForReadyRead(kReplyLimitMs)) return {};
  }
  return QJsonDocument::fromJson(server_.readLine()).object();
}

void McpClient::notify(const QString& method) {
  send({{"jsonrpc", "2.0"}, {"method", method}});
}

Answer McpClient::call(const QString& tool, const QJsonObject& arguments) {
  const QJsonObject reply = request("tools/call", {{"name", tool}, {"arguments", arguments}});
  if (reply.isEmpty()) return {{}, "the server did not answer"};
  if (reply.contains("error")) return {{}, reply["error"]["message"].toString()};
  return {reply["result"]["content"][0]["text"].toString(), {}};
}
