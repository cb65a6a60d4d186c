#include "companion/serve/serve.h"

#include "companion/common/command.h"
#include "companion/serve/relay.h"
#include "companion/session/host_socket.h"
#include "companion/session/server_location.h"

namespace {

constexpr char kDescription[] =
    "Starts the server and passes both streams through, line by line. Ends the server when its own input "
    "ends\n"
    "and every message has been answered, when nobody reads the answers, on SIGTERM, SIGINT or SIGHUP (with\n"
    "exit status 0), and when it is itself killed.\n"
    "\n"
    "A fresh server is put in its place before the next message when Orvane was opened after the server was\n"
    "started or was restarted, when Orvane has dropped the server's connection, and when a call was given "
    "up.\n"
    "A message that is lost because the server ended is answered with an error (code -32000).\n"
    "\n"
    "Every byte passes as it is, with two exceptions: \"ping\" is answered at once with an empty result, and "
    "what\n"
    "the server replies to a notification, to which no client expects a reply, is kept back.";

}  // namespace

int runServe(const QStringList& arguments) {
  QCommandLineParser parser;
  parser.setApplicationDescription(QString::fromLatin1(kDescription));
  const QCommandLineOption noFollow(
      QStringLiteral("no-follow"),
      QStringLiteral("Keep the server that was started first, whatever Orvane does."));
  const QCommandLineOption exact(
      QStringLiteral("exact"),
      QStringLiteral("Pass \"ping\" and the replies to notifications through as well."));
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
