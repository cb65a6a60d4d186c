#pragma once

#include "devhost/image/binary_image.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// Reads the headers, symbols and relocations of an ELF, PE or Mach-O file.
///
/// Returns nothing when the file is of no known kind or for another processor; `error` then says why in one
/// sentence without a subject. Everything returned lies within the file, whatever its headers claim. The
/// parser below may still crash or loop on a hostile file: call it where that does no harm.
std::optional<BinaryImage> readImage(const std::vector<std::uint8_t>& file, std::string& error);
