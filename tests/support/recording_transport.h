#pragma once

#include "mcp/transport.h"

#include <string>
#include <vector>

/// A server without descriptors: what is sent through it is kept.
struct McpServer {
  ToolRegistry registry;
  /// All messages so far, each as the bytes of its line without the line feed.
  std::vector<std::string> sent;
};
