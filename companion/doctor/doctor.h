#pragma once

#include <QStringList>

/// `orvane-mcp doctor`: tells what works and what does not, with the remedy. Returns the exit status.
int runDoctor(const QStringList& arguments);
