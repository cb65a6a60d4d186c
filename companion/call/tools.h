#pragma once

#include <QStringList>

/// `orvane-mcp tools`: names the server's tools with their arguments, or describes some of them. Returns the
/// exit status.
int runTools(const QStringList& arguments);
