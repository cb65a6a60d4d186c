#include "mcp/json_rpc.h"

using json11::Json;

namespace {

constexpr const char* kProtocolVersion = "2025-03-26";
constexpr const char* kServerName = "OrvaneMCPServer";
/// Part of the required reply: it does not follow the project's version.
constexpr const char* kServerVersion = "1.0.0";

/// `value` if it is an object, else an empty object.
Json objectOrEmpty(const Json& value) {
  return value.type() == Json::Type::Object ? value : Json(Json::object{});
}

/// What a client is shown of a tool's result: a string as it is, anything else as its JSON text.
Json asText(const Json& result) {
  return result.type() == Json::Type::String ? result : Json(result.dump());
}

}  // namespace

void sendResult(McpServer& server, const Json& id, const Json& result) {
  sendMessage(server, Json::object{{"id", id}, {"jsonrpc", "2.0"}, {"result", result}});
}

void sendError(McpServer& server, const Json& id, int code, const std::string& message,
               const std::string& data) {
  Json::object error{{"code", code}, {"message", message}};
  if (!data.empty()) error["data"] = data;
  sendMessage(server, Json::object{{"error", error}, {"id", id}, {"jsonrpc", "2.0"}});
}

void sendError(McpServer& server, const Json& id, int code, const std::string& message) {
  sendError(server, id, code, message, std::string());
}

void handleMessage(McpServer& server, const std::string& line) {
  std::string parseError;
  const Json request = Json::parse(line, parseError);
  if (!parseError.empty() || request.type() != Json::Type::Object) {
    sendError(server, Json(), kParseError, "Parse error", parseError);
    return;
  }

  const Json& id = request["id"];
  const std::string& method = request["method"].stringValue();
  if (method.empty()) {
    sendError(server, id, kInvalidRequest, "Invalid Request", "Missing method");
  } else if (method == "initialize") {
    handleInitialize(server, id);
  } else if (method == "tools/list") {
    handleToolsList(server, id);
  } else if (method == "tools/call") {
    handleToolsCall(server, id, objectOrEmpty(request["params"]));
  } else if (method != "notifications/initialized") {
    sendError(server, id, kMethodNotFound, "Method not found", method);
  }
}

void handleInitialize(McpServer& server, const Json& id) {
  const Json capabilities = Json::object{{"tools", Json::object{{"listChanged", false}}}};
  const Json serverInfo = Json::object{{"name", kServerName}, {"version", kServerVersion}};
  sendResult(
      server, id,
      Json::object{
          {"capabilities", capabilities}, {"protocolVersion", kProtocolVersion}, {"serverInfo", serverInfo}});
}

void handleToolsList(McpServer& server, const Json& id) {
  sendResult(server, id, Json::object{{"tools", listTools(*toolRegistry(server))}});
}

void handleToolsCall(McpServer& server, const Json& id, const Json& params) {
  const std::string& name = params["name"].stringValue();
  if (name.empty()) {
    sendError(server, id, kInvalidParams, "Invalid params", "Missing params.name");
    return;
  }

  std::string error;
  Json result = callTool(*toolRegistry(server), name, objectOrEmpty(params["arguments"]), error);
  if (!error.empty()) {
    sendError(server, id, kToolFailed, error);
    return;
  }
  result = asText(result);  // lets go of a large tree before its text is copied into the reply
  const Json content = Json::object{{"text", result}, {"type", "text"}};
  sendResult(server, id, Json::object{{"content", Json::array{content}}});
}
