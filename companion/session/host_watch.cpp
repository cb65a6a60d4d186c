#include "companion/session/host_watch.h"

#include "companion/session/server_connection.h"

HostSight lookAtHost(const std::string& socketPath, pid_t server, bool connectionToo) {
  return {.socket = identityOf(socketPath),
          .serverIsConnected = !connectionToo || holdsHostConnection(server)};
}
