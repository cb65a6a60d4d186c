#pragma once

#include "companion/call/tool_caller.h"

#include <QStringList>

#include <string>
#include <vector>

/// `orvane-mcp tools`: names the server's tools with their arguments, or describes some of them. Returns the
/// exit status.
int runTools(const QStringList& arguments);

/// Prints a line for each tool, "name [argument=type] ...", in the server's order.
void printUsages(const std::vector<Tool>& tools);

/// Prints what the tools called `names` do and take. Returns the first name that there is no tool of, or
/// nothing; the others are described all the same.
std::optional<std::string> describeTools(const std::vector<std::string>& names,
                                         const std::vector<Tool>& tools);
