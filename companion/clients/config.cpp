#include "companion/clients/config.h"

#include "companion/clients/client_file.h"
#include "companion/clients/client_list.h"
#include "companion/common/command.h"
#include "companion/common/did_you_mean.h"
#include "companion/session/server_location.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <cstdio>

namespace {

constexpr char kDescription[] =
    R"(Prints the entry with which CLIENT starts the server, in the form of its configuration file. With --write,
merges the entry into that file, leaves everything else in it unchanged, and keeps a copy of the old file
next to it. The newest three copies are kept. A file that does not parse is left alone. When TMPDIR is set,
the entry sets it too, because not every client passes its own on.)";

/// What tells the server, as every program, in which folder to look for the host's socket.
constexpr char kTemporaryFolder[] = "TMPDIR";

int failWithoutHome() {
  complain(QStringLiteral("HOME names no absolute folder, and the clients' files are below it"));
  return kFailure;
}

/// The width of the widest of the texts that `textOf` gives for the clients.
template <typename TextOf>
int widest(const std::vector<Client>& clients, TextOf textOf) {
  std::size_t width = 0;
  for (const Client& client : clients) width = std::max(width, textOf(client).size());
  return static_cast<int>(width);
}

/// Whether our entry is in the client's file, in a word.
const char* entryMark(const Client& client) {
  const ClientFileState state = look(client);
  if (!state.error.empty()) return "unclear";
  return state.hasEntry ? "configured" : "-";
}

int listClients(const std::vector<Client>& clients) {
  const int idWidth = widest(clients, [](const Client& client) { return client.id; });
  const int nameWidth = widest(clients, [](const Client& client) { return client.name; });
  for (const Client& client : clients) {
    if (client.file.empty()) return failWithoutHome();
    std::printf("%-*s  %-*s  %-9s  %-10s  %s\n", idWidth, client.id.c_str(), nameWidth, client.name.c_str(),
                isInstalled(client) ? "installed" : "-", entryMark(client), client.file.c_str());
  }
  return kSuccess;
}

struct Options {
  QCommandLineOption list{
      QStringLiteral("list"),
      QStringLiteral("List the clients and their files; mark those that are installed and configured.")};
  QCommandLineOption write{QStringLiteral("write"),
                           QStringLiteral("Merge the entry into the client's file.")};
  QCommandLineOption remove{QStringLiteral("remove"),
                            QStringLiteral("Remove the entry from the client's file.")};
  QCommandLineOption direct{QStringLiteral("direct"),
                            QStringLiteral("Register the server itself instead of \"orvane-mcp serve\".")};
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

/// The folder in which the server is to look for the host's socket; empty when that is the usual one. Not
/// every client passes TMPDIR on, so the entry must carry it. One that an entry carries already must not go
/// on leading elsewhere: it is made the usual folder.
QString temporaryFolderFor(const Client& client) {
  const QString given = qEnvironmentVariable(kTemporaryFolder);
  if (!given.isEmpty()) return QDir(given).absolutePath();
  const std::map<std::string, std::string> entered = look(client).launch.environment;
  return entered.contains(kTemporaryFolder) ? QDir::tempPath() : QString();
}

int report(const FileChange& change, const std::string& unchanged, const std::string& note) {
  if (!change.error.empty()) {
    complain(QString::fromStdString(change.error));
    return kFailure;
  }
  if (change.written.empty()) {
    std::printf("%s\n", unchanged.c_str());
    return kSuccess;
  }
  const std::string copy = change.backup.empty() ? "" : " (as it was before: " + change.backup + ")";
  std::printf("Wrote %s%s.%s Restart the client, or reload its servers.\n", change.written.c_str(),
              copy.c_str(), note.c_str());
  return kSuccess;
}

/// Says on `stream` what `client` needs beside its entry, if anything.
void tellNeeds(const Client& client, std::FILE* stream) {
  if (!client.needs.empty()) std::fprintf(stream, "%s\n", client.needs.c_str());
}

int write(const Client& client, const Launch& launch) {
  const auto folder = launch.environment.find(kTemporaryFolder);
  std::string note;
  if (folder != launch.environment.end())
    note = " The entry sets TMPDIR to " + folder->second + ", since not every client passes its own on.";
  const int status = report(enter(client, launch), client.file + " has this entry already.", note);
  if (status == kSuccess) tellNeeds(client, stdout);
  return status;
}

int configure(Client client, const QCommandLineParser& parser, const Options& options) {
  const bool changesFile = parser.isSet(options.write) || parser.isSet(options.remove);
  if (parser.isSet(options.file))
    client.file = QFileInfo(parser.value(options.file)).absoluteFilePath().toStdString();
  if (changesFile && client.file.empty()) return failWithoutHome();
  if (parser.isSet(options.remove)) return report(takeOut(client), client.file + " has no such entry.", "");
  std::optional<Launch> launch = launchFor(parser, options);
  if (!launch) return kFailure;
  const QString folder = temporaryFolderFor(client);
  if (folder.contains(QChar::ReplacementCharacter)) {
    complain(QStringLiteral("TMPDIR is not UTF-8 text, so no client's file can hold it"));
    return kFailure;
  }
  if (!folder.isEmpty()) launch->environment[kTemporaryFolder] = folder.toStdString();
  if (changesFile) return write(client, *launch);
  std::fputs(fileFor(client, *launch).c_str(), stdout);
  tellNeeds(client, stderr);  // the output alone is the client's file
  return kSuccess;
}

QString unknownClient(const QString& id, const std::vector<Client>& clients) {
  std::vector<std::string> known;
  known.reserve(clients.size());
  for (const Client& client : clients) known.push_back(client.id);
  return QString::fromStdString(
      thereIsNo("client", id.toStdString(), known, "\"orvane-mcp config --list\" names them"));
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
  if (parser.isSet(options.file) && parser.value(options.file).isEmpty())
    return refuse(QStringLiteral("--file takes the path of a file"));
  if (parser.isSet(options.write) && parser.isSet(options.remove))
    return refuse(QStringLiteral("--write and --remove exclude each other"));
  const std::string id = names.front().toStdString();
  const auto client =
      std::find_if(clients.begin(), clients.end(), [&id](const Client& each) { return each.id == id; });
  if (client == clients.end()) return refuse(unknownClient(names.front(), clients));
  return configure(*client, parser, options);
}
