#pragma once

/// All of the server's work: connects to the host, registers the tools, serves standard input until it ends.
/// Runs on the server thread and blocks it; owns everything it uses.
void serveStandardStreams();
