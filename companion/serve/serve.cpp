#include "companion/serve/serve.h"

#include "companion/common/command.h"
#include "companion/serve/relay.h"
#include "companion/session/host_socket.h"
#include "companion/session/server_location.h"

namespace {

constexpr char kDescription[] =
    "Starts the server and passes both streams through unchanged. Ends the server when its own input ends\n"
    "and every message has been answered, when nobody reads the answers, on SIGTERM, SIGINT or SIGHUP (with\n"
    "exit status 0), and when it is itself killed.\n"
    "\n"
    "When Orvane was opened after the server was started, or was restarted, a fresh server is put in its\n"
    "place before the next message. A message that is lost because the server ended is answered with an\n"
    "error (code -32000).";

}  // namespace

int runServe(const QStringList& arguments) {
  QCommandLineParser parser;
  parser.setApplicationDescription(QString::fromLatin1(kDescription));
  const QCommandLineOption noFollow(
      QStringLiteral("no-follow"),
      QStringLiteral("Keep the server that was started first, whatever Orvane does."));
  parser.addOptions({serverOption(), noFollow});
  if (const std::optional<int> status =
          parseCommandLine(parser, arguments, QStringLiteral("serve [options]")))
    return *status;
  if (!operands(parser).isEmpty()) return refuse(QStringLiteral("serve takes no arguments"));

  const std::string server = locateServer(parser);
  if (server.empty()) return kFailure;
  const RelayOptions options{
      .server = server, .socketPath = hostSocketPath(), .follow = !parser.isSet(noFollow)};
  std::string error;
  if (relay(options, error)) return kSuccess;
  complain(QString::fromStdString(error));
  return kFailure;
}
