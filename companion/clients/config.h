#pragma once

#include <QStringList>

/// `orvane-mcp config`: prints the server's entry for a client, or enters it in the client's file, or takes
/// it out again. Returns the exit status.
int runConfig(const QStringList& arguments);
