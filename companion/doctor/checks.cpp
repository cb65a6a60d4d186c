#include "companion/doctor/checks.h"

#include "companion/clients/client_file.h"
#include "companion/common/build_values.h"
#include "companion/session/host_socket.h"
#include "companion/session/reply_fields.h"
#include "companion/session/server_session.h"

#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>

#include <chrono>

namespace {

/// Longest wait for the answer to "initialize", in milliseconds. A healthy server needs some tens.
constexpr int kInitializeLimitMs = 10000;

/// Longest wait for the dynamic loader, in milliseconds.
constexpr int kLoaderLimitMs = 10000;

constexpr char kReinstall[] = "install OrvaneMCPServer again, together with Orvane";
constexpr char kStartOrvane[] = "start Orvane and let it offer its external API";

/// The names in the loader's lines of the form "\tname => not found".
std::string missingLibraries(const QString& loaderOutput) {
  QStringList missing;
  for (const QString& line : loaderOutput.split(u'\n'))
    if (line.contains(QLatin1StringView("=> not found"))) missing.append(line.trimmed().section(u' ', 0, 0));
  return missing.join(QLatin1StringView(", ")).toStdString();
}

std::string errorIn(const ServerSession::Json& reply) {
  const std::string error = errorOf(reply);
  return error.empty() ? error : "the server answers with an error: " + error;
}

std::string whatIsWrongWith(const Launch& launch) {
  const QFileInfo program(QString::fromStdString(launch.program));
  if (launch.program.empty()) return "names no program";
  if (program.isRelative()) return "starts \"" + launch.program + "\", which is not an absolute path";
  if (!program.exists()) return "starts " + launch.program + ", which does not exist";
  if (!program.isFile() || !program.isExecutable())
    return "starts " + launch.program + ", which is not an executable file";
  return {};
}

std::string commandLine(const Launch& launch) {
  std::string text = launch.program;
  for (const std::string& argument : launch.arguments) text += ' ' + argument;
  return text;
}

Finding checkClient(const Client& client, const ClientFileState& state) {
  Finding finding{.check = "client " + client.id};
  const std::string write = "run \"orvane-mcp config " + client.id + " --write\"";
  if (!state.error.empty()) {
    finding.verdict = Verdict::kWrong;
    finding.text = client.name + "'s file does not parse: " + state.error;
    finding.remedy = "mend the file at that place";
  } else if (!state.hasEntry) {
    finding.verdict = Verdict::kNote;
    finding.text = client.name + " is not configured for the server in " + client.file;
    finding.remedy = write;
  } else if (const std::string mistake = whatIsWrongWith(state.launch); !mistake.empty()) {
    finding.verdict = Verdict::kWrong;
    finding.text = client.name + "'s entry in " + client.file + " " + mistake;
    finding.remedy = write;
  } else {
    finding.text =
        client.name + " is configured in " + client.file + " and starts " + commandLine(state.launch);
  }
  return finding;
}

}  // namespace

Finding checkLibraries(const std::string& server) {
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QStringLiteral("LD_TRACE_LOADED_OBJECTS"), QStringLiteral("1"));
  QProcess loader;
  loader.setProcessEnvironment(environment);
  loader.setProcessChannelMode(QProcess::MergedChannels);
  loader.start(QString::fromStdString(server), QStringList(), QIODevice::ReadOnly);
  loader.waitForFinished(kLoaderLimitMs);
  const std::string missing = missingLibraries(QString::fromLocal8Bit(loader.readAll()));
  if (missing.empty()) return {.check = "libraries", .text = "the server's shared libraries are found"};
  return {.check = "libraries",
          .verdict = Verdict::kWrong,
          .text = "shared libraries of the server are not found: " + missing,
          .remedy = kReinstall};
}

Finding checkInitialize(const std::string& server) {
  using Milliseconds = std::chrono::milliseconds;
  const auto before = std::chrono::steady_clock::now();
  Finding wrong{.check = "initialize", .verdict = Verdict::kWrong, .text = {}, .remedy = kReinstall};
  const auto session = ServerSession::start(server, ServerChild::Diagnostics::kPiped, wrong.text);
  if (!session) return wrong;
  const auto reply =
      session->ask("initialize", ServerSession::Json::object(), kInitializeLimitMs, wrong.text);
  if (reply) wrong.text = errorIn(*reply);
  if (!wrong.text.empty()) return wrong;

  const auto elapsed = std::chrono::duration_cast<Milliseconds>(std::chrono::steady_clock::now() - before);
  Finding finding{.check = "initialize"};
  finding.text = "the server starts and answers within " + std::to_string(elapsed.count() + 1) + " ms";
  const std::string version = stringAt(*reply, "/result/serverInfo/version");
  if (version != kVersion) {
    finding.verdict = Verdict::kNote;
    finding.text += "; its version is " + (version.empty() ? "unknown" : version) + ", not " + kVersion;
    finding.remedy = "install orvane-mcp and OrvaneMCPServer from the same package";
  }
  return finding;
}

Finding checkSocket(const std::string& path) {
  const HostSocketVisit visit = visitHostSocket(path);
  Finding finding{.check = "socket", .verdict = Verdict::kWrong, .text = {}, .remedy = kStartOrvane};
  switch (visit.state) {
    case HostSocketState::kListening:
      finding = {.check = "socket",
                 .text = "a host listens at " + path + " (this check opened a connection to it)"};
      break;
    case HostSocketState::kMissing:
      finding.text = "there is no socket at " + path;
      finding.remedy += "; if it runs, compare the TMPDIR that it was started with";
      break;
    case HostSocketState::kNotASocket:
      finding.text = path + " is not a socket";
      finding.remedy = "move that file away, then start Orvane again";
      break;
    case HostSocketState::kOtherOwner:
      finding.text = "the socket " + path + " belongs to another user";
      finding.remedy = "start Orvane as this user, or set another TMPDIR for both";
      break;
    case HostSocketState::kStale:
      finding.text = "the socket " + path + " was left behind: nobody listens there any more";
      break;
    case HostSocketState::kUnreachable:
      finding.text = "connecting to " + path + " fails: " + visit.reason;
      break;
  }
  return finding;
}

Finding checkCall(const std::string& server) {
  Finding finding{.check = "call", .verdict = Verdict::kWrong, .text = {}, .remedy = kStartOrvane};
  const auto session = ServerSession::start(server, ServerChild::Diagnostics::kPiped, finding.text);
  if (!session) return finding;
  const auto reply =
      session->ask("tools/call", {{"name", "list_documents"}, {"arguments", ServerSession::Json::object()}},
                   kNoLimit, finding.text);
  if (!reply) return finding;
  finding.text = errorIn(*reply);
  if (!finding.text.empty()) return finding;
  if (textOf(*reply).empty()) {
    finding.text = "the host did not answer a call of list_documents";
    return finding;
  }
  return {.check = "call", .text = "the host answered a call of list_documents"};
}

std::vector<Finding> checkClients(const std::vector<Client>& clients) {
  std::vector<Finding> findings;
  bool anyConfigured = false;
  for (const Client& client : clients) {
    const ClientFileState state = look(client);
    anyConfigured = anyConfigured || state.hasEntry;
    if (state.exists) findings.push_back(checkClient(client, state));
  }
  if (!anyConfigured)
    findings.push_back({.check = "clients",
                        .verdict = Verdict::kNote,
                        .text = "no known client is configured for the server",
                        .remedy = "run \"orvane-mcp config CLIENT --write\"; \"orvane-mcp config --list\" "
                                  "names the clients"});
  return findings;
}
