#include "companion/serve/serve.h"

#include "companion/common/command.h"
#include "companion/serve/relay.h"
#include "companion/session/host_socket.h"
#include "companion/session/server_location.h"

namespace {

constexpr char kDescription[] =
    R"(Starts the server and relays both streams, line by line. Stops the server when its own input has ended and
every message has been answered, when nobody reads the answers, on SIGTERM, SIGINT or SIGHUP (with exit
status 0), and when it is killed itself.

Replaces the server before the next message when Orvane has been opened or restarted since the server
started, when Orvane has dropped the server's connection, and when a call has timed out. A message that is
lost because the server ended is answered with an error (code -32000).

Every byte passes unchanged, with two exceptions: "ping" is answered at once with an empty result, and the
server's replies to notifications, which no client expects, are dropped.)";

}  // namespace

int runServe(const QStringList& arguments) {
  QCommandLineParser parser;
  parser.setApplicationDescription(QString::fromLatin1(kDescription));
  const QCommandLineOption noFollow(QStringLiteral("no-follow"),
                                    QStringLiteral("Never replace the server while it runs."));
  const QCommandLineOption exact(QStringLiteral("exact"),
                                 QStringLiteral("Relay \"ping\" and the replies to notifications too."));
  parser.addOptions({exact, serverOption(), noFollow});
  if (const std::optional<int> status =
          parseCommandLine(parser, arguments, QStringLiteral("serve [options]")))
    return *status;
  if (!operands(parser).isEmpty()) return refuse(QStringLiteral("serve takes no arguments"));

  const std::string server = locateServer(parser);
  if (server.empty()) return kFailure;
  const RelayOptions options{.server = server,
                             .socketPath = hostSocketPath(),
                             .follow = !parser.isSet(noFollow),
                             .exact = parser.isSet(exact)};
  std::string error;
  if (relay(options, error)) return kSuccess;
  complain(QString::fromStdString(error));
  return kFailure;
}
