#include "companion/doctor/doctor.h"

#include "companion/common/command.h"
#include "companion/common/printing.h"
#include "companion/doctor/client_checks.h"
#include "companion/doctor/libraries_check.h"
#include "companion/doctor/server_checks.h"
#include "companion/session/host_socket.h"
#include "companion/session/server_location.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>

namespace {

constexpr char kDescription[] =
    R"(Checks that the server is installed and works, that a host listens, and which clients are configured.
Prints one line for each check as soon as it is done; all of them take 45 seconds at most. Changes nothing.
The checks of the server and of the socket each open a connection to the host; they send nothing unless
--call is given.

Exit status: 0, or 1 when something is wrong, or 2 for a wrong command line.)";

using Clock = std::chrono::steady_clock;

/// Longest time for all checks that wait for somebody, in milliseconds.
constexpr int kLimitMs = 43000;

/// Longest wait for a call, in milliseconds: longer than the server waits for a host that is silent.
constexpr int kCallLimitMs = 38000;

/// Of the column of verdicts.
constexpr std::size_t kVerdictWidth = 5;

const char* nameOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::kFine: return "ok";
    case Verdict::kNote: return "note";
    case Verdict::kWrong: return "wrong";
  }
  return "";
}

using Report = std::function<void(const Finding& finding)>;

/// How much of the time for all checks is left, in milliseconds.
int remainingMs(Clock::time_point end) {
  const auto remaining = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
  return remaining > 0 ? static_cast<int>(remaining) : 0;
}

/// The checks of the server alone. Returns whether a call could succeed.
bool checkServer(const std::string& server, const Report& report) {
  report({.check = "server", .text = "the server is " + server});
  report(checkLibraries(server));
  const Finding initialize = checkInitialize(server);
  report(initialize);
  return initialize.verdict != Verdict::kWrong;
}

void checkAll(const QString& givenServer, bool withCall, const Report& report) {
  const Clock::time_point end = Clock::now() + std::chrono::milliseconds(kLimitMs);
  std::string notFound;
  const std::string server = locateServer(givenServer, notFound);
  if (server.empty())
    report({.check = "server",
            .verdict = Verdict::kWrong,
            .text = notFound,
            .remedy = "install OrvaneMCPServer beside orvane-mcp, or name it with --server"});
  const bool serverAnswers = !server.empty() && checkServer(server, report);
  report(checkSocket(hostSocketPath()));
  if (withCall && serverAnswers) {
    report(checkCall(server, std::min(kCallLimitMs, remainingMs(end))));
  } else if (withCall) {
    report({.check = "call", .verdict = Verdict::kNote, .text = "not tried, since no server answers"});
  }
  checkClients(knownClients(), server, report);
}

void printForPeople(const Finding& finding) {
  std::string line = nameOf(finding.verdict);
  line.resize(std::max(line.size(), kVerdictWidth), ' ');
  line += "  " + finding.check + ": " + finding.text;
  if (!finding.remedy.empty()) line += ". Remedy: " + finding.remedy;
  print(line + '\n');
  flushOutput();
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
  print(OrderedJson{{"checks", checks}}.dump(2, ' ', false, OrderedJson::error_handler_t::replace) + '\n');
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

  std::vector<Finding> findings;
  checkAll(parser.value(QStringLiteral("server")), parser.isSet(call), [&](const Finding& finding) {
    findings.push_back(finding);
    if (!parser.isSet(json)) printForPeople(finding);
  });
  if (parser.isSet(json)) printForPrograms(findings);
  const bool allWell = std::ranges::none_of(
      findings, [](const Finding& finding) { return finding.verdict == Verdict::kWrong; });
  return allWell ? kSuccess : kFailure;
}
