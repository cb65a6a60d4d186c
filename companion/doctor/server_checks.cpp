#include "companion/doctor/server_checks.h"

#include "companion/common/build_values.h"
#include "companion/session/host_socket.h"
#include "companion/session/reply_fields.h"
#include "companion/session/server_session.h"

#include <chrono>
#include <filesystem>
#include <system_error>

namespace {

/// Longest wait for the answer to "initialize", in milliseconds. A healthy server needs some tens.
constexpr int kInitializeLimitMs = 10000;

constexpr char kStartOrvane[] = "start Orvane and let it offer its external API";

std::string errorIn(const ServerSession::Json& reply) {
  const std::string error = errorOf(reply);
  return error.empty() ? error : "the server answers with an error: " + error;
}

Finding missingSocket(const std::string& path) {
  Finding finding{.check = "socket", .verdict = Verdict::kWrong, .text = {}, .remedy = kStartOrvane};
  const std::string folder = temporaryFolder();
  if (std::error_code ignored; std::filesystem::is_directory(folder, ignored)) {
    finding.text = "there is no socket at " + path;
    finding.remedy += "; if it runs, compare the TMPDIR that it was started with";
  } else {
    finding.text = "TMPDIR is " + folder + ", which is no folder; there is no socket at " + path;
    finding.remedy = "set TMPDIR as Orvane has it";
  }
  return finding;
}

}  // namespace

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
    case HostSocketState::kMissing: finding = missingSocket(path); break;
    case HostSocketState::kHidden:
      finding.text = "cannot look for a socket at " + path + ": " + visit.reason;
      finding.remedy = "start Orvane as this user, or set another TMPDIR for both";
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
    case HostSocketState::kBusy:
      finding.verdict = Verdict::kNote;
      finding.text = "the host at " + path + " is busy: too many connections wait for it";
      finding.remedy = "wait until Orvane reacts again, or start it again";
      break;
    case HostSocketState::kUnreachable:
      finding.text = "connecting to " + path + " fails: " + visit.reason;
      break;
  }
  return finding;
}

Finding checkCall(const std::string& server, int limitMs) {
  Finding finding{.check = "call", .verdict = Verdict::kWrong, .text = {}, .remedy = kStartOrvane};
  const auto session = ServerSession::start(server, ServerChild::Diagnostics::kPiped, finding.text);
  if (!session) return finding;
  const auto reply =
      session->ask("tools/call", {{"name", "list_documents"}, {"arguments", ServerSession::Json::object()}},
                   limitMs, finding.text);
  if (!reply) return finding;
  finding.text = errorIn(*reply);
  if (!finding.text.empty()) return finding;
  if (textOf(*reply).empty()) {
    finding.text = "the host did not answer a call of list_documents";
    return finding;
  }
  return {.check = "call", .text = "the host answered a call of list_documents"};
}
