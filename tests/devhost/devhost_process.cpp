#include "devhost/devhost_process.h"

#include <QDir>
#include <QJsonDocument>
#include <QProcessEnvironment>

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstring>

DevhostProcess::DevhostProcess(const QString& folder) {
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QStringLiteral("TMPDIR"), folder);
  process_.setProcessEnvironment(environment);
  process_.setProgram(QStringLiteral(ORVANE_DEVHOST_PROGRAM));
}

DevhostProcess::~DevhostProcess() {
  if (process_.state() == QProcess::NotRunning) return;
  process_.kill();
  process_.waitForFinished(kPatienceMs);
}

QString DevhostProcess::startAndWait(const QStringList& arguments) {
  process_.setArguments(arguments);
  process_.start();
  while (!process_.canReadLine()) {
    if (!process_.waitForReadyRead(kPatienceMs)) return {};
  }
  return QString::fromUtf8(process_.readLine()).trimmed();
}

void DevhostProcess::start(const QStringList& arguments) {
  process_.setArguments(arguments);
  process_.start();
  EXPECT_TRUE(process_.waitForStarted(kPatienceMs));
}

int DevhostProcess::run(const QStringList& arguments) {
  process_.setArguments(arguments);
  process_.start();
  return waitForEnd();
}

int DevhostProcess::stop(int signal) {
  kill(static_cast<pid_t>(pid()), signal);
  return waitForEnd();
}

int DevhostProcess::waitForEnd() {
  if (process_.state() != QProcess::NotRunning) {
    EXPECT_TRUE(process_.waitForFinished(kPatienceMs));
  }
  return process_.exitStatus() == QProcess::NormalExit ? process_.exitCode() : -1;
}

qsizetype DevhostProcess::descriptorCount() const {
  return QDir(QStringLiteral("/proc/%1/fd").arg(pid()))
      .entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System)
      .size();
}

RawClient::RawClient(const QString& socketPath) {
  const QByteArray path = socketPath.toUtf8();
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  EXPECT_LT(path.size(), static_cast<qsizetype>(sizeof address.sun_path));
  std::memcpy(address.sun_path, path.constData(), static_cast<std::size_t>(path.size()));
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    descriptor_ = descriptor;
  } else {
    ::close(descriptor);
  }
}

RawClient::~RawClient() {
  close();
}

void RawClient::close() {
  if (descriptor_ >= 0) ::close(descriptor_);
  descriptor_ = -1;
}

void RawClient::send(const QByteArray& bytes) {
  qsizetype sent = 0;
  while (sent < bytes.size()) {
    const ssize_t taken = ::send(descriptor_, bytes.constData() + sent,
                                 static_cast<std::size_t>(bytes.size() - sent), MSG_NOSIGNAL);
    ASSERT_GT(taken, 0) << std::strerror(errno);
    sent += taken;
  }
}

QByteArray RawClient::read(qsizetype count) {
  QByteArray bytes;
  while (bytes.size() < count) {
    pollfd ready{descriptor_, POLLIN, 0};
    if (poll(&ready, 1, kPatienceMs) <= 0) break;
    QByteArray piece(count - bytes.size(), Qt::Uninitialized);
    const ssize_t taken = ::read(descriptor_, piece.data(), static_cast<std::size_t>(piece.size()));
    if (taken <= 0) break;
    bytes.append(piece.constData(), taken);
  }
  return bytes;
}

QJsonObject RawClient::readReply() {
  const QByteArray prefix = read(sizeof(std::int32_t));
  std::int32_t length = 0;
  if (prefix.size() != sizeof length) return {};
  std::memcpy(&length, prefix.constData(), sizeof length);
  return QJsonDocument::fromJson(read(length)).object();
}

QJsonObject RawClient::ask(const QString& selector, const QJsonArray& args) {
  send(requestLine(selector, args));
  return readReply();
}

QByteArray requestLine(const QString& selector, const QJsonArray& args) {
  const QJsonObject request{{"request", selector}, {"args", args}};
  return QJsonDocument(request).toJson(QJsonDocument::Compact) + '\n';
}
