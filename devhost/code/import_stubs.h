#pragma once

#include "devhost/code/analysis.h"
#include "devhost/image/binary_image.h"

/// The import that `procedure` does nothing but jump to, by its slot.; null if it does anything else.
const ImportSlot* slotOfStub(const Analysis& analysis, const BinaryImage& image, const Procedure& procedure);
