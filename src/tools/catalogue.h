#pragma once

#include "ipc/ipc_client.h"
#include "mcp/tool_registry.h"
#include "tools/catalogue_entry.h"

#include <span>

/// The 34 tools, in the order in which clients are shown them. Lives as long as the program.
std::span<const CatalogueEntry> catalogue();

/// Registers the whole catalogue in order, each tool with a handler that asks `host`, which must outlive
/// `registry`.
void registerCatalogue(ToolRegistry& registry, IPCClient* host);
