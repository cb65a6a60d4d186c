#pragma once

#include "support/server_process.h"
#include "support/temporary_folder.h"

#include <sys/types.h>

#include <string>
#include <vector>

/// `orvane-mcp serve` with `arguments`, in `folder`.
ServerOptions serveIn(const TemporaryFolder& folder, std::vector<std::string> arguments = {});

/// The same with the fake server (fake_server.cpp) behind it.
ServerOptions serveFakeIn(const TemporaryFolder& folder, std::vector<std::string> environment = {});

/// Waits until `parent` has exactly one child process, and returns it.
pid_t onlyChildOf(pid_t parent);

/// Waits until no process `pid` is left.
void waitUntilGone(pid_t pid);

/// What a program did that was run to its end.
struct Outcome {
  int status = -1;  ///< exit status, or -1 when a signal ended it
  std::string output = {};
  std::string error = {};
};

/// Runs `orvane-mcp` with `arguments` and nothing on standard input to its end. TMPDIR and HOME are `folder`;
/// `environment` comes on top.
Outcome runCompanion(const TemporaryFolder& folder, const std::vector<std::string>& arguments,
                     const std::vector<std::string>& environment = {}, const std::string& input = {});
