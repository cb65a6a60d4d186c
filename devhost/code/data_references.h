#pragma once

#include "devhost/code/analysis.h"
#include "devhost/image/binary_image.h"

/// Adds the cells of data that refer to code, strings or names to the references of `analysis`, whose
/// procedures, names and strings are in place: pointers that the loader sets, numbers that look like pointers
/// where it sets none, and tables of 32-bit distances from their own start or from each cell. Leaves the
/// references sorted.
void collectDataReferences(Analysis& analysis, const BinaryImage& image, const MappedBytes& bytes);
