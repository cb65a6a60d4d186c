#include "companion/serve/client_line.h"

#include "companion/serve/top_level_members.h"
#include "json/json.h"

#include <optional>

using json11::Json;

namespace {

constexpr std::string_view kBlanks = " \t\n\r";
constexpr const char* kSilentMethod = "notifications/initialized";
constexpr const char* kPingMethod = "ping";

/// The code of every failure of a call that reached the server.
constexpr int kServerFailure = -32000;

/// Whether `line` is a kRequest as far as can be told without parsing it. What the server cannot read is one
/// too, so it does not matter that this may take such a line for one.
bool isSurelyRequest(std::string_view line) {
  const std::optional<TopLevelMembers> members = topLevelMembers(line);
  if (!members || members->method.empty()) return true;
  return members->hasId && !says(members->method, kSilentMethod) && !says(members->method, kPingMethod);
}

/// What the server makes of `line`: null when it does not parse.
Json parsed(std::string_view line) {
  std::string unused;
  return Json::parse(std::string(line), unused);
}

Json idOf(std::string_view line) {
  return parsed(line)["id"];
}

}  // namespace

LineKind kindOf(std::string_view line) {
  if (line.find_first_not_of(kBlanks) == std::string_view::npos) return LineKind::kSilent;
  if (isSurelyRequest(line)) return LineKind::kRequest;
  const Json message = parsed(line);
  const std::string& method = message["method"].stringValue();
  if (method.empty()) return LineKind::kRequest;
  if (method == kSilentMethod) return LineKind::kSilent;
  if (!message.objectItems().contains("id")) return LineKind::kNotification;
  return method == kPingMethod ? LineKind::kPing : LineKind::kRequest;
}

std::string pingReply(std::string_view line) {
  return Json(Json::object{{"id", idOf(line)}, {"jsonrpc", "2.0"}, {"result", Json::object{}}}).dump();
}

std::string failureReply(std::string_view line, std::string_view reason) {
  const Json error = Json::object{{"code", kServerFailure}, {"message", std::string(reason)}};
  return Json(Json::object{{"error", error}, {"id", idOf(line)}, {"jsonrpc", "2.0"}}).dump();
}

bool isEmptyText(std::string_view reply) {
  return reply.ends_with(R"("jsonrpc": "2.0", "result": {"content": [{"text": "", "type": "text"}]}})");
}
