// qt_floor: the least that a Qt program does which performs the exchange with the host as the server must: an
// application object; a thread that waits for input and drains it in small pieces; the channel to the host,
// which is the server's own; the result encoded to UTF-8. It knows no MCP: a line is a request, a line comes
// back. Its allocator is told what the server's is.

#include "ipc/ipc_client.h"
#include "server/freed_memory.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

#include <fcntl.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <string_view>

namespace {

constexpr std::size_t kChunkSize = 4096;  // bytes taken by one read, as by the server

/// The result of the request that `line` is.
QByteArray answerTo(IPCClient& host, const QByteArray& line) {
  const QJsonObject request = QJsonDocument::fromJson(line).object();
  const QString selector = request["request"].toString();
  const QJsonArray arguments = request["args"].toArray();
  QString error;
  QByteArray text;
  switch (arguments.size()) {
    case 0: text = host.request(selector, error).toUtf8(); break;
    case 1: text = host.request(selector, error, arguments[0]).toUtf8(); break;
    default: text = host.request(selector, error, arguments[0], arguments[1]).toUtf8(); break;
  }
  return text.replace('\n', ' ');  // the reader takes one line for one reply
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

void answerLines(IPCClient& host, std::string& pending) {
  std::size_t begin = 0;
  std::size_t end = pending.find('\n');
  while (end != std::string::npos) {
    const QByteArray line(pending.data() + begin, static_cast<qsizetype>(end - begin));
    writeLine(answerTo(host, line));
    begin = end + 1;
    end = pending.find('\n', begin);
  }
  pending.erase(0, begin);
}

/// Takes what has come and answers the lines that are complete. False at the end of input.
bool drainInput(IPCClient& host, std::string& pending) {
  char chunk[kChunkSize];
  while (true) {
    const ssize_t count = ::read(STDIN_FILENO, chunk, sizeof chunk);
    if (count <= 0) return count < 0 && errno == EAGAIN;
    const std::string_view bytes(chunk, static_cast<std::size_t>(count));
    pending.append(bytes);
    if (bytes.find('\n') != std::string_view::npos) answerLines(host, pending);
  }
}

void serve() {
  IPCClient host;
  ::fcntl(STDIN_FILENO, F_SETFL, ::fcntl(STDIN_FILENO, F_GETFL) | O_NONBLOCK);
  std::string pending;
  fd_set readable;
  do {
    FD_ZERO(&readable);
    FD_SET(STDIN_FILENO, &readable);
  } while (::select(STDIN_FILENO + 1, &readable, nullptr, nullptr, nullptr) > 0 && drainInput(host, pending));
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
  QObject::connect(&thread, &QThread::started, &thread, serve, Qt::DirectConnection);
  QObject::connect(&thread, &QThread::started, &application, &QCoreApplication::quit);
  thread.start(QThread::InheritPriority);
  const int status = QCoreApplication::exec();
  thread.quit();
  thread.wait();
  return status;
}
