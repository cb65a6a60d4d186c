#pragma once

#include "devhost/code/analysis.h"
#include "devhost/image/binary_image.h"

/// The import that `procedure` jumps to, by its slot; null if it does anything else. Behind the jump a stub
/// may have instructions that reach the loader on the first call.
const ImportSlot* slotOfStub(const Analysis& analysis, const BinaryImage& image, const Procedure& procedure);
