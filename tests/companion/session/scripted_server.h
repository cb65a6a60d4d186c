#pragma once

#include <filesystem>
#include <fstream>
#include <string>

/// Makes a server of a shell script, in `folder`. Returns its path.
inline std::string scriptedServer(const std::string& folder, const std::string& script) {
  std::string path = folder + "/server";
  std::ofstream(path) << "#!/bin/sh\n" << script;
  std::filesystem::permissions(path, std::filesystem::perms(0700));
  return path;
}
