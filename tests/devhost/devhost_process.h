#pragma once

// The development host as a child process, and a client that speaks to it in plain bytes.

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QStringList>

/// Longest wait for anything that must happen, in milliseconds. Far beyond what it takes: it only keeps a
/// failing test from waiting for ever.
inline constexpr int kPatienceMs = 60000;

/// One run of orvane-devhost with its own folder for sockets.
class DevhostProcess {
 public:
  /// `folder` becomes the child's TMPDIR.
  explicit DevhostProcess(const QString& folder);
  ~DevhostProcess();

  /// Starts it and waits for the line that says it is ready; returns that line, empty if it ended instead.
  QString startAndWait(const QStringList& arguments);

  /// Starts it, and does not wait for anything but that.
  void start(const QStringList& arguments);

  /// Starts it and waits for its end; returns the exit status, -1 if a signal ended it.
  int run(const QStringList& arguments);

  /// Sends `signal` and waits for the end; returns the exit status, -1 if the signal ended it.
  int stop(int signal);

  qint64 pid() const { return process_.processId(); }
  QByteArray standardOutput() { return process_.readAllStandardOutput(); }
  QByteArray standardError() { return process_.readAllStandardError(); }
  /// How many descriptors it has open.
  qsizetype descriptorCount() const;

 private:
  int waitForEnd();

  QProcess process_;
};

/// A connection to a host, in plain bytes, so that nothing hides what travels.
class RawClient {
 public:
  explicit RawClient(const QString& socketPath);
  ~RawClient();
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  bool isConnected() const { return descriptor_ >= 0; }
  void send(const QByteArray& bytes);
  /// Exactly `count` bytes; fewer if the host closes the connection or is silent for too long.
  QByteArray read(qsizetype count);
  /// The next reply's envelope.
  QJsonObject readReply();
  QJsonObject ask(const QString& selector, const QJsonArray& args = {});
  void close();

 private:
  int descriptor_ = -1;
};

/// The line that asks for `selector`, as the server writes it.
QByteArray requestLine(const QString& selector, const QJsonArray& args = {});
