#include "ipc/ipc_client.h"

#include "ipc/external_api_service.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>

#include <cstdint>

namespace {

/// Reads exactly `count` bytes from `socket` into `buffer`.
///
/// `timeoutMs` bounds each wait for data, not the whole read. Returns false after a longer pause, a read
/// error or on a closed connection; the bytes taken so far are then lost. Reads nothing and succeeds for a
/// `count` of 0 or less.
bool readExactly(QLocalSocket& socket, char* buffer, qint64 count, int timeoutMs) {
  qint64 received = 0;
  while (received < count) {
    if (socket.bytesAvailable() <= 0 && !socket.waitForReadyRead(timeoutMs)) break;
    const qint64 taken = socket.read(buffer + received, count - received);
    if (taken < 0) break;
    if (taken == 0 && socket.state() != QLocalSocket::ConnectedState) break;
    received += taken;
  }
  return received >= count;
}

QJsonObject exchangeOver(QLocalSocket& socket, const QString& selector, const QJsonArray& args) {
  const QJsonObject envelope{{"request", selector}, {"args", args}};
  socket.write(QJsonDocument(envelope).toJson(QJsonDocument::Compact));
  socket.write("\n");
  socket.flush();

  // Only gives a slow host its time to begin; whether anything came is for the reads below to find out.
  socket.waitForReadyRead(kReplyWaitMs);
  std::int32_t length = 0;
  if (!readExactly(socket, reinterpret_cast<char*>(&length), sizeof length, kReadWaitMs)) return {};
  QByteArray body(length, Qt::Uninitialized);
  if (!readExactly(socket, body.data(), length, kReadWaitMs)) return {};
  return QJsonDocument::fromJson(body).object();
}

QString compactText(const QJsonDocument& document) {
  return QString::fromUtf8(document.toJson(QJsonDocument::Compact));
}

QString resultText(const QJsonValue& result) {
  if (result.isArray()) return compactText(QJsonDocument(result.toArray()));
  if (result.isString()) return result.toString();
  return compactText(QJsonDocument(result.toObject()));
}

/// The text that a request returns for `reply`; see IPCClient::request.
QString unwrap(const QJsonObject& reply, QString& error) {
  if (reply["success"].toBool(false)) return resultText(reply["result"]);
  error = reply["error"].toString(QLatin1StringView(""));
  return QLatin1StringView("");
}

}  // namespace

IPCClient::IPCClient() {
  socket_.connectToServer(kExternalApiServiceName, QIODevice::ReadWrite);
}

QString IPCClient::request(const QString& selector, QString& error) {
  return unwrap(exchange(selector), error);
}

QString IPCClient::request(const QString& selector, QString& error, const QJsonValue& arg1) {
  return unwrap(exchange(selector, arg1), error);
}

QString IPCClient::request(const QString& selector, QString& error, const QJsonValue& arg1,
                           const QJsonValue& arg2) {
  return unwrap(exchange(selector, arg1, arg2), error);
}

QJsonObject IPCClient::exchange(QString selector) {
  return exchangeOver(socket_, selector, {});
}

QJsonObject IPCClient::exchange(QString selector, const QJsonValue& arg1) {
  return exchangeOver(socket_, selector, {arg1});
}

QJsonObject IPCClient::exchange(QString selector, const QJsonValue& arg1, const QJsonValue& arg2) {
  return exchangeOver(socket_, selector, {arg1, arg2});
}
