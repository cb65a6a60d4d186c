#include "companion/doctor/client_checks.h"

#include "companion/clients/client_file.h"
#include "companion/session/host_socket.h"
#include "companion/session/server_location.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>

namespace {

constexpr char kTmpdir[] = "TMPDIR";
constexpr char kServe[] = "serve";
constexpr char kServerOption[] = "--server";

/// The members by which clients turn an entry off, with the value that does.
struct Switch {
  const char* member;
  bool isOff;
};
constexpr Switch kSwitches[] = {{"disabled", true}, {"enabled", false}};

QString qString(const std::string& text) {
  return QString::fromStdString(text);
}

/// The file that starting `program` executes; empty when there is none. A name without a folder is looked for
/// on this program's PATH.
QString executableOf(const std::string& program) {
  if (program.find('/') == std::string::npos) return QStandardPaths::findExecutable(qString(program));
  const QFileInfo file(qString(program));
  return file.isFile() && file.isExecutable() ? file.absoluteFilePath() : QString();
}

bool isFileNamed(const QString& path, const QString& name) {
  return QFileInfo(path).fileName() == name ||
         QFileInfo(QFileInfo(path).canonicalFilePath()).fileName() == name;
}

bool isSameFile(const QString& left, const QString& right) {
  return !left.isEmpty() && !right.isEmpty() &&
         QFileInfo(left).canonicalFilePath() == QFileInfo(right).canonicalFilePath();
}

/// What is wrong with what orvane-mcp gets on its command line; empty when nothing is.
std::string mistakeInArguments(const std::vector<std::string>& arguments) {
  if (arguments.empty() || arguments.front() != kServe)
    return "starts orvane-mcp without \"serve\", so that no server comes of it";
  const auto option = std::ranges::find(arguments, kServerOption);
  if (option == arguments.end() || option + 1 == arguments.end()) return {};
  const std::string& server = *(option + 1);
  if (executableOf(server).isEmpty() || server.find('/') == std::string::npos)
    return "names the server " + server + ", which is not an executable file";
  return {};
}

/// What is wrong with what an entry starts; empty when nothing is. `server` is right besides orvane-mcp and
/// everything that is named like the server.
std::string mistakeInLaunch(const Launch& launch, const std::string& server) {
  const std::string& program = launch.program;
  if (program.empty()) return "names no program";
  const QString executable = executableOf(program);
  const bool hasFolder = program.find('/') != std::string::npos;
  if (!program.starts_with('/') && (hasFolder || executable.isEmpty()))
    return "starts \"" + program + "\", which is not an absolute path";
  if (executable.isEmpty() && !QFileInfo::exists(qString(program)))
    return "starts " + program + ", which does not exist";
  if (executable.isEmpty()) return "starts " + program + ", which is not an executable file";

  const QString companion = QCoreApplication::applicationFilePath();
  if (isSameFile(executable, companion) || isFileNamed(executable, QFileInfo(companion).fileName()))
    return mistakeInArguments(launch.arguments);
  if (isSameFile(executable, qString(server)) || isFileNamed(executable, QLatin1StringView(kServerFileName)))
    return {};
  return "starts " + program + ", which is neither orvane-mcp nor " + kServerFileName;
}

/// Whether the client is told by `entry` not to start it.
bool isTurnedOff(const OrderedJson& entry) {
  return std::ranges::any_of(kSwitches, [&entry](const Switch& each) {
    return entry.contains(each.member) && entry[each.member] == each.isOff;
  });
}

/// Whether a server with `folder` for its TMPDIR looks for the host where this program does.
bool isOwnTemporaryFolder(const std::string& folder) {
  const QDir own(qString(temporaryFolder()));
  const QDir other(folder.empty() ? QStringLiteral("/tmp") : qString(folder));
  return own == other || (own.exists() && own.canonicalPath() == other.canonicalPath());
}

std::string commandLine(const Launch& launch) {
  std::string text = launch.program;
  for (const std::string& argument : launch.arguments) text += ' ' + argument;
  return text;
}

/// Judges the entry that a client's file holds.
Finding checkEntry(const Client& client, const ClientFileState& state, const std::string& server) {
  const std::string entry = client.name + "'s entry in " + client.file + " ";
  const std::string write = "run \"orvane-mcp config " + client.id + " --write\"";
  Finding finding{.check = "client " + client.id, .verdict = Verdict::kWrong, .text = {}, .remedy = write};
  const auto tmpdir = state.launch.environment.find(kTmpdir);
  if (const std::string mistake = mistakeInLaunch(state.launch, server); !mistake.empty()) {
    finding.text = entry + mistake;
  } else if (isTurnedOff(state.entry)) {
    finding.text = entry + "is turned off";
    finding.remedy = "turn it on in " + client.name + ", or take it out: run \"orvane-mcp config " +
                     client.id + " --remove\"";
  } else if (tmpdir != state.launch.environment.end() && !isOwnTemporaryFolder(tmpdir->second)) {
    finding.text =
        entry + "looks for the host in " + tmpdir->second + ", not in " + temporaryFolder() + " (TMPDIR)";
    finding.remedy = "set TMPDIR here as Orvane has it, then " + write;
  } else {
    return {.check = finding.check,
            .text = client.name + " is configured in " + client.file + " and starts " +
                    commandLine(state.launch)};
  }
  return finding;
}

Finding checkClient(const Client& client, const ClientFileState& state, const std::string& server) {
  if (state.hasEntry) return checkEntry(client, state, server);
  Finding finding{.check = "client " + client.id, .verdict = Verdict::kWrong};
  if (state.error.empty()) {
    finding.verdict = Verdict::kNote;
    finding.text = client.name + " is not configured for the server in " + client.file;
    finding.remedy = "run \"orvane-mcp config " + client.id + " --write\"";
  } else if (state.doesNotParse) {
    finding.text = client.name + "'s file does not parse: " + state.error;
    finding.remedy = "mend the file at that place";
  } else {
    finding.text = client.name + "'s file cannot be used: " + state.error;
    finding.remedy = "put a file in its place that you can read, or take it away";
  }
  return finding;
}

/// Clients need not pass their own TMPDIR on to what they start.
Finding noteOnTmpdir(const std::vector<std::string>& clients) {
  std::string names;
  for (const std::string& client : clients) names += (names.empty() ? "" : ", ") + client;
  return {.check = "clients",
          .verdict = Verdict::kNote,
          .text = "TMPDIR is " + temporaryFolder() + " here, and these entries do not say so: " + names,
          .remedy = "run \"orvane-mcp config CLIENT --write\" for each, unless the client passes TMPDIR on"};
}

}  // namespace

void checkClients(const std::vector<Client>& clients, const std::string& server,
                  const std::function<void(const Finding& finding)>& report) {
  bool anyConfigured = false;
  std::vector<std::string> withoutTmpdir;
  for (const Client& client : clients) {
    const ClientFileState state = look(client);
    anyConfigured = anyConfigured || state.hasEntry;
    if (!state.exists) continue;
    const Finding finding = checkClient(client, state, server);
    report(finding);
    const bool isFine = finding.verdict == Verdict::kFine;
    if (isFine && !state.launch.environment.contains(kTmpdir) && !isOwnTemporaryFolder({}))
      withoutTmpdir.push_back(client.id);
  }
  if (!withoutTmpdir.empty()) report(noteOnTmpdir(withoutTmpdir));
  if (!anyConfigured)
    report({.check = "clients",
            .verdict = Verdict::kNote,
            .text = "no known client is configured for the server",
            .remedy = "run \"orvane-mcp config CLIENT --write\"; \"orvane-mcp config --list\" "
                      "names the clients"});
}
