#include "companion/common/command.h"

#include "companion/common/printing.h"

#include <unistd.h>

#include <cstdio>

void complain(const QString& message) {
  const std::string text = message.toStdString();
  const std::string line = "orvane-mcp: " + (::isatty(STDERR_FILENO) != 0 ? visible(text) : text) + '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

int refuse(const QString& message) {
  complain(message);
  return kWrongUsage;
}

std::optional<int> parseCommandLine(QCommandLineParser& parser, const QStringList& arguments,
                                    const QString& usage) {
  const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                QStringLiteral("Show this text."));
  parser.addOption(help);
  if (!parser.parse(arguments)) return refuse(parser.errorText());
  if (!parser.isSet(help)) return std::nullopt;
  // The first line that Qt makes knows nothing of subcommands.
  const QString text = parser.helpText();
  std::printf("Usage: orvane-mcp %s%s", qUtf8Printable(usage), qUtf8Printable(text.mid(text.indexOf(u'\n'))));
  return kSuccess;
}

QStringList operands(const QCommandLineParser& parser) {
  return parser.positionalArguments().mid(1);
}
