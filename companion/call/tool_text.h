#pragma once

// What people read of tools: their usage, their description, the result of a call.

#include "companion/call/tool_caller.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

/// Prints a line for each tool, "name [argument=type] ...", in the server's order.
void printUsages(const std::vector<Tool>& tools);

/// Prints what the tools called `names` do and take. Returns the first name that there is no tool of, or
/// nothing; the others are described all the same.
std::optional<std::string> describeTools(const std::vector<std::string>& names,
                                         const std::vector<Tool>& tools);

/// Says that there is no tool `name`, which of `tools` was probably meant, and `hint`; see thereIsNo().
std::string thereIsNoTool(const std::string& name, const std::vector<Tool>& tools, const std::string& hint);

/// Prints the text of a result and a line feed; on a terminal JSON is indented and control bytes are shown,
/// as visible() has it. `isInterrupted` is asked now and then; when it says so, the rest is left out.
void printResult(const std::string& text, const std::function<bool()>& isInterrupted = {});
