#include "mcp/tool_registry.h"

#include <utility>

using json11::Json;

void registerTool(ToolRegistry& registry, const Tool& tool, ToolHandler handler) {
  registry.tools.push_back(tool);
  registry.handlers[tool.name] = std::move(handler);
}

Json listTools(const ToolRegistry& registry) {
  Json::array list;
  for (const Tool& tool : registry.tools) {
    list.push_back(Json::object{
        {"description", tool.description}, {"inputSchema", tool.inputSchema}, {"name", tool.name}});
  }
  return list;
}

Json callTool(const ToolRegistry& registry, const std::string& name, const Json& arguments,
              std::string& error) {
  const auto entry = registry.handlers.find(name);
  if (entry == registry.handlers.end()) {
    error = "Unknown tool: " + name;
    return Json();
  }
  return entry->second(arguments, error);
}
