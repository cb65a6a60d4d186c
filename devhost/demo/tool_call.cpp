#include "devhost/demo/tool_call.h"

#include "companion/session/reply_fields.h"

#include <QJsonDocument>

namespace {

/// A little longer than the server itself waits for the host, in milliseconds.
constexpr int kReplyLimitMs = 40000;

QByteArray compact(const QJsonObject& object) {
  return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

}  // namespace

QJsonObject Answer::object() const {
  return QJsonDocument::fromJson(text.toUtf8()).object();
}

QJsonArray Answer::array() const {
  return QJsonDocument::fromJson(text.toUtf8()).array();
}

Answer callTool(ServerSession& server, const QString& tool, const QJsonObject& arguments) {
  const ServerSession::Json params = {
      {"name", tool.toStdString()},
      {"arguments", ServerSession::Json::parse(compact(arguments).toStdString())}};
  std::string error;
  const auto reply = server.ask("tools/call", params, kReplyLimitMs, error);
  if (!reply) return {{}, QString::fromStdString(error)};
  return {QString::fromStdString(textOf(*reply)), QString::fromStdString(errorOf(*reply))};
}

QJsonObject resultOf(ServerSession& server, const std::string& method) {
  std::string error;
  const auto reply = server.ask(method, ServerSession::Json::object(), kReplyLimitMs, error);
  if (!reply) return {};
  return QJsonDocument::fromJson(QByteArray::fromStdString(reply->dump())).object()["result"].toObject();
}
