#include "companion/session/reply_fields.h"

using Json = nlohmann::ordered_json;

std::string stringAt(const Json& value, const std::string& pointer) {
  const Json::json_pointer place(pointer);
  if (!value.contains(place) || !value.at(place).is_string()) return {};
  return value.at(place);
}

std::string errorOf(const Json& reply) {
  if (!reply.contains("error")) return {};
  const std::string message = stringAt(reply, "/error/message");
  return message.empty() ? reply["error"].dump() : message;
}

std::string textOf(const Json& reply) {
  const Json::json_pointer content("/result/content");
  std::string text;
  if (!reply.contains(content)) return text;
  for (const Json& item : reply.at(content)) text += stringAt(item, "/text");
  return text;
}
