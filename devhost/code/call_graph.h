#pragma once

#include "devhost/code/analysis.h"
#include "devhost/image/binary_image.h"

/// Fills in who calls whom in `analysis`, whose procedures and blocks are in place.
void collectCalls(Analysis& analysis, const BinaryImage& image);
