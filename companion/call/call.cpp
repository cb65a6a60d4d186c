#include "companion/call/call.h"

#include "companion/call/repl.h"
#include "companion/call/tool_caller.h"
#include "companion/call/tool_text.h"
#include "companion/common/command.h"
#include "companion/session/server_location.h"

namespace {

constexpr char kDescription[] =
    R"(Starts the server as a client would, calls TOOL and prints the text of its result; JSON is indented on a
terminal. The tool's schema decides how a value is read: case_sensitive=true, names='{"0x10":"start"}'. Or
give all arguments as one JSON object. "orvane-mcp tools" lists the tools.

Exit status: 0, or 1 with the error, or 2 for a wrong command line, tool or argument. With --repl it is 1
when a line of a script failed.)";

int callOnce(ToolCaller& caller, const QStringList& words) {
  const std::string name = words.front().toStdString();
  const Tool* const tool = findTool(caller.tools(), name);
  if (tool == nullptr)
    return refuse(
        QString::fromStdString(thereIsNoTool(name, caller.tools(), "\"orvane-mcp tools\" names them")));
  std::vector<std::string> arguments;
  for (const QString& word : words.mid(1)) arguments.push_back(word.toStdString());
  std::string error;
  const auto values = readArguments(*tool, arguments, error);
  if (!values) return refuse(QString::fromStdString(error));

  const CallOutcome outcome = caller.call(*tool, *values);
  if (outcome.error.empty()) {
    printResult(outcome.text);
    return kSuccess;
  }
  complain(QString::fromStdString(outcome.error));
  return kFailure;
}

}  // namespace

int runCall(const QStringList& arguments) {
  QCommandLineParser parser;
  parser.setApplicationDescription(QString::fromLatin1(kDescription));
  const QCommandLineOption repl(
      QStringLiteral("repl"),
      QStringLiteral(
          "Read calls from standard input, with completion on a terminal; \"help\" lists the tools."));
  parser.addOptions({repl, serverOption()});
  if (const std::optional<int> status =
          parseCommandLine(parser, arguments, QStringLiteral("call TOOL [key=value ...] [options]")))
    return *status;
  const QStringList words = operands(parser);
  const bool isSession = parser.isSet(repl);
  if (isSession && !words.isEmpty()) return refuse(QStringLiteral("--repl takes no tool"));
  if (!isSession && words.isEmpty())
    return refuse(QStringLiteral("call takes a tool; \"orvane-mcp tools\" names them"));

  const std::unique_ptr<ToolCaller> caller = startToolCaller(locateServer(parser));
  if (!caller) return kFailure;
  return isSession ? runRepl(*caller) : callOnce(*caller, words);
}
