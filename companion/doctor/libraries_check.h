#pragma once

#include "companion/doctor/finding.h"

#include <string>

/// That the server's executable, an absolute path, is a program for this machine and finds its shared
/// libraries, in the versions that it needs. Asks the dynamic loader; nothing of the server runs.
Finding checkLibraries(const std::string& server);
