#include "companion/doctor/client_checks.h"

#include "companion/clients/client_file.h"

#include <QFileInfo>

namespace {

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

void checkClients(const std::vector<Client>& clients,
                  const std::function<void(const Finding& finding)>& report) {
  bool anyConfigured = false;
  for (const Client& client : clients) {
    const ClientFileState state = look(client);
    anyConfigured = anyConfigured || state.hasEntry;
    if (state.exists) report(checkClient(client, state));
  }
  if (!anyConfigured)
    report({.check = "clients",
            .verdict = Verdict::kNote,
            .text = "no known client is configured for the server",
            .remedy = "run \"orvane-mcp config CLIENT --write\"; \"orvane-mcp config --list\" "
                      "names the clients"});
}
