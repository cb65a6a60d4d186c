#pragma once

#include "devhost/code/analysis.h"
#include "devhost/code/code_explorer.h"
#include "devhost/image/binary_image.h"

#include <cstdint>
#include <vector>

/// Fills in the places on the stack that the procedures of `analysis` use. `framePointerSetters` are the
/// instructions that begin a frame.
void collectLocals(Analysis& analysis, const BinaryImage& image, const std::vector<StackUse>& stackUses,
                   const std::vector<std::uint64_t>& framePointerSetters);
