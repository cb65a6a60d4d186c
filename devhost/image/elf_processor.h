#pragma once

#include "devhost/image/binary_image.h"

#include <cstdint>
#include <optional>

/// The processor of an ELF file whose header has `machine`; none if it is none of ours.
std::optional<Architecture> architectureOfElfMachine(std::uint16_t machine);

/// What the loader writes into the cell that a relocation names.
enum class RelocationRole {
  kOther,            ///< nothing that matters here
  kPointer,          ///< an address in the file itself, which is the addend; or what is found by calling it
  kPointerToSymbol,  ///< the symbol's address and the addend
  kImportSlot,       ///< the address of a symbol that may be another file's
};

/// `type` is the processor's own number, as elf.h has it.
RelocationRole roleOfElfRelocation(Architecture architecture, std::uint32_t type);
