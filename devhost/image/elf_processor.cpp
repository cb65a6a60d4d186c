#include "devhost/image/elf_processor.h"

#include <llvm/BinaryFormat/ELF.h>

#include <algorithm>

namespace {

namespace ELF = llvm::ELF;

/// One processor's numbers for the relocations that have a role.
struct RelocationTypes {
  Architecture architecture;
  std::uint32_t globalData;
  std::uint32_t jumpSlot;
  std::uint32_t relative;
  std::uint32_t resolved;  ///< by calling what it names
  std::uint32_t absolute;
};
constexpr RelocationTypes kRelocationTypes[] = {
    {Architecture::kX8664, ELF::R_X86_64_GLOB_DAT, ELF::R_X86_64_JUMP_SLOT, ELF::R_X86_64_RELATIVE,
     ELF::R_X86_64_IRELATIVE, ELF::R_X86_64_64},
    {Architecture::kX86, ELF::R_386_GLOB_DAT, ELF::R_386_JUMP_SLOT, ELF::R_386_RELATIVE, ELF::R_386_IRELATIVE,
     ELF::R_386_32},
    {Architecture::kArm, ELF::R_ARM_GLOB_DAT, ELF::R_ARM_JUMP_SLOT, ELF::R_ARM_RELATIVE, ELF::R_ARM_IRELATIVE,
     ELF::R_ARM_ABS32},
    {Architecture::kArm64, ELF::R_AARCH64_GLOB_DAT, ELF::R_AARCH64_JUMP_SLOT, ELF::R_AARCH64_RELATIVE,
     ELF::R_AARCH64_IRELATIVE, ELF::R_AARCH64_ABS64},
};

}  // namespace

std::optional<Architecture> architectureOfElfMachine(std::uint16_t machine) {
  switch (machine) {
    case ELF::EM_386: return Architecture::kX86;
    case ELF::EM_X86_64: return Architecture::kX8664;
    case ELF::EM_ARM: return Architecture::kArm;
    case ELF::EM_AARCH64: return Architecture::kArm64;
    default: return std::nullopt;
  }
}

RelocationRole roleOfElfRelocation(Architecture architecture, std::uint32_t type) {
  const RelocationTypes& types =
      *std::ranges::find(kRelocationTypes, architecture, &RelocationTypes::architecture);
  if (type == types.relative || type == types.resolved) return RelocationRole::kPointer;
  if (type == types.absolute) return RelocationRole::kPointerToSymbol;
  if (type == types.jumpSlot || type == types.globalData) return RelocationRole::kImportSlot;
  return RelocationRole::kOther;
}
