#pragma once

// What this folder needs from whatever carries its messages. It is declared here and defined by the carrier:
// server/ in the program, a recorder in the tests. So the messages know nothing of descriptors.

#include "json/json.h"
#include "mcp/tool_registry.h"

/// The server on whose behalf a message is handled. Only passed on here, never looked into.
struct McpServer;

/// Writes `message` to the client as one line, completely, before it returns.
void sendMessage(McpServer& server, const json11::Json& message);

/// The tools of `server`. Never null; valid as long as the server.
ToolRegistry* toolRegistry(McpServer& server);
