#pragma once

#include "devhost/code/analysis.h"

#include <cstdint>
#include <vector>

/// Splits the instructions of `analysis` into procedures, which begin at `entries` (sorted) and at calls in
/// tail position, and these into basic blocks. `tableJumps` lead from indirect jumps to their cases, sorted
/// by `from`.
void shapeProcedures(Analysis& analysis, const std::vector<std::uint64_t>& entries,
                     const std::vector<Reference>& tableJumps);
