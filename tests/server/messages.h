#pragma once

// Short messages and their replies.

#include <string>

/// A message that any server answers: no method is called "ping".
inline std::string ping(int id) {
  return R"({"id": )" + std::to_string(id) + R"(, "method": "ping"})";
}

/// Its reply line.
inline std::string pong(int id) {
  return R"({"error": {"code": -32601, "data": "ping", "message": "Method not found"}, "id": )" +
         std::to_string(id) + R"(, "jsonrpc": "2.0"})" + "\n";
}

/// The reply line to what does not parse. `message` stands as it is printed inside a string.
inline std::string parseErrorReply(const std::string& message) {
  return R"({"error": {"code": -32700, "data": ")" + message +
         R"(", "message": "Parse error"}, "id": null, "jsonrpc": "2.0"})" + "\n";
}
