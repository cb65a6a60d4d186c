#pragma once

#include <cstddef>

/// How much a relay keeps in each direction before it stops reading, in bytes. A single longer line is kept
/// all the same.
inline constexpr std::size_t kRelayBufferBytes = std::size_t{1024} * 1024;
