#pragma once

#include "companion/clients/client_list.h"
#include "companion/doctor/finding.h"

#include <functional>
#include <string>
#include <vector>

/// A finding for each client that has a file, given to `report` as it is made: that the file can be read and
/// parses, whether the server is entered there, and that what the entry starts is orvane-mcp or a server
/// (`server`, which may be empty, or any of its name), is there, is not turned off, and looks for the host
/// where this program does. Alters nothing.
void checkClients(const std::vector<Client>& clients, const std::string& server,
                  const std::function<void(const Finding& finding)>& report);
