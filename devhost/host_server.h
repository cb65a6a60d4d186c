#pragma once

// The host's end of the local socket: lines in, length-prefixed replies out.

#include "devhost/document/document.h"

#include <QByteArray>
#include <QJsonObject>
#include <QLocalServer>
#include <QLockFile>
#include <QObject>
#include <QString>

#include <cstddef>
#include <map>
#include <memory>

/// Longest request line, in bytes without its line feed. Far above what naming every procedure of a large
/// library at once takes.
inline constexpr qsizetype kMaxRequestBytes = qsizetype{32} << 20;

/// Most clients at a time; a connection beyond them is closed at once. Below what a process may have open.
inline constexpr std::size_t kMaxClients = 512;

/// A reply as it travels: the size of the JSON text in 4 bytes (signed, native byte order), then the text.
QByteArray framedReply(const QJsonObject& reply);

/// Serves `documents`, which must outlive it, to any number of clients. One request of each client is in work
/// at a time: the next is begun when the client has taken the reply. Lives on the thread of its event loop.
class HostServer : public QObject {
 public:
  explicit HostServer(DocumentList& documents);
  ~HostServer() override;

  /// Begins to serve as `serviceName`, the name of a file in the folder of sockets, for the user of this
  /// process alone. Removes a socket that a dead host left behind, and nothing else; refuses while a live one
  /// serves. False on failure, with one line in `error`.
  bool listen(const QString& serviceName, QString& error);

  /// Where clients connect to.
  QString socketPath() const { return server_.fullServerName(); }

 private:
  class Client;

  void takeClients();

  DocumentList& documents_;
  std::unique_ptr<QLockFile>
      lock_;  ///< held while serving: the socket's name alone cannot tell two hosts apart
  std::map<QObject*, std::unique_ptr<Client>>
      clients_;  ///< by socket; outlives the sockets, which `server_` owns
  QLocalServer server_;
};
