#pragma once

#include "devhost/image/image_draft.h"

#include <cstdint>
#include <span>

/// Adds the pointers and the cells of imports that the loader sets in a Mach-O file with chained fixups, as
/// is usual since macOS 12: `table` (LC_DYLD_CHAINED_FIXUPS) tells where the first cell of each page is, and
/// each cell tells where the next one is. `base` is the address of the file's header. What is damaged or of
/// an unknown kind is left out.
void addChainedFixups(ImageDraft& draft, const MappedBytes& bytes, std::span<const std::uint8_t> table,
                      std::uint64_t base);
