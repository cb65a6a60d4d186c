#include "devhost/document/document.h"
#include "devhost/document/opened_file.h"
#include "devhost/host_server.h"
#include "devhost/progress_line.h"
#include "devhost/service_name.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <QSocketNotifier>

#include <sys/resource.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <utility>

namespace {

constexpr int kFailure = 1;
constexpr int kWrongUsage = 2;

constexpr char kDescription[] =
    "Stands in for Orvane where it is not installed: opens executables and answers the requests of\n"
    "OrvaneMCPServer about them. Each FILE (ELF, PE or Mach-O) is a document; the first one is current.\n"
    "\n"
    "Everything is kept in memory only: names, comments and bookmarks are gone when the host ends.\n"
    "Stop it with Ctrl+C.";

void complain(const QString& message) {
  std::fprintf(stderr, "orvane-devhost: %s\n", qPrintable(message));
}

/// Turns SIGINT, SIGTERM and SIGHUP into the end of the event loop, so that the socket is removed.
class StopSignals {
 public:
  StopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    descriptor_ = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    notifier_.setSocket(descriptor_);
    QObject::connect(&notifier_, &QSocketNotifier::activated, qApp, [] { QCoreApplication::exit(0); });
    notifier_.setEnabled(true);
  }
  ~StopSignals() {
    notifier_.setEnabled(false);
    close(descriptor_);
  }
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

 private:
  int descriptor_ = -1;
  QSocketNotifier notifier_{QSocketNotifier::Read};
};

/// Room for every client that is accepted: a server without a free descriptor stops listening.
void allowManyDescriptors() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

std::optional<OpenedFile> open(const QString& path, QString& error) {
  ProgressLine line(isatty(STDERR_FILENO) == 1 ? stderr : nullptr, QFileInfo(path).fileName());
  return openFile(path, error, [&line](std::uint64_t decoded, std::uint64_t all, std::size_t procedures) {
    line.show(decoded, all, procedures);
  });
}

bool openAll(const QStringList& paths, DocumentList& documents) {
  for (const QString& path : paths) {
    QString error;
    std::optional<OpenedFile> file = open(path, error);
    if (!file) {
      complain(error);
      return false;
    }
    documents.add(path, std::move(*file));
  }
  return true;
}

int serve(const QString& serviceName, DocumentList& documents) {
  allowManyDescriptors();
  const StopSignals stopSignals;
  HostServer server(documents);
  QString error;
  if (!server.listen(serviceName, error)) {
    complain(error);
    return kFailure;
  }
  std::printf("orvane-devhost: serving %zu document%s as %s\n", documents.size(),
              documents.size() == 1 ? "" : "s", qPrintable(server.socketPath()));
  std::fflush(stdout);
  return QCoreApplication::exec();
}

}  // namespace

int main(int argc, char** argv) {
  QCoreApplication application(argc, argv);
  QCoreApplication::setApplicationName(QStringLiteral("orvane-devhost"));

  QCommandLineParser parser;
  parser.setApplicationDescription(QString::fromLatin1(kDescription));
  // Qt's own option would bring --help-all along, which says nothing more.
  const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                QStringLiteral("Show this text."));
  parser.addOption(help);
  const QCommandLineOption service(QStringLiteral("service"),
                                   QStringLiteral("Serve as NAME instead of %1.").arg(kServiceName),
                                   QStringLiteral("NAME"), kServiceName);
  parser.addOption(service);
  parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("Executable to open."),
                               QStringLiteral("FILE..."));
  if (!parser.parse(QCoreApplication::arguments())) {
    complain(parser.errorText());
    return kWrongUsage;
  }
  if (parser.isSet(help)) {
    std::fputs(qPrintable(parser.helpText()), stdout);
    return 0;
  }
  if (parser.positionalArguments().isEmpty()) {
    complain(QStringLiteral("no FILE is given; see --help"));
    return kWrongUsage;
  }
  const QString serviceName = parser.value(service);
  if (serviceName.isEmpty() || serviceName.contains(u'/')) {
    complain(QStringLiteral("--service takes the name of a service, not \"%1\"").arg(serviceName));
    return kWrongUsage;
  }
  DocumentList documents;
  if (!openAll(parser.positionalArguments(), documents)) return kWrongUsage;
  return serve(serviceName, documents);
}
