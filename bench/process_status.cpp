#include "process_status.h"

#include <filesystem>
#include <fstream>

namespace {

long fieldOf(const std::filesystem::path& statusFile, const std::string& field) {
  std::ifstream file(statusFile);
  std::string line;
  while (std::getline(file, line)) {
    if (line.starts_with(field + ":")) return std::stol(line.substr(field.size() + 1));
  }
  return 0;
}

std::filesystem::path folderOf(pid_t process) {
  return "/proc/" + std::to_string(process);
}

}  // namespace

long statusOf(pid_t process, const std::string& field) {
  return fieldOf(folderOf(process) / "status", field);
}

Activity activityOf(pid_t process) {
  Activity activity;
  for (const auto& thread : std::filesystem::directory_iterator(folderOf(process) / "task")) {
    long long processorNs = 0;
    std::ifstream(thread.path() / "schedstat") >> processorNs;
    activity.processorNs += processorNs;
    activity.contextSwitches += fieldOf(thread.path() / "status", "voluntary_ctxt_switches") +
                                fieldOf(thread.path() / "status", "nonvoluntary_ctxt_switches");
  }
  return activity;
}
