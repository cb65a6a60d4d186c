#pragma once

// Request lines, without their line feeds.

#include <string>

/// A message that any server answers: no method is called "ping".
inline std::string pingLine(int id) {
  return R"({"id": )" + std::to_string(id) + R"(, "method": "ping"})";
}

/// A call of a tool; `arguments` is JSON.
inline std::string callLine(int id, const std::string& tool, const std::string& arguments = "{}") {
  return R"({"jsonrpc": "2.0", "id": )" + std::to_string(id) +
         R"(, "method": "tools/call", "params": {"name": ")" + tool + R"(", "arguments": )" + arguments +
         "}}";
}

inline std::string toolsListLine(int id) {
  return R"({"id": )" + std::to_string(id) + R"(, "method": "tools/list"})";
}
