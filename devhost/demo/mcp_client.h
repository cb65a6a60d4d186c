#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QProcess>
#include <QString>

/// What a tool call came to: the answer's text, or the error that took its place.
struct Answer {
  QString text;
  QString error;  ///< empty when the call succeeded

  /// The text as a JSON object or array; empty if it is none.
  QJsonObject object() const;
  QJsonArray array() const;
};

/// The least that is needed to speak to the server as its clients do: a child process, one message a line.
/// A server that does not answer within half a minute, or ends, is reported as an error of the call.
class McpClient {
 public:
  /// Starts `program`; false if that fails.
  bool start(const QString& program);
  ~McpClient();

  /// Sends a request and returns the whole reply; empty if none came.
  QJsonObject request(const QString& method, const QJsonObject& params = {});
  /// Sends a message that has no reply.
  void notify(const QString& method);
  /// Calls a tool.
  Answer call(const QString& tool, const QJsonObject& arguments = {});

 private:
  void send(const QJsonObject& message);

  QProcess server_;
  int lastId_ = 0;
};
