#include "companion/simulation/conversation.h"

namespace {

constexpr std::size_t kMostMessages = 10;
constexpr std::size_t kLongestPadding = 300;

std::string lineOf(Message::Kind kind, const std::string& number, const std::string& padding) {
  const std::string request = R"({"id": )" + number + R"(, "p": ")" + padding + R"(", "method": )";
  const std::string notification = R"({"n": )" + number + R"(, "p": ")" + padding + R"(", "method": )";
  switch (kind) {
    case Message::Kind::kCall: return request + R"("tools/call"})";
    case Message::Kind::kOther: return request + R"("initialize"})";
    case Message::Kind::kGarbage: return "garbage " + number + padding;
    case Message::Kind::kNotification: return notification + R"("notifications/cancelled"})";
    case Message::Kind::kSilentCall: return notification + R"("tools/call"})";
    case Message::Kind::kInitialized: return notification + R"("notifications/initialized", "x": 1e999})";
    case Message::Kind::kBlank: return " \t";
    case Message::Kind::kPing: return request + R"("ping"})";
  }
  return {};
}

/// Calls are half of everything.
Message::Kind anyKind(Random& random) {
  return onceIn(random, 2) ? Message::Kind::kCall : static_cast<Message::Kind>(between(random, 0, 7));
}

}  // namespace

Conversation::Conversation(Random& random) {
  const std::size_t count = between(random, 1, kMostMessages);
  for (std::size_t number = 0; number < count; ++number) {
    const Message::Kind kind = anyKind(random);
    const std::size_t padding = onceIn(random, 4) ? between(random, 0, kLongestPadding) : 0;
    const std::string name = std::to_string(number);
    messages_.push_back(
        {.kind = kind, .number = name, .line = lineOf(kind, name, std::string(padding, 'p'))});
  }
}

Message* Conversation::find(std::string_view line) {
  for (Message& message : messages_)
    if (message.line == line && message.kind != Message::Kind::kBlank) return &message;
  return nullptr;
}

std::string replyOf(const Message& message, std::string_view text) {
  const std::string id = message.line.starts_with(R"({"id": )") ? message.number : "null";
  if (message.isCall())
    return R"({"id": )" + id + R"(, "jsonrpc": "2.0", "result": {"content": [{"text": ")" +
           std::string(text) + R"(", "type": "text"}]}})" + '\n';
  return R"({"error": {"code": -32601, "data": "to )" + message.number + R"("}, "id": )" + id +
         R"(, "jsonrpc": "2.0"})" + '\n';
}
