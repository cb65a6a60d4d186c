#include "app/server_body.h"

#include "ipc/ipc_client.h"
#include "mcp/transport.h"
#include "server/mcp_server.h"
#include "server/stdio_transport.h"
#include "tools/catalogue.h"

void serveStandardStreams() {
  IPCClient host;  // before the server: the tools' handlers point to it
  McpServer server;
  registerCatalogue(*toolRegistry(server), &host);
  run(server);
}
