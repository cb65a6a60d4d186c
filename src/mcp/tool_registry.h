#pragma once

#include "json/json.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

/// What a client is told about one tool.
struct Tool {
  std::string name;          ///< what the client calls, in snake_case
  std::string description;   ///< shown to the assistant word for word
  json11::Json inputSchema;  ///< JSON Schema of the arguments; reported unchanged, never used to check them
};

/// Carries out one call of a tool.
///
/// `error` is empty on entry. A handler that fails writes a non-empty text into it, which the client receives
/// in place of the returned value. Runs on the server thread and may block it.
using ToolHandler = std::function<json11::Json(const json11::Json& arguments, std::string& error)>;

/// The tools that are offered. Filled once before the first request is read, only read afterwards; not
/// locked.
struct ToolRegistry {
  std::vector<Tool> tools;                      ///< in order of registration, repeated names included
  std::map<std::string, ToolHandler> handlers;  ///< by tool name
};

/// Adds `tool` at the end of the list and takes over `handler`. Nothing is validated: a name registered twice
/// is listed twice, and its last handler is the one that runs.
void registerTool(ToolRegistry& registry, const Tool& tool, ToolHandler handler);

/// All tools in order of registration, each as {"name", "description", "inputSchema"}.
json11::Json listTools(const ToolRegistry& registry);

/// Runs the handler of the tool called exactly `name` and returns its result. Without such a tool, `error`
/// receives "Unknown tool: " and the name, and the result is null.
json11::Json callTool(const ToolRegistry& registry, const std::string& name, const json11::Json& arguments,
                      std::string& error);
