#pragma once

#include "companion/call/tool_caller.h"

#include <string>
#include <vector>

/// What can stand in place of the last word of `line`, which ends at the cursor: a tool's name with a blank
/// behind it as the first word; then a key of the tool that is not in the line yet, with its "="; behind the
/// "=" of a boolean, true and false. Words for the session ("help", "quit") are completed like tools.
std::vector<std::string> completionsOf(const std::string& line, const std::vector<Tool>& tools);

/// Reads calls from standard input, "TOOL [key=value ...]", makes them one by one with `caller`, which has
/// been started, and prints the text of each. A mistake is reported and does not end the session; "quit" and
/// the end of input do.
///
/// On a terminal with editing, a history that lasts, and with Ctrl-C to drop a line or to stop waiting for a
/// call; the exit status is kSuccess. Else as a script: complaints tell the line's number, and the exit
/// status is kFailure when a line failed or the input could not be read.
int runRepl(ToolCaller& caller);
