#pragma once

// The checks of `orvane-mcp doctor`. None of them alters anything.

#include "companion/clients/client_list.h"

#include <string>
#include <vector>

enum class Verdict {
  kFine,
  kNote,   ///< worth knowing, and nothing wrong
  kWrong,  ///< keeps an assistant from working
};

/// What one check found, in plain words.
struct Finding {
  std::string check;
  Verdict verdict = Verdict::kFine;
  std::string text = {};
  std::string remedy = {};  ///< empty when nothing is to be done
};

/// That the server's executable, an absolute path, finds its shared libraries. Asks the dynamic loader;
/// nothing of the server runs.
Finding checkLibraries(const std::string& server);

/// That the server starts and answers "initialize", and how fast. A server connects to the host when it
/// starts.
Finding checkInitialize(const std::string& server);

/// That the host's socket at `path` is there, is this user's, and that somebody listens: opens a connection
/// to the host.
Finding checkSocket(const std::string& path);

/// That a harmless call ("list_documents") through a server of its own is answered by the host. Waits as long
/// as the server does.
Finding checkCall(const std::string& server);

/// A finding for each client that has a file: that it parses, whether the server is entered there, and that
/// what it starts exists.
std::vector<Finding> checkClients(const std::vector<Client>& clients);
