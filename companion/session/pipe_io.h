#pragma once

// What everything that reads and writes the server's lines through pipes has in common.

#include <cstddef>

/// The byte that ends a message, in either direction.
inline constexpr char kLineEnd = '\n';

/// How much is read at once, in bytes: what a pipe holds.
inline constexpr std::size_t kChunkBytes = std::size_t{64} * 1024;

/// Whether `reason`, an errno of a read or write, means that the same call may work later.
bool isRetry(int reason);
