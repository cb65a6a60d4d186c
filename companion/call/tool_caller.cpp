#include "companion/call/tool_caller.h"

#include "companion/common/command.h"
#include "companion/session/host_socket.h"
#include "companion/session/reply_fields.h"
#include "companion/session/server_connection.h"

#include <algorithm>
#include <chrono>
#include <iterator>

using Json = ServerSession::Json;

namespace {

/// Longest wait for answers that need no host, in milliseconds.
constexpr int kServerLimitMs = 10000;

Tool readTool(const Json& listed) {
  Tool tool{
      .name = stringAt(listed, "/name"), .description = stringAt(listed, "/description"), .arguments = {}};
  const Json::json_pointer properties("/inputSchema/properties");
  if (!listed.contains(properties)) return tool;
  for (const auto& [name, schema] : listed.at(properties).items())
    tool.arguments.push_back({name, stringAt(schema, "/type"), stringAt(schema, "/description")});
  return tool;
}

bool fits(const ToolArgument& argument, const Json& value) {
  if (value.is_discarded()) return false;
  if (argument.type == "integer") return value.is_number_integer();
  return argument.type.empty() || argument.type == value.type_name();
}

std::string misfit(const ToolArgument& argument, const std::string& text) {
  return argument.name + " takes " +
         (argument.type == "boolean" ? "true or false" : "a JSON " + argument.type) + ", not \"" + text +
         "\"";
}

std::string unknownArgument(const Tool& tool, const std::string& key) {
  return tool.name + " has no argument \"" + key + "\"";
}

std::optional<Json> readValue(const ToolArgument& argument, const std::string& text, std::string& error) {
  if (argument.type == "string") return text;
  Json value = Json::parse(text, nullptr, false);
  if (fits(argument, value)) return value;
  error = misfit(argument, text);
  return std::nullopt;
}

std::optional<Json> readObject(const Tool& tool, const std::string& text, std::string& error) {
  Json arguments = Json::parse(text, nullptr, false);
  if (!arguments.is_object()) {
    error = "the arguments are no JSON object";
    return std::nullopt;
  }
  for (const auto& [key, value] : arguments.items()) {
    const ToolArgument* const argument = tool.argument(key);
    if (argument == nullptr) {
      error = unknownArgument(tool, key);
    } else if (!fits(*argument, value)) {
      error = misfit(*argument, value.dump());
    }
    if (!error.empty()) return std::nullopt;
  }
  return arguments;
}

}  // namespace

const ToolArgument* Tool::argument(const std::string& argumentName) const {
  const auto found = std::ranges::find(arguments, argumentName, &ToolArgument::name);
  return found == arguments.end() ? nullptr : &*found;
}

const Tool* findTool(const std::vector<Tool>& tools, const std::string& name) {
  const auto found = std::ranges::find(tools, name, &Tool::name);
  return found == tools.end() ? nullptr : &*found;
}

std::optional<Json> readArguments(const Tool& tool, const std::vector<std::string>& words,
                                  std::string& error) {
  if (words.size() == 1 && words.front().starts_with('{')) return readObject(tool, words.front(), error);
  Json arguments = Json::object();
  for (const std::string& word : words) {
    const std::size_t equals = word.find('=');
    const std::string key = word.substr(0, equals);
    const ToolArgument* const argument = tool.argument(key);
    if (equals == std::string::npos) {
      error = "\"" + word + "\" is not of the form key=value";
    } else if (argument == nullptr) {
      error = unknownArgument(tool, key);
    } else if (arguments.contains(key)) {
      error = key + " is given twice";
    } else if (std::optional<Json> value = readValue(*argument, word.substr(equals + 1), error)) {
      arguments[key] = std::move(*value);
    }
    if (!error.empty()) return std::nullopt;
  }
  return arguments;
}

ToolCaller::ToolCaller(std::string server, std::string socketPath)
    : server_(std::move(server)), hostWatch_(std::move(socketPath)) {}

bool ToolCaller::start(std::string& error) {
  hostWatch_.serverStarts();
  session_ = nullptr;
  std::unique_ptr<ServerSession> session =
      ServerSession::start(server_, ServerChild::Diagnostics::kPiped, error);
  if (!session) return false;
  session->interruptBy(interruption_);
  if (!session->ask("initialize", Json::object(), kServerLimitMs, error)) return false;
  session->notify("notifications/initialized");
  const std::optional<Json> reply = session->ask("tools/list", Json::object(), kServerLimitMs, error);
  if (!reply) return false;
  error = errorOf(*reply);
  if (!error.empty()) return false;
  tools_.clear();
  const Json::json_pointer tools("/result/tools");
  if (reply->contains(tools)) std::ranges::transform(reply->at(tools), std::back_inserter(tools_), readTool);
  session_ = std::move(session);
  return true;
}

void ToolCaller::interruptBy(int descriptor) {
  interruption_ = descriptor;
  if (session_) session_->interruptBy(descriptor);
}

bool ToolCaller::restartIfDue(std::string& error) {
  const bool isDue = !session_ || session_->hasEnded() || hostWatch_.freshServerIsDue(session_->pid());
  return !isDue || start(error);
}

CallOutcome ToolCaller::call(const Tool& tool, const Json& arguments) {
  CallOutcome outcome;
  const Json params = {{"name", tool.name}, {"arguments", arguments}};
  if (!restartIfDue(outcome.error)) return outcome;
  const auto before = std::chrono::steady_clock::now();
  const std::optional<Json> reply = session_->ask("tools/call", params, kNoLimit, outcome.error);
  if (!reply) {
    session_ = nullptr;
    if (outcome.error == kInterrupted)
      outcome.error = "stopped waiting; the host may still carry the call out";
    return outcome;
  }
  const auto took =
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - before);
  outcome.error = errorOf(*reply);
  outcome.text = textOf(*reply);
  const bool isEmpty = outcome.error.empty() && outcome.text.empty();
  hostWatch_.serverAnswered(isEmpty, took);
  if (isEmpty) outcome.error = whyEmpty(took);
  return outcome;
}

/// The server has no words for a host that does not answer; an empty text is all that is left of such a call.
/// What is wrong when it took `took` to come; empty when it is what the host answered.
std::string ToolCaller::whyEmpty(std::chrono::milliseconds took) const {
  const HostSocketState host = visitHostSocket(hostWatch_.socketPath()).state;
  if (host != HostSocketState::kListening && host != HostSocketState::kBusy)
    return "no host answers at " + hostWatch_.socketPath() + "; try \"orvane-mcp doctor\"";
  if (!holdsHostConnection(session_->pid()))
    return "the host closed the connection without an answer; it may have carried the call out";
  if (took < kServerGivesUpAfterMs) return {};
  const auto seconds = std::chrono::round<std::chrono::seconds>(took).count();
  return "the host did not answer within " + std::to_string(seconds) +
         " seconds; it may still carry the call out";
}

std::unique_ptr<ToolCaller> startToolCaller(const std::string& server) {
  if (server.empty()) return nullptr;
  auto caller = std::make_unique<ToolCaller>(server, hostSocketPath());
  std::string error;
  if (caller->start(error)) return caller;
  complain(QString::fromStdString(error));
  return nullptr;
}
