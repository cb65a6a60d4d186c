#pragma once

#include <QStringList>

/// `orvane-mcp call`: calls a tool as a client would, to try it without an assistant. Returns the exit
/// status.
int runCall(const QStringList& arguments);
