// orvane-mcp, the companion of OrvaneMCPServer. Each subcommand is in a file of the same name.

#include "companion/call/call.h"
#include "companion/call/tools.h"
#include "companion/clients/config.h"
#include "companion/common/build_values.h"
#include "companion/common/command.h"
#include "companion/common/did_you_mean.h"
#include "companion/common/printing.h"
#include "companion/doctor/doctor.h"
#include "companion/serve/serve.h"

#include <QCoreApplication>

#include <fcntl.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string>
#include <vector>

namespace {

struct Subcommand {
  const char* name;
  const char* summary;
  int (*run)(const QStringList& arguments);  ///< gets the program and the subcommand first
};

constexpr Subcommand kSubcommands[] = {
    {"call", "Call a tool without an assistant.", runCall},
    {"config", "Print the server's entry for a client, or write it into its file.", runConfig},
    {"doctor", "Check the server, the host's socket and the clients; change nothing.", runDoctor},
    {"serve", "Run the server for a client, and end it with the client.", runServe},
    {"tools", "List the tools and their arguments, or describe some.", runTools},
};

void printHelp() {
  std::printf(
      "Usage: orvane-mcp COMMAND [options]\n\nChecks, configures, starts and tries OrvaneMCPServer. "
      "Commands:\n");
  for (const Subcommand& subcommand : kSubcommands)
    std::printf("  %-8s %s\n", subcommand.name, subcommand.summary);
  std::printf(
      "\nOptions:\n"
      "  -h, --help     Show this text; after a command, describe the command.\n"
      "  -v, --version  Show the version.\n");
}

QString unknownCommand(const QString& name) {
  std::vector<std::string> known;
  known.reserve(std::size(kSubcommands));
  for (const Subcommand& each : kSubcommands) known.emplace_back(each.name);
  return QString::fromStdString(thereIsNo("command", name.toStdString(), known, "see --help"));
}

/// A standard stream that the caller has closed would give its number to the next file that is opened. In its
/// place come an input without bytes and outputs that refuse to be written.
void openStandardStreams() {
  for (int stream = 0; stream < 3; ++stream)
    if (::fcntl(stream, F_GETFD) < 0) ::open("/dev/null", O_RDONLY);
}

int run(const QStringList& arguments) {
  const QString name = arguments.value(1);
  if (name.isEmpty()) return refuse(QStringLiteral("no command is given; see --help"));
  if (name == QLatin1StringView("--help") || name == QLatin1StringView("-h")) {
    printHelp();
    return kSuccess;
  }
  if (name == QLatin1StringView("--version") || name == QLatin1StringView("-v")) {
    std::printf("orvane-mcp %s\n", kVersion);
    return kSuccess;
  }
  const auto* const subcommand =
      std::find_if(std::begin(kSubcommands), std::end(kSubcommands),
                   [&name](const Subcommand& each) { return name == QLatin1StringView(each.name); });
  if (subcommand == std::end(kSubcommands)) return refuse(unknownCommand(name));
  return subcommand->run(arguments);
}

}  // namespace

int main(int argc, char** argv) {
  openStandardStreams();
  const QCoreApplication application(argc, argv);
  QCoreApplication::setApplicationName(QStringLiteral("orvane-mcp"));
  return finishOutput(run(QCoreApplication::arguments()));
}
