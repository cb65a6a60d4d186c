#pragma once

#include <sys/types.h>

/// Whether the process `server`, a child of this one, holds a connection to the host: a connected socket that
/// it does not share with this process, from which it has its standard streams and whatever else was left
/// open. False also when that cannot be found out.
///
/// Reads a few dozen small files of /proc and the list of this machine's local sockets.
bool holdsHostConnection(pid_t server);
