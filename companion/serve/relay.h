#pragma once

#include <string>

struct RelayOptions {
  std::string server;      ///< absolute path of its executable
  std::string socketPath;  ///< where the host's socket appears
  bool follow = true;      ///< whether a new socket there is answered with a fresh server
};

/// Starts the server and passes descriptor 0 to its standard input and its standard output to descriptor 1,
/// byte for byte, until the client's input has ended and every message has been answered, until the client no
/// longer reads, or until SIGTERM, SIGINT or SIGHUP. The server has ended when it returns.
///
/// A server that ends too early is replaced before the next message; the message that it was at work on is
/// answered with an error. With `follow`, a server that was started before the host's present socket was made
/// is replaced too, before the next message and never while one waits for its reply.
///
/// Returns true, or false with the reason in `error` when the server cannot be started to begin with. Takes
/// over the process's signals and makes descriptor 1 non-blocking if it is a pipe or socket. For one thread.
bool relay(const RelayOptions& options, std::string& error);
