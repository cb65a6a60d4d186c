#pragma once

#include <QString>

/// File name of the server's executable.
inline constexpr char kServerFileName[] = "OrvaneMCPServer";

/// The absolute path of the server: `given` (the value of --server) when it is not empty, else the server
/// installed beside this program, else the one of the build tree that this program lies in.
///
/// Empty, with the reason in `error`, when there is no executable file there.
QString locateServer(const QString& given, QString& error);
