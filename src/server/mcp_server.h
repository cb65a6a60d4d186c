#pragma once

#include "mcp/tool_registry.h"

#include <string>

/// The server object: what the run loop keeps between two reads. Owned by the server body, used on its
/// thread.
struct McpServer {
  /// Set by the run loop when it starts and tested after every wake-up. Nothing in the server clears it.
  bool running = false;
  /// Bytes read from standard input that do not yet end in a line feed. Raw: no size limit, no encoding
  /// check.
  std::string inputBuffer;
  /// The tools on offer; reached through toolRegistry() (mcp/transport.h).
  ToolRegistry registry;
};
