#pragma once

#include "companion/clients/client_list.h"
#include "companion/doctor/finding.h"

#include <functional>
#include <string>
#include <vector>

/// A finding for each client that has a file, given to `report` as it is made: that the file parses, whether
/// the server is entered there, and that what it starts exists. Alters nothing.
void checkClients(const std::vector<Client>& clients,
                  const std::function<void(const Finding& finding)>& report);
