#pragma once

// The server's reply lines, without their line feeds. Ids, results and texts stand as they are printed: an id
// is JSON, a text is what stands between the quotes.

#include <string>
#include <utility>

/// A request's id as it is printed.
struct PrintedId {
  PrintedId(int number) : text(std::to_string(number)) {}
  PrintedId(const char* json) : text(json) {}
  PrintedId(std::string json) : text(std::move(json)) {}

  std::string text;
};

inline std::string resultReply(const PrintedId& id, const std::string& result) {
  return R"({"id": )" + id.text + R"(, "jsonrpc": "2.0", "result": )" + result + "}";
}

/// To a tool call that ended with `text`.
inline std::string textReply(const PrintedId& id, const std::string& text) {
  return resultReply(id, R"({"content": [{"text": ")" + text + R"(", "type": "text"}]})");
}

/// To "initialize".
inline std::string welcomeReply(const PrintedId& id) {
  return resultReply(
      id, R"({"capabilities": {"tools": {"listChanged": false}}, "protocolVersion": "2025-03-26", )"
          R"("serverInfo": {"name": "OrvaneMCPServer", "version": "1.0.0"}})");
}

inline std::string errorReply(const PrintedId& id, int code, const std::string& message) {
  return R"({"error": {"code": )" + std::to_string(code) + R"(, "message": ")" + message + R"("}, "id": )" +
         id.text + R"(, "jsonrpc": "2.0"})";
}

inline std::string errorReply(const PrintedId& id, int code, const std::string& message,
                              const std::string& data) {
  return R"({"error": {"code": )" + std::to_string(code) + R"(, "data": ")" + data + R"(", "message": ")" +
         message + R"("}, "id": )" + id.text + R"(, "jsonrpc": "2.0"})";
}

/// To what is not JSON; `data` is the parser's message.
inline std::string parseErrorReply(const std::string& data) {
  return errorReply("null", -32700, "Parse error", data);
}

inline std::string missingMethodReply(const PrintedId& id) {
  return errorReply(id, -32600, "Invalid Request", "Missing method");
}

inline std::string unknownMethodReply(const PrintedId& id, const std::string& method) {
  return errorReply(id, -32601, "Method not found", method);
}

/// To a tool call that failed.
inline std::string toolErrorReply(const PrintedId& id, const std::string& message) {
  return errorReply(id, -32000, message);
}

/// To a call that names no tool.
inline std::string missingNameReply(const PrintedId& id) {
  return errorReply(id, -32602, "Invalid params", "Missing params.name");
}
