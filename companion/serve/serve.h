#pragma once

#include <QStringList>

/// `orvane-mcp serve`: the server, with its standard streams passed through unchanged, for clients that leave
/// processes behind. See relay.h. Returns the exit status.
int runServe(const QStringList& arguments);
