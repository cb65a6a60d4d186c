#pragma once

#include "support/requests.h"
#include "support/scripted_host.h"
#include "support/server_process.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <string>

/// A host, and a server that has connected to it.
class ServerWithHost : public testing::Test {
 protected:
  /// `program` is started instead of the built server.
  explicit ServerWithHost(const std::string& program = {})
      : server_({.socketFolder = folder_.path(), .program = program}) {
    host_.accept();
  }

  /// Calls a tool and returns the request that the host then reads.
  std::string call(int id, const std::string& tool = "comment", const std::string& arguments = "{}") {
    server_.writeLine(callLine(id, tool, arguments));
    return host_.readLine();
  }

  /// The server's reply to a call for which the host sends `body`.
  std::string replyFor(int id, const std::string& body) {
    call(id);
    host_.reply(body);
    return server_.readLine();
  }

  const TemporaryFolder folder_;
  ScriptedHost host_{folder_.socketPath()};
  ServerProcess server_;
};

/// The same with waits so short that a test can wait for them (see tests/support/CMakeLists.txt).
class ImpatientServerWithHost : public ServerWithHost {
 protected:
  ImpatientServerWithHost() : ServerWithHost(impatientServer()) {}
};
