#include "app/server_body.h"
#include "server/freed_memory.h"

#include <QCoreApplication>
#include <QThread>

#include <clocale>

int main(int argc, char** argv) {
  keepFreedMemory();
  QCoreApplication application(argc, argv);
  // The application object has applied the environment's locale to the C library, where a decimal comma would
  // change how numbers are read and printed.
  std::setlocale(LC_NUMERIC, "C");

  QThread serverThread;
  QObject::connect(&serverThread, &QThread::started, &serverThread, serveStandardStreams,
                   Qt::DirectConnection);
  serverThread.start(QThread::InheritPriority);
  // Nothing ends this loop: the process stays, idle, until the client that started it ends it.
  return application.exec();
}
