#include "companion/clients/config.h"

#include "companion/clients/client_file.h"
#include "companion/clients/client_list.h"
#include "companion/common/command.h"
#include "companion/session/server_location.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <algorithm>
#include <cstdio>

namespace {

constexpr char kDescription[] =
    "Prints the entry with which CLIENT starts the server, as its configuration file would hold it. With\n"
    "--write, merges it into that file: everything else in it stays as it is, and a copy of it as it was is\n"
    "made beside it. A file that does not parse is left alone.";

int listClients(const std::vector<Client>& clients) {
  for (const Client& client : clients)
    std::printf("%-15s %-33s %s\n", client.id.c_str(), client.name.c_str(), client.file.c_str());
  return kSuccess;
}

struct Options {
  QCommandLineOption list{QStringLiteral("list"), QStringLiteral("Name the clients and their files.")};
  QCommandLineOption write{QStringLiteral("write"),
                           QStringLiteral("Merge the entry into the client's file.")};
  QCommandLineOption remove{QStringLiteral("remove"),
                            QStringLiteral("Take the entry out of the client's file again.")};
  QCommandLineOption direct{
      QStringLiteral("direct"),
      QStringLiteral("Let the client start the bare server, not \"orvane-mcp serve\".")};
  QCommandLineOption file{QStringLiteral("file"),
                          QStringLiteral("Use this file instead of the client's usual one."),
                          QStringLiteral("PATH")};
  QCommandLineOption server = serverOption();
};

/// What the client is to start, or the complaint that there is none.
std::optional<Launch> launchFor(const QCommandLineParser& parser, const Options& options) {
  const bool direct = parser.isSet(options.direct);
  if (!direct && parser.value(options.server).isEmpty())
    return Launch{QCoreApplication::applicationFilePath().toStdString(), {"serve"}};
  const std::string server = locateServer(parser);
  if (server.empty()) return std::nullopt;
  if (direct) return Launch{server, {}};
  return Launch{QCoreApplication::applicationFilePath().toStdString(), {"serve", "--server", server}};
}

int report(const FileChange& change) {
  if (!change.error.empty()) {
    complain(QString::fromStdString(change.error));
    return kFailure;
  }
  std::printf("%s\n", change.report.c_str());
  return kSuccess;
}

int configure(Client client, const QCommandLineParser& parser, const Options& options) {
  if (parser.isSet(options.file))
    client.file = QFileInfo(parser.value(options.file)).absoluteFilePath().toStdString();
  if (parser.isSet(options.remove)) return report(takeOut(client));
  const std::optional<Launch> launch = launchFor(parser, options);
  if (!launch) return kFailure;
  if (parser.isSet(options.write)) return report(enter(client, *launch));
  std::fputs(fileFor(client, *launch).c_str(), stdout);
  return kSuccess;
}

}  // namespace

int runConfig(const QStringList& arguments) {
  QCommandLineParser parser;
  parser.setApplicationDescription(QString::fromLatin1(kDescription));
  const Options options;
  parser.addOptions(
      {options.list, options.write, options.remove, options.direct, options.file, options.server});
  if (const std::optional<int> status =
          parseCommandLine(parser, arguments, QStringLiteral("config CLIENT [options]")))
    return *status;

  const std::vector<Client> clients = knownClients();
  const QStringList names = operands(parser);
  if (parser.isSet(options.list))
    return names.isEmpty() ? listClients(clients) : refuse(QStringLiteral("--list takes no client"));
  if (names.size() != 1)
    return refuse(QStringLiteral("config takes one client; \"orvane-mcp config --list\" names them"));
  if (parser.isSet(options.write) && parser.isSet(options.remove))
    return refuse(QStringLiteral("--write and --remove exclude each other"));
  const std::string id = names.front().toStdString();
  const auto client =
      std::find_if(clients.begin(), clients.end(), [&id](const Client& each) { return each.id == id; });
  if (client == clients.end())
    return refuse(QStringLiteral("there is no client \"%1\"; \"orvane-mcp config --list\" names them")
                      .arg(names.front()));
  return configure(*client, parser, options);
}
