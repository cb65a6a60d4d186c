#pragma once

#include "devhost/image/image_draft.h"

#include <cstdint>
#include <span>

/// Adds the functions whose begin and size the unwind table .eh_frame tells. `table` lies at `address`; it
/// may be longer than the table, which ends with a zero. One of them is the common part of the import stubs,
/// as long as all of them.
void addFunctionsOfEhFrame(ImageDraft& draft, std::span<const std::uint8_t> table, std::uint64_t address);

/// The same with the table that the header .eh_frame_hdr at `address` leads to; nothing if it is damaged, or
/// written in another way than linkers do.
void addFunctionsBehindEhFrameHeader(ImageDraft& draft, const MappedBytes& bytes, std::uint64_t address);
