#include "support/recording_transport.h"

void sendMessage(McpServer& server, const json11::Json& message) {
  server.replies.push_back(message.dump());
}

ToolRegistry* toolRegistry(McpServer& server) {
  return &server.registry;
}
