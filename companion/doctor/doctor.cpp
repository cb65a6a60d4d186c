#include "companion/doctor/doctor.h"

#include "companion/common/command.h"
#include "companion/doctor/checks.h"
#include "companion/session/host_socket.h"
#include "companion/session/server_location.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr char kDescription[] =
    "Checks that the server is installed and works, that a host listens, and which clients are configured.\n"
    "One line for each check. Alters nothing. The checks of the server and of the socket each open a\n"
    "connection to the host; they send nothing unless --call is given.\n"
    "\n"
    "Exit status: 0, or 1 when something is wrong, or 2 for a wrong command line.";

const char* nameOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::kFine: return "ok";
    case Verdict::kNote: return "note";
    case Verdict::kWrong: return "wrong";
  }
  return "";
}

std::vector<Finding> checkAll(const QString& givenServer, bool withCall) {
  std::vector<Finding> findings;
  std::string notFound;
  const std::string server = locateServer(givenServer, notFound);
  if (server.empty()) {
    findings.push_back({.check = "server",
                        .verdict = Verdict::kWrong,
                        .text = notFound,
                        .remedy = "install OrvaneMCPServer beside orvane-mcp, or name it with --server"});
  } else {
    findings = {{.check = "server", .text = "the server is " + server},
                checkLibraries(server),
                checkInitialize(server)};
  }
  findings.push_back(checkSocket(hostSocketPath()));
  if (withCall && !server.empty()) findings.push_back(checkCall(server));
  std::ranges::move(checkClients(knownClients()), std::back_inserter(findings));
  return findings;
}

void printForPeople(const std::vector<Finding>& findings) {
  for (const Finding& finding : findings) {
    std::printf("%-5s  %s: %s", nameOf(finding.verdict), finding.check.c_str(), finding.text.c_str());
    if (!finding.remedy.empty()) std::printf(". Remedy: %s", finding.remedy.c_str());
    std::printf("\n");
  }
}

void printForPrograms(const std::vector<Finding>& findings) {
  OrderedJson checks = OrderedJson::array();
  for (const Finding& finding : findings) {
    OrderedJson check = {
        {"check", finding.check}, {"verdict", nameOf(finding.verdict)}, {"text", finding.text}};
    if (!finding.remedy.empty()) check["remedy"] = finding.remedy;
    checks.push_back(check);
  }
  // A path may hold bytes that are not UTF-8.
  std::printf(
      "%s\n",
      OrderedJson{{"checks", checks}}.dump(2, ' ', false, OrderedJson::error_handler_t::replace).c_str());
}

}  // namespace

int runDoctor(const QStringList& arguments) {
  QCommandLineParser parser;
  parser.setApplicationDescription(QString::fromLatin1(kDescription));
  const QCommandLineOption server = serverOption();
  const QCommandLineOption call(QStringLiteral("call"),
                                QStringLiteral("Also ask the host for its documents, through a server."));
  const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("Print JSON, for programs."));
  parser.addOptions({call, json, server});
  if (const std::optional<int> status =
          parseCommandLine(parser, arguments, QStringLiteral("doctor [options]")))
    return *status;
  if (!operands(parser).isEmpty()) return refuse(QStringLiteral("doctor takes no arguments"));

  const std::vector<Finding> findings = checkAll(parser.value(server), parser.isSet(call));
  parser.isSet(json) ? printForPrograms(findings) : printForPeople(findings);
  const bool allWell = std::ranges::none_of(
      findings, [](const Finding& finding) { return finding.verdict == Verdict::kWrong; });
  return allWell ? kSuccess : kFailure;
}
