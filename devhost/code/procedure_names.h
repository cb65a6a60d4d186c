#pragma once

#include "devhost/code/analysis.h"
#include "devhost/image/binary_image.h"

#include <cstdint>
#include <string>

/// Fills in the names, aliases and signatures of `analysis`, whose procedures are in place.
void collectNames(Analysis& analysis, const BinaryImage& image);

/// "sub_" and the address, the name of a procedure that has no other.
std::string defaultProcedureName(std::uint64_t entry);
