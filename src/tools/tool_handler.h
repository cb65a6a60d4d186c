#pragma once

#include "ipc/ipc_client.h"
#include "mcp/tool_registry.h"
#include "tools/catalogue_entry.h"

/// The handler that carries out `entry`'s tool: reads its arguments, asks the host, converts the reply.
///
/// Arguments are never checked: text that is missing or not a string is sent as "", a boolean that is missing
/// or not a boolean as false, a map that is no object as {}. The host has its own defaults for them.
///
/// The handler keeps `entry` by reference and `host` as a plain pointer; both must outlive it.
ToolHandler makeHandler(const CatalogueEntry& entry, IPCClient* host);

/// The tool's value for the host's result `text`: null for a null text, the parsed value for a text that
/// begins with "{" or "[" (null if it does not parse), else the text as a string.
json11::Json resultFromText(const QString& text);
