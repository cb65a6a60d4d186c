#include "server/mcp_server.h"

#include "mcp/transport.h"

ToolRegistry* toolRegistry(McpServer& server) {
  return &server.registry;
}
