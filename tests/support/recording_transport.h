#pragma once

#include "mcp/transport.h"

#include <string>
#include <vector>

/// A server that keeps its replies instead of writing them, for tests that need messages but no descriptors.
/// Defines what mcp/transport.h declares.
struct McpServer {
  ToolRegistry registry;
  std::vector<std::string> replies;  ///< as they would be written, without line feeds
};
