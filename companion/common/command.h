#pragma once

// What the subcommands have in common: exit statuses, complaints, the parsing of their command lines.

#include <QCommandLineParser>
#include <QString>
#include <QStringList>

#include <optional>

inline constexpr int kSuccess = 0;
inline constexpr int kFailure = 1;     ///< something is wrong, or the server reported an error
inline constexpr int kWrongUsage = 2;  ///< the command line is wrong; one line on standard error says how

/// Prints "orvane-mcp: " and `message` as one line on standard error, on a terminal as visible() has it.
void complain(const QString& message);

/// Complains and returns kWrongUsage.
int refuse(const QString& message);

/// Parses `arguments` (the program and the subcommand first) with `parser`, to which "--help" is added. The
/// help says "Usage: orvane-mcp " and `usage` first.
///
/// Returns nothing when the subcommand is to go on, or the exit status when it is not: after help was
/// printed, or a complaint.
std::optional<int> parseCommandLine(QCommandLineParser& parser, const QStringList& arguments,
                                    const QString& usage);

/// What follows the options and the subcommand's name.
QStringList operands(const QCommandLineParser& parser);
