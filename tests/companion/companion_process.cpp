#include "companion/companion_process.h"

#include "support/waiting.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace {

/// The parent of process `pid`, or -1 when there is no such process or it has ended and only waits to be
/// reaped.
pid_t parentOf(const std::string& pid) {
  std::ifstream stat("/proc/" + pid + "/stat");
  std::string text;
  std::getline(stat, text);
  const std::size_t afterName = text.rfind(')');
  if (afterName == std::string::npos || text[afterName + 2] == 'Z') return -1;
  return std::stoi(text.substr(afterName + 4));
}

std::vector<pid_t> childrenOf(pid_t parent) {
  std::vector<pid_t> children;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const std::string name = entry.path().filename();
    if (name.find_first_not_of("0123456789") == std::string::npos && parentOf(name) == parent)
      children.push_back(std::stoi(name));
  }
  return children;
}

/// A process whose first thread waits to be reaped may still have other threads, and with them its pipes.
std::size_t threadsOf(pid_t pid) {
  std::size_t threads = 0;
  std::error_code gone;
  std::filesystem::directory_iterator entry("/proc/" + std::to_string(pid) + "/task", gone);
  for (; !gone && entry != end(entry); entry.increment(gone)) ++threads;
  return threads;
}

}  // namespace

ServerOptions serveIn(const TemporaryFolder& folder, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "serve");
  return {.socketFolder = folder.path(),
          .arguments = std::move(arguments),
          .environment = {"HOME=" + folder.path()},
          .program = ORVANE_COMPANION};
}

ServerOptions serveFakeIn(const TemporaryFolder& folder, std::vector<std::string> environment) {
  ServerOptions options = serveIn(folder, {"--server", ORVANE_FAKE_SERVER});
  options.environment.insert(options.environment.end(), environment.begin(), environment.end());
  return options;
}

pid_t onlyChildOf(pid_t parent) {
  std::vector<pid_t> children;
  waitUntil(
      [&children, parent] {
        children = childrenOf(parent);
        return children.size() == 1;
      },
      "the one child process");
  return children.front();
}

void waitUntilGone(pid_t pid) {
  waitUntil([pid] { return parentOf(std::to_string(pid)) < 0 && threadsOf(pid) <= 1; }, "a process's end");
}

Outcome runCompanion(const TemporaryFolder& folder, const std::vector<std::string>& arguments,
                     const std::vector<std::string>& environment, const std::string& input) {
  ServerOptions options{.socketFolder = folder.path(),
                        .arguments = arguments,
                        .environment = environment,
                        .program = ORVANE_COMPANION};
  options.environment.push_back("HOME=" + folder.path());
  ServerProcess process(options);
  process.write(input);
  process.closeInput();
  const int status = process.waitForEnd();
  return {.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1,
          .output = process.pendingOutput(),
          .error = process.diagnostics()};
}
