#pragma once

#include "devhost/code/analysis.h"
#include "devhost/image/binary_image.h"

#include <cstddef>

/// Fewest printable characters that count as a string.
inline constexpr std::size_t kMinStringLength = 4;

/// Adds the strings in `range` to `analysis`.
void collectStringsIn(Analysis& analysis, const FileRange& range, const MappedBytes& bytes);
