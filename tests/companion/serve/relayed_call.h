#pragma once

#include "companion/companion_process.h"
#include "companion/serve/serve_messages.h"
#include "support/scripted_host.h"

/// A relay whose first call, kListDocuments, has reached the host, which has not answered it.
struct RelayedCall {
  RelayedCall() {
    serve.writeLine(kListDocuments);
    host.accept();
    host.readLine();
  }

  const TemporaryFolder folder;
  ScriptedHost host{folder.socketPath()};
  ServerProcess serve{serveIn(folder)};
};
