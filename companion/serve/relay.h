#pragma once

#include <string>

struct RelayOptions {
  std::string server;      ///< absolute path of its executable
  std::string socketPath;  ///< where the host's socket appears
  bool follow = true;      ///< whether a server that has lost the host is replaced
  bool exact = false;      ///< whether pings and replies to notifications pass like everything else
};

/// Starts the server and passes descriptor 0 to its standard input and its standard output to descriptor 1,
/// line by line, until the client's input has ended and every message has been answered, until the client no
/// longer reads, or until SIGTERM, SIGINT or SIGHUP (unless the caller has these ignored). The server has
/// ended when it returns. RelayLogic tells what passes, what is answered here, and when the server is
/// replaced.
///
/// Returns true, or false with the reason in `error` when the server cannot be started to begin with, the
/// replies cannot be written although somebody reads, or waiting fails. Takes over the process's signals. For
/// one thread.
bool relay(const RelayOptions& options, std::string& error);
