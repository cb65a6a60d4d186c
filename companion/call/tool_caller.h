#pragma once

// The tools as the server lists them, and calls as people type them.

#include "companion/session/host_watch.h"
#include "companion/session/server_session.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct ToolArgument {
  std::string name;
  std::string type;  ///< as the schema has it: "string", "boolean", "object"...
  std::string description;
};

struct Tool {
  std::string name;
  std::string description;
  std::vector<ToolArgument> arguments;

  /// Null when it has no argument of that name.
  const ToolArgument* argument(const std::string& argumentName) const;
};

/// The tool called `name`, or null.
const Tool* findTool(const std::vector<Tool>& tools, const std::string& name);

/// The arguments that `words`, each "key=value", say for `tool`. A value is taken as the schema has it: as it
/// stands for a string, "true" or "false" for a boolean, JSON for everything else. A single word that begins
/// with "{" is all arguments as one JSON object.
///
/// Nothing, with the mistake in `error`, when a word has no "=", its key is unknown or given twice, or its
/// value does not fit.
std::optional<ServerSession::Json> readArguments(const Tool& tool, const std::vector<std::string>& words,
                                                 std::string& error);

/// What a call gave. `error` is empty when it succeeded.
struct CallOutcome {
  std::string text = {};
  std::string error = {};
};

/// A server that a person calls tools of. It is replaced when it has ended, when nobody waits for its answer
/// any more, and when a FreshServerRule says so. For one thread; blocks.
class ToolCaller {
 public:
  /// Will start `server`, an absolute path, and look for the host at `socketPath`.
  ToolCaller(std::string server, std::string socketPath);

  /// Starts the server as a client does and reads its list of tools. False, with the reason in `error`, when
  /// it does not give one.
  bool start(std::string& error);

  /// From now on a call gives up when `descriptor` can be read. That stays the caller's.
  void interruptBy(int descriptor);

  const std::vector<Tool>& tools() const { return tools_; }

  /// Calls `tool`, and waits for its end. That the host did not answer counts as an error here.
  CallOutcome call(const Tool& tool, const ServerSession::Json& arguments);

 private:
  bool restartIfDue(std::string& error);
  std::string whyEmpty(std::chrono::milliseconds took) const;

  std::string server_;
  HostWatch hostWatch_;
  int interruption_ = -1;
  std::unique_ptr<ServerSession> session_;  ///< null when the next call needs a fresh server
  std::vector<Tool> tools_;
};

/// A caller of the host's tools through `server`, started. Null after a complaint, and when `server` is
/// empty.
std::unique_ptr<ToolCaller> startToolCaller(const std::string& server);
