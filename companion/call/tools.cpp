#include "companion/call/tools.h"

#include "companion/call/tool_text.h"
#include "companion/common/command.h"
#include "companion/session/server_location.h"

namespace {

constexpr char kToolsDescription[] =
    "Prints a line for each tool of the server with its arguments and their types; with TOOL, what it does\n"
    "and what each argument means. Needs no host.";

}  // namespace

int runTools(const QStringList& arguments) {
  QCommandLineParser parser;
  parser.setApplicationDescription(QString::fromLatin1(kToolsDescription));
  parser.addOption(serverOption());
  if (const std::optional<int> status =
          parseCommandLine(parser, arguments, QStringLiteral("tools [TOOL ...] [options]")))
    return *status;

  const std::unique_ptr<ToolCaller> caller = startToolCaller(locateServer(parser));
  if (!caller) return kFailure;
  std::vector<std::string> names;
  for (const QString& name : operands(parser)) names.push_back(name.toStdString());
  if (names.empty()) printUsages(caller->tools());
  const std::optional<std::string> unknown = describeTools(names, caller->tools());
  if (!unknown) return kSuccess;
  return refuse(
      QString::fromStdString(thereIsNoTool(*unknown, caller->tools(), "\"orvane-mcp tools\" names them")));
}
