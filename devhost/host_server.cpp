#include "devhost/host_server.h"

#include "devhost/requests/selectors.h"

#include <QDir>
#include <QJsonDocument>
#include <QLocalSocket>
#include <QTimer>

#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

namespace {

/// How long a host that is there may take to accept a connection, in milliseconds.
constexpr int kConnectWaitMs = 1000;

/// Connections that may wait to be accepted while a request is in work.
constexpr int kListenBacklog = 128;

/// What is read ahead of the request in work, in bytes.
constexpr qint64 kReadAheadBytes = qint64{1} << 20;

bool isServed(const QString& serviceName) {
  QLocalSocket socket;
  socket.connectToServer(serviceName);
  return socket.waitForConnected(kConnectWaitMs);
}

/// Where Qt puts the socket of a service.
QString socketPathOf(const QString& serviceName) {
  return QDir::isAbsolutePath(serviceName) ? serviceName : QDir(QDir::tempPath()).filePath(serviceName);
}

}  // namespace

/// One client's connection, from its first byte to its end.
class HostServer::Client : public QObject {
 public:
  Client(QLocalSocket* socket, DocumentList& documents) : socket_(socket), documents_(documents) {
    socket_->setReadBufferSize(kReadAheadBytes);
    turn_.setSingleShot(true);
    connect(&turn_, &QTimer::timeout, this, &Client::serveNext);
    connect(socket_, &QLocalSocket::readyRead, &turn_, qOverload<>(&QTimer::start));
    connect(socket_, &QLocalSocket::bytesWritten, &turn_, qOverload<>(&QTimer::start));
    turn_.start();
  }

 private:
  void serveNext() {
    // A client that does not take its replies gets no further ones, which would only pile up here.
    if (socket_->bytesToWrite() > 0) return;
    while (socket_->bytesAvailable() > 0) {
      const QByteArray piece = socket_->readLine(kReadAheadBytes);
      if (piece.isEmpty()) return;
      if (isTooLong_ || line_.size() + piece.size() > kMaxRequestBytes + 1) {
        isTooLong_ = true;
        line_.clear();
      } else {
        line_ += piece;
      }
      if (!piece.endsWith('\n')) continue;
      answerLine();
      turn_.start();
      return;
    }
  }

  void answerLine() {
    const QByteArray line = std::exchange(line_, {}).chopped(isTooLong_ ? 0 : 1);
    const bool tooLong = std::exchange(isTooLong_, false);
    const QJsonObject reply =
        tooLong ? failureReply(QStringLiteral("The request is longer than %1 bytes.").arg(kMaxRequestBytes))
                : replyTo(documents_, line);
    socket_->write(framedReply(reply));
  }

  QLocalSocket* socket_;
  DocumentList& documents_;
  QTimer turn_;      ///< the next request waits here behind what other clients have asked
  QByteArray line_;  ///< of the request that is being received
  bool isTooLong_ = false;
};

QByteArray framedReply(const QJsonObject& reply) {
  QByteArray text = QJsonDocument(reply).toJson(QJsonDocument::Compact);
  if (text.size() > std::numeric_limits<std::int32_t>::max()) {
    text = QJsonDocument(failureReply(QStringLiteral("The answer is too large to be sent.")))
               .toJson(QJsonDocument::Compact);
  }
  const auto size = static_cast<std::int32_t>(text.size());
  QByteArray framed(sizeof size, Qt::Uninitialized);
  std::memcpy(framed.data(), &size, sizeof size);
  return framed + text;
}

HostServer::HostServer(DocumentList& documents) : documents_(documents) {
  server_.setSocketOptions(QLocalServer::UserAccessOption);
  server_.setListenBacklogSize(kListenBacklog);
  connect(&server_, &QLocalServer::newConnection, this, [this] { takeClients(); });
}

HostServer::~HostServer() = default;

bool HostServer::listen(const QString& serviceName, QString& error) {
  const QString path = socketPathOf(serviceName);
  lock_ = std::make_unique<QLockFile>(path + QStringLiteral(".lock"));
  lock_->setStaleLockTime(0);
  if (!lock_->tryLock(0) && lock_->error() == QLockFile::LockFailedError) {
    error = QStringLiteral("another host already serves %1").arg(path);
    return false;
  }
  // A host of another kind takes no lock.
  if (isServed(serviceName)) {
    error = QStringLiteral("another host already serves %1").arg(path);
    return false;
  }
  QLocalServer::removeServer(serviceName);
  if (server_.listen(serviceName)) return true;
  error = QStringLiteral("cannot serve %1: %2").arg(path, server_.errorString());
  return false;
}

void HostServer::takeClients() {
  while (QLocalSocket* socket = server_.nextPendingConnection()) {
    if (clients_.size() >= kMaxClients) {
      delete socket;
      continue;
    }
    connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    connect(socket, &QObject::destroyed, this, [this, socket] { clients_.erase(socket); });
    clients_.emplace(socket, std::make_unique<Client>(socket, documents_));
  }
}
