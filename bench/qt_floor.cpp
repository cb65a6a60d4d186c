// qt_floor: the least that a Qt program does which performs the exchange with the host as the server must: an
// application object, a thread that reads the lines, one QLocalSocket with waits that block; the request is a
// QJsonDocument printed compactly, the reply is parsed, its result printed compactly, held as a QString and
// encoded to UTF-8 again. It knows no MCP: a line is a request, a line comes back. Its allocator is told what
// the server's is.

#include "server/freed_memory.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>
#include <QThread>

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace {

constexpr std::size_t kChunkSize = 65536;  // bytes taken by one read
constexpr int kWaitMs = 30000;             // for the host, at each step

// --- the bytes in between ---

QString resultText(const QJsonValue& result) {
  if (result.isString()) return result.toString();
  const QJsonDocument document =
      result.isArray() ? QJsonDocument(result.toArray()) : QJsonDocument(result.toObject());
  return QString::fromUtf8(document.toJson(QJsonDocument::Compact));
}

QByteArray encodedResult(const QByteArray& reply) {
  QByteArray text = resultText(QJsonDocument::fromJson(reply).object()["result"]).toUtf8();
  text.replace('\n', ' ');  // the reader takes one line for one reply
  return text;
}

// --- the way there and back ---

bool readExactly(QLocalSocket& host, char* buffer, qint64 count) {
  qint64 received = 0;
  while (received < count) {
    if (host.bytesAvailable() <= 0 && !host.waitForReadyRead(kWaitMs)) return false;
    const qint64 taken = host.read(buffer + received, count - received);
    if (taken < 0) return false;
    received += taken;
  }
  return true;
}

QByteArray exchange(QLocalSocket& host, const QByteArray& line) {
  host.write(QJsonDocument::fromJson(line).toJson(QJsonDocument::Compact));
  host.write("\n");
  host.flush();
  host.waitForReadyRead(kWaitMs);
  std::int32_t length = 0;
  if (!readExactly(host, reinterpret_cast<char*>(&length), sizeof length)) return {};
  QByteArray reply(length, Qt::Uninitialized);
  if (!readExactly(host, reply.data(), length)) return {};
  return reply;
}

void writeLine(QByteArray text) {
  text += '\n';
  std::string_view remaining(text.constData(), static_cast<std::size_t>(text.size()));
  while (!remaining.empty()) {
    const ssize_t count = ::write(STDOUT_FILENO, remaining.data(), remaining.size());
    if (count < 0) return;
    remaining.remove_prefix(static_cast<std::size_t>(count));
  }
}

void answerLines() {
  QLocalSocket host;
  host.connectToServer(ORVANE_SERVICE_NAME, QIODevice::ReadWrite);
  std::string pending;
  char chunk[kChunkSize];
  ssize_t count = 0;
  while ((count = ::read(STDIN_FILENO, chunk, sizeof chunk)) > 0) {
    const std::size_t searched = pending.size();
    pending.append(chunk, static_cast<std::size_t>(count));
    std::size_t begin = 0;
    std::size_t end = pending.find('\n', searched);
    while (end != std::string::npos) {
      const QByteArray line(pending.data() + begin, static_cast<qsizetype>(end - begin));
      writeLine(encodedResult(exchange(host, line)));
      begin = end + 1;
      end = pending.find('\n', begin);
    }
    pending.erase(0, begin);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) {
    std::fputs("qt_floor: takes no arguments\n", stderr);
    return 2;
  }
  keepFreedMemory();
  QCoreApplication application(argc, argv);
  QThread thread;
  QObject::connect(&thread, &QThread::started, &thread, answerLines, Qt::DirectConnection);
  QObject::connect(&thread, &QThread::started, &application, &QCoreApplication::quit);
  thread.start(QThread::InheritPriority);
  const int status = QCoreApplication::exec();
  thread.quit();
  thread.wait();
  return status;
}
