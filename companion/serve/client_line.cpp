#include "companion/serve/client_line.h"

#include "json/json.h"

using json11::Json;

namespace {

constexpr std::string_view kBlanks = " \t\n\r";
constexpr std::string_view kSilentMethod = "notifications/initialized";

/// The code of every failure of a call that reached the server.
constexpr int kServerFailure = -32000;

bool contains(std::string_view line, std::string_view part) {
  return line.find(part) != std::string_view::npos;
}

/// Whether `line` spells the silent method somewhere, plainly or with escapes.
bool couldBeSilent(std::string_view line) {
  return contains(line, kSilentMethod) || contains(line, "\\/") || contains(line, "\\u");
}

/// What the server makes of `line`: null when it does not parse.
Json parsed(std::string_view line) {
  std::string unused;
  return Json::parse(std::string(line), unused);
}

}  // namespace

bool expectsReply(std::string_view line) {
  if (line.find_first_not_of(kBlanks) == std::string_view::npos) return false;
  return !couldBeSilent(line) || parsed(line)["method"].stringValue() != kSilentMethod;
}

std::string failureReply(std::string_view line, std::string_view reason) {
  const Json error = Json::object{{"code", kServerFailure}, {"message", std::string(reason)}};
  return Json(Json::object{{"error", error}, {"id", parsed(line)["id"]}, {"jsonrpc", "2.0"}}).dump();
}
