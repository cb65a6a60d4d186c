#pragma once

#include "devhost/code/analysis.h"

#include <cstdint>
#include <vector>

/// Procedures that are only ever jumped to, at the end of others: nothing of their surroundings leads there.
/// `entries` are the known procedures', sorted; of `analysis` the instructions are in place.
std::vector<std::uint64_t> entriesOfTailCalls(const Analysis& analysis,
                                              const std::vector<std::uint64_t>& entries,
                                              const std::vector<Reference>& tableJumps);
