#pragma once

// Where the server's executable is. Every subcommand finds it here.

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QString>

#include <string>

/// File name of the server's executable.
inline constexpr char kServerFileName[] = "OrvaneMCPServer";

/// The option "--server PATH", which every subcommand takes.
QCommandLineOption serverOption();

/// The absolute path of the server: `given` (the value of --server) when it is not empty, else the server
/// installed beside this program, else the one of the build tree that this program lies in.
///
/// Empty, with the reason in `error`, when there is no executable file there.
std::string locateServer(const QString& given, std::string& error);

/// The same for the command line that `parser` has read, which knows serverOption(). Complains when there is
/// none.
std::string locateServer(const QCommandLineParser& parser);
