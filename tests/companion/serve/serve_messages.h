#pragma once

// What the tests of `orvane-mcp serve` send and expect.

#include "support/host_replies.h"
#include "support/replies.h"
#include "support/requests.h"
#include "support/scripted_host.h"
#include "support/server_process.h"

#include <sys/wait.h>

#include <fstream>
#include <sstream>
#include <string>

inline const std::string kListDocuments = callLine(1, "list_documents");
inline constexpr char kInitialize[] = R"({"id": 2, "jsonrpc": "2.0", "method": "initialize"})";

/// In the place of a message that the server did not answer.
inline std::string lostReply(const PrintedId& id) {
  return toolErrorReply(
      id, "The server ended before it answered this message. The next message goes to a new server.");
}

/// In the place of a message that no server ever answered.
inline std::string hopelessReply(const PrintedId& id) {
  return toolErrorReply(id, R"(The server ends whenever it is started; try \"orvane-mcp doctor\".)");
}

/// Answers the next call that comes on the host's present connection.
inline void answerNextCall(ScriptedHost& host, const std::string& text) {
  host.readLine();
  host.reply(success(text));
}

/// Takes one call from a new client and answers it.
inline void answerOneCall(ScriptedHost& host, const std::string& text) {
  host.accept();
  answerNextCall(host, text);
}

/// The status of a process that ended by itself.
inline int exitStatus(ServerProcess& process) {
  const int status = process.waitForEnd();
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

inline std::string contentOf(const std::string& path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}
