#pragma once

#include "companion/companion_process.h"
#include "support/scripted_host.h"

#include <gmock/gmock.h>

#include <future>
#include <string>

/// `orvane-mcp call --repl` in `folder`, with its lines from the test.
inline ServerOptions scriptIn(const TemporaryFolder& folder) {
  return {.socketFolder = folder.path(), .arguments = {"call", "--repl"}, .program = ORVANE_COMPANION};
}

/// The same with all of its lines at once, run to its end.
inline Outcome runScript(const TemporaryFolder& folder, const std::string& lines) {
  return runCompanion(folder, {"call", "--repl"}, {}, lines);
}

/// The same beside the test, which plays the host. `folder` must outlive the result.
inline std::future<Outcome> startScript(const TemporaryFolder& folder, const std::string& lines) {
  return std::async(std::launch::async, [&folder, lines] { return runScript(folder, lines); });
}

/// A script whose first call has reached the host, which has not answered it.
struct ScriptedCall {
  ScriptedCall() {
    session.writeLine("current_document");
    host.accept();
    host.readLine();
  }

  const TemporaryFolder folder;
  ScriptedHost host{folder.socketPath()};
  ServerProcess session{scriptIn(folder)};
};

inline constexpr char kAnswer[] = R"({"success": true, "result": "here"})";

/// Answers the next request of a new connection, or of the present one.
inline void answer(ScriptedHost& host) {
  EXPECT_THAT(host.readLine(), testing::HasSubstr("currentDocument"));
  host.reply(kAnswer);
}
