#include "companion/call/tools.h"

#include "companion/common/command.h"
#include "companion/session/server_location.h"

#include <cstdio>

namespace {

constexpr char kToolsDescription[] =
    "Prints a line for each tool of the server with its arguments and their types; with TOOL, what it does\n"
    "and what each argument means. Needs no host.";

void printUsage(const Tool& tool) {
  std::printf("%s", tool.name.c_str());
  for (const ToolArgument& argument : tool.arguments)
    std::printf(" [%s=%s]", argument.name.c_str(), argument.type.c_str());
  std::printf("\n");
}

void describe(const Tool& tool) {
  std::printf("%s\n  %s\n", tool.name.c_str(), tool.description.c_str());
  for (const ToolArgument& argument : tool.arguments)
    std::printf("  %s (%s): %s\n", argument.name.c_str(), argument.type.c_str(),
                argument.description.c_str());
}

}  // namespace

void printUsages(const std::vector<Tool>& tools) {
  for (const Tool& tool : tools) printUsage(tool);
}

std::optional<std::string> describeTools(const std::vector<std::string>& names,
                                         const std::vector<Tool>& tools) {
  std::optional<std::string> unknown;
  for (const std::string& name : names) {
    if (const Tool* const tool = findTool(tools, name)) {
      describe(*tool);
    } else if (!unknown) {
      unknown = name;
    }
  }
  return unknown;
}

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
  return refuse(QStringLiteral("there is no tool \"%1\"; \"orvane-mcp tools\" names them")
                    .arg(QString::fromStdString(*unknown)));
}
