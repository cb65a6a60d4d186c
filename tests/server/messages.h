#pragma once

// Short messages, and their replies with the line feed that ends them on standard output.

#include "support/replies.h"
#include "support/requests.h"

#include <string>

inline std::string ping(int id) {
  return pingLine(id);
}

/// Its reply line.
inline std::string pong(int id) {
  return unknownMethodReply(id, "ping") + "\n";
}

/// The reply line to what does not parse.
inline std::string parseErrorLine(const std::string& message) {
  return parseErrorReply(message) + "\n";
}
