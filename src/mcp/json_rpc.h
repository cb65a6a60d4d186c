#pragma once

// JSON-RPC 2.0 as the server speaks it: one request a line in, one reply a line out.
//
// Nothing is remembered from one message to the next. All operations run on the server thread and have
// written their reply when they return.

#include "json/json.h"
#include "mcp/transport.h"

#include <string>

// The codes of error replies: JSON-RPC's own, and one of its server range for every tool that fails.
inline constexpr int kParseError = -32700;
inline constexpr int kInvalidRequest = -32600;
inline constexpr int kMethodNotFound = -32601;
inline constexpr int kInvalidParams = -32602;
inline constexpr int kToolFailed = -32000;

/// Handles one line from the client, without its line end, and answers it with exactly one reply, except
/// "notifications/initialized", which is accepted in silence. A message without "id" is answered with id
/// null.
void handleMessage(McpServer& server, const std::string& line);

/// Sends {"id": id, "jsonrpc": "2.0", "result": result}.
void sendResult(McpServer& server, const json11::Json& id, const json11::Json& result);

/// Sends {"error": {"code": code, "data": data, "message": message}, "id": id, "jsonrpc": "2.0"}; without
/// "data" when it is empty.
void sendError(McpServer& server, const json11::Json& id, int code, const std::string& message,
               const std::string& data);
void sendError(McpServer& server, const json11::Json& id, int code, const std::string& message);

/// Answers "initialize". The client's version and capabilities are not asked for and nothing is negotiated.
void handleInitialize(McpServer& server, const json11::Json& id);

/// Answers "tools/list" with all tools in one reply.
void handleToolsList(McpServer& server, const json11::Json& id);

/// Answers "tools/call". `params` is an object; its "name" chooses the tool, its "arguments" are handed over
/// if they are an object, else an empty one is. A tool's failure is an error reply whose message is the
/// tool's error text, never a result with an error flag.
void handleToolsCall(McpServer& server, const json11::Json& id, const json11::Json& params);
