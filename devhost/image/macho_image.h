#pragma once

#include "devhost/image/image_draft.h"

#include <cstdint>
#include <span>
#include <string>

/// Adds what a Mach-O file says to `draft`. Of a file for several processors the last one is read. False,
/// with the reason in `error`, when it cannot be read or is for another processor.
bool readMachO(ImageDraft& draft, std::span<const std::uint8_t> file, std::string& error);
