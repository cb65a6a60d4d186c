#include "devhost/host_server.h"

#include "devhost/requests/selectors.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QLocalSocket>
#include <QTimer>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

namespace {

/// Connections that may wait to be accepted while a request is in work.
constexpr int kListenBacklog = 128;

/// What is read ahead of the request in work, in bytes.
constexpr qint64 kReadAheadBytes = qint64{1} << 20;

/// Where Qt puts the socket of a service.
QString socketPathOf(const QString& serviceName) {
  return QDir(QDir::tempPath()).filePath(serviceName);
}

/// What a connection to the socket at `path` comes to: 0, or the error's number.
int errorOfConnecting(const QByteArray& path) {
  sockaddr_un address{};
  if (path.size() >= static_cast<qsizetype>(sizeof address.sun_path)) return ENAMETOOLONG;
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.constData(), static_cast<std::size_t>(path.size()));
  // Does not wait: a host whose queue is full is there all the same.
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) return errno;
  const int result = connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  const int error = result == 0 ? 0 : errno;
  close(descriptor);
  return error;
}

/// Makes sure that nothing lies at `path`, by removing a socket that nobody listens on any more. Everything
/// else stays as it is: false then, with the reason in `error`.
bool clearPath(const QString& path, QString& error) {
  const QByteArray name = QFile::encodeName(path);
  struct stat status {};
  if (lstat(name.constData(), &status) != 0) return true;
  if (!S_ISSOCK(status.st_mode)) {
    error = QStringLiteral("cannot serve %1: there is something else than a socket").arg(path);
    return false;
  }
  const int failure = errorOfConnecting(name);
  if (failure == ECONNREFUSED) {
    unlink(name.constData());
    return true;
  }
  // A queue without room shows as EAGAIN.
  error =
      failure == 0 || failure == EAGAIN
          ? QStringLiteral("another host already serves %1").arg(path)
          : QStringLiteral("cannot serve %1: %2").arg(path, QString::fromLocal8Bit(std::strerror(failure)));
  return false;
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
  if (!lock_->tryLock(0)) {
    error = lock_->error() == QLockFile::LockFailedError
                ? QStringLiteral("another host already serves %1").arg(path)
                : QStringLiteral("cannot serve %1: its lock %1.lock cannot be taken").arg(path);
    return false;
  }
  // A host of another kind takes no lock.
  if (!clearPath(path, error)) return false;
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
