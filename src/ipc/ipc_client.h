#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QLocalSocket>
#include <QObject>
#include <QString>

// Tests of the channel's limits build it with shorter ones.
#ifndef ORVANE_REPLY_WAIT_MS
#define ORVANE_REPLY_WAIT_MS 30000
#endif
#ifndef ORVANE_READ_WAIT_MS
#define ORVANE_READ_WAIT_MS 5000
#endif

/// Longest wait for a reply to begin, in milliseconds, taken once after a request is sent. Long because the
/// host answers a request for pseudo-code only when the whole text is ready.
inline constexpr int kReplyWaitMs = ORVANE_REPLY_WAIT_MS;

/// Longest pause between two arrivals of data while a reply is read, in milliseconds.
inline constexpr int kReadWaitMs = ORVANE_READ_WAIT_MS;

/// The blocking channel to the host application's external API.
///
/// Sends a request as one line of compact JSON, {"args": [...], "request": selector}; reads a reply as a
/// 4-byte length (signed, native byte order) and that many bytes of JSON, {"success", "result", "error"}.
///
/// The connection is attempted once, by the constructor, which does not wait for it. It is never retried, so
/// without a host at that moment no request ever succeeds. Replies carry no identifier and unread input is
/// never discarded: a reply that comes after its request gave up is read as the reply to the next one.
///
/// One request at a time, from the thread that constructed it; no event loop is needed. Whoever holds a
/// pointer to it must not outlive it.
class IPCClient : private QObject {
  Q_OBJECT

 public:
  IPCClient();

  /// Asks the host to carry out `selector` with up to two arguments and blocks until it has answered.
  ///
  /// Returns the reply's result as text: a string as it is, an array or object as compact JSON, "{}" for any
  /// other value or none. `error` is empty on entry and stays so.
  ///
  /// When the host reports a failure, returns the empty string (never a null one) and `error` receives the
  /// host's sentence, or nothing if it gave none. When the channel itself fails (no connection, no reply
  /// within kReplyWaitMs + kReadWaitMs, a pause above kReadWaitMs inside a reply, a reply that is not a JSON
  /// object), both are empty.
  QString request(const QString& selector, QString& error);
  QString request(const QString& selector, QString& error, const QJsonValue& arg1);
  QString request(const QString& selector, QString& error, const QJsonValue& arg1, const QJsonValue& arg2);

 private:
  /// One request and its reply envelope; an empty object when no complete reply was read.
  QJsonObject exchange(QString selector);
  QJsonObject exchange(QString selector, const QJsonValue& arg1);
  QJsonObject exchange(QString selector, const QJsonValue& arg1, const QJsonValue& arg2);

  QLocalSocket socket_{this};
};
