#pragma once

#include "companion/companion_process.h"
#include "support/scripted_host.h"

#include <gmock/gmock.h>

/// `orvane-mcp call --repl` in `folder`, with its lines from the test.
inline ServerOptions scriptIn(const TemporaryFolder& folder) {
  return {.socketFolder = folder.path(), .arguments = {"call", "--repl"}, .program = ORVANE_COMPANION};
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
