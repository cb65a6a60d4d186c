#pragma once

#include "devhost/image/image_draft.h"

#include <cstdint>
#include <span>
#include <string>

/// Adds what a PE file says to `draft`. False, with the reason in `error`, when it cannot be read or is for
/// another processor.
bool readPe(ImageDraft& draft, std::span<const std::uint8_t> file, std::string& error);
