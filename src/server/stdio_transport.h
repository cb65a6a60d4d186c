#pragma once

// The line transport: messages arrive on descriptor 0 and leave on descriptor 1, one a line. Works on the raw
// descriptors, on the server thread alone. Its other half, sendMessage, is declared in mcp/transport.h.

#include "server/mcp_server.h"

/// Makes descriptor 0 non-blocking, for good, and serves messages until input ends.
///
/// Waits without limit and without using the processor. Returns 0 at end of input, after a read failure, or
/// when `running` is found false; 1 after a select failure. Failures are reported on standard error.
int run(McpServer& server);

/// Reads all input that is available and handles each line as soon as it is complete.
///
/// Returns true when the loop is to wait for more; false at end of input (an unfinished last line is dropped)
/// or after a read failure, an interrupted read included, which is reported on standard error.
bool readAvailable(McpServer& server);

/// Takes complete lines off the front of `inputBuffer` and hands each to handleMessage (mcp/json_rpc.h).
///
/// A line ends in a line feed; one carriage return before it is dropped. Lines of nothing but blanks, tabs
/// and carriage returns are skipped.
void processLines(McpServer& server);
