#pragma once

#include "companion/companion_process.h"

#include <string>
#include <vector>

/// `orvane-mcp config` for somebody who has not set TMPDIR.
inline Outcome runConfig(const TemporaryFolder& folder, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "config");
  return runCompanion(folder, arguments, {"TMPDIR="});
}
