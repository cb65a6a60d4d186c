#include "app/server_body.h"
#include "server/freed_memory.h"

#include <QCoreApplication>
#include <QThread>

int main(int argc, char** argv) {
  keepFreedMemory();
  QCoreApplication application(argc, argv);
  QThread serverThread;
  QObject::connect(&serverThread, &QThread::started, &serverThread, serveStandardStreams,
                   Qt::DirectConnection);
  serverThread.start(QThread::InheritPriority);
  // Nothing ends this loop: the process stays, idle, until the client that started it ends it.
  return application.exec();
}
