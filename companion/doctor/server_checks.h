#pragma once

// The checks of the server and of the host behind it. None of them alters anything.

#include "companion/doctor/finding.h"

#include <string>

/// That the server starts and answers "initialize", and how fast. A server connects to the host when it
/// starts.
Finding checkInitialize(const std::string& server);

/// That the host's socket at `path` is there, that this user may use it, and that somebody listens: opens a
/// connection to the host.
Finding checkSocket(const std::string& path);

/// That a harmless call ("list_documents") through a server of its own is answered by the host within
/// `limitMs` milliseconds.
Finding checkCall(const std::string& server, int limitMs);
