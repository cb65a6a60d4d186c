#include "support/server_process.h"

#include "support/waiting.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>

namespace {

struct Pipe {
  int reading = -1;
  int writing = -1;
};

Pipe makePipe() {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("cannot make a pipe");
  return {ends[0], ends[1]};
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

/// The options' environment; beside it, the socket folder as TMPDIR, and the test's own. Each name stands
/// once: which of two counts depends on the system.
std::vector<std::string> environmentFor(const ServerOptions& options) {
  std::vector<std::string> candidates = options.environment;
  candidates.push_back("TMPDIR=" + options.socketFolder);
  for (char** entry = environ; *entry != nullptr; ++entry) candidates.emplace_back(*entry);
  std::set<std::string> names;
  std::vector<std::string> result;
  for (const std::string& candidate : candidates)
    if (names.insert(candidate.substr(0, candidate.find('='))).second) result.push_back(candidate);
  return result;
}

long valueAfter(const std::string& text, const std::string& label) {
  const std::size_t at = text.find(label);
  return at == std::string::npos ? 0 : std::stol(text.substr(at + label.size()));
}

std::string contentOf(const std::filesystem::path& file) {
  std::ostringstream content;
  content << std::ifstream(file).rdbuf();
  return content.str();
}

}  // namespace

std::string impatientServer() {
  return ORVANE_IMPATIENT_SERVER;
}

ServerProcess::ServerProcess(const ServerOptions& options) {
  const Pipe input = makePipe();
  const Pipe output = makePipe();
  const Pipe error = makePipe();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  const auto use = [&actions](int given, int own, int target) {
    if (given == kClosed) {
      posix_spawn_file_actions_addclose(&actions, target);
    } else {
      posix_spawn_file_actions_adddup2(&actions, given >= 0 ? given : own, target);
    }
  };
  use(options.standardInput, input.reading, STDIN_FILENO);
  use(options.standardOutput, output.writing, STDOUT_FILENO);
  use(-1, error.writing, STDERR_FILENO);

  const std::string program = options.program.empty() ? ORVANE_SERVER : options.program;
  std::vector<std::string> arguments = {program};
  arguments.insert(arguments.end(), options.arguments.begin(), options.arguments.end());
  std::vector<std::string> environment = environmentFor(options);
  // Whatever the test or its caller ignores, as nohup does, is not the server's inheritance unless it is to
  // be.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t all;
  sigfillset(&all);
  posix_spawnattr_setsigdefault(&attributes, &all);
  posix_spawnattr_setflags(&attributes, options.inheritsIgnoredSignals ? 0 : POSIX_SPAWN_SETSIGDEF);
  const int failure = posix_spawn(&pid_, program.c_str(), &actions, &attributes, pointers(arguments).data(),
                                  pointers(environment).data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  for (const int theirs : {input.reading, output.writing, error.writing}) ::close(theirs);
  input_ = input.writing;
  output_ = output.reading;
  error_ = error.reading;
  if (failure != 0)
    throw std::runtime_error(std::string("cannot start the server: ") + std::strerror(failure));
}

ServerProcess::~ServerProcess() {
  if (!reaped_) {
    // A stopped process takes no other signal, so it is continued first. Afterwards would be wrong: a leak
    // checker stops its process by SIGSTOP for its report, and waits for ever when a SIGCONT takes that back.
    ::kill(pid_, SIGCONT);
    ::kill(pid_, SIGTERM);  // unlike SIGKILL it lets a checker under which the server runs finish its report
    waitForEnd();
  }
  closeInput();
  closeOutput();
  ::close(error_);
}

void ServerProcess::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(input_, bytes.data(), bytes.size());
    if (count < 0) throw std::runtime_error("the server no longer reads");
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

void ServerProcess::writeLine(std::string_view line) {
  write(std::string(line) + '\n');
}

void ServerProcess::closeInput() {
  if (input_ >= 0) ::close(input_);
  input_ = -1;
}

void ServerProcess::closeOutput() {
  if (output_ >= 0) ::close(output_);
  output_ = -1;
}

void ServerProcess::readAvailable(int descriptor, std::string& into) {
  pollfd ready{descriptor, POLLIN, 0};
  while (::poll(&ready, 1, 0) > 0) {
    char bytes[65536];
    const ssize_t count = ::read(descriptor, bytes, sizeof bytes);
    if (count <= 0) return;
    into.append(bytes, static_cast<std::size_t>(count));
  }
}

std::string ServerProcess::readLine() {
  std::size_t end = received_.find('\n');
  while (end == std::string::npos) {
    waitUntilReadable(output_, "a reply");
    const std::size_t before = received_.size();
    readAvailable(output_, received_);
    if (received_.size() == before) throw std::runtime_error("the server's output has ended");
    end = received_.find('\n', before);
  }
  std::string line = received_.substr(0, end);
  received_.erase(0, end + 1);
  return line;
}

std::string ServerProcess::ask(std::string_view line) {
  writeLine(line);
  return readLine();
}

std::string ServerProcess::pendingOutput() {
  readAvailable(output_, received_);
  return received_;
}

std::string ServerProcess::waitForDiagnostic(std::string_view text) {
  waitUntil([this, text] { return diagnostics().find(text) != std::string::npos; }, "a diagnostic");
  return diagnostics_;
}

const std::string& ServerProcess::diagnostics() {
  readAvailable(error_, diagnostics_);
  return diagnostics_;
}

void ServerProcess::signal(int number) const {
  ::kill(pid_, number);
}

bool ServerProcess::isAlive() {
  if (!reaped_ && ::waitpid(pid_, &status_, WNOHANG) == pid_) reaped_ = true;
  return !reaped_;
}

int ServerProcess::waitForEnd() {
  waitUntil([this] { return !isAlive(); }, "the server's end");
  return status_;
}

ServerProcess::Activity ServerProcess::activity() const {
  Activity sum{0, 0};
  for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(pid_) + "/task")) {
    const std::string status = contentOf(task.path() / "status");
    sum.switches +=
        valueAfter(status, "\nvoluntary_ctxt_switches:") + valueAfter(status, "nonvoluntary_ctxt_switches:");
    const std::string stat = contentOf(task.path() / "stat");
    if (stat.empty()) continue;                                   // the thread has ended meanwhile
    std::istringstream fields(stat.substr(stat.rfind(')') + 2));  // from the third field on
    std::string skipped;
    for (int field = 3; field < 14; ++field) fields >> skipped;
    long user = 0;
    long system = 0;
    fields >> user >> system;
    sum.ticks += user + system;
  }
  return sum;
}

void ServerProcess::waitUntilIdle() const {
  constexpr int kQuietLooks = 50;
  Activity last = activity();
  int quiet = 0;
  waitUntil(
      [&] {
        const Activity now = activity();
        quiet = now == last ? quiet + 1 : 0;
        last = now;
        return quiet >= kQuietLooks;
      },
      "the server to be idle");
}
