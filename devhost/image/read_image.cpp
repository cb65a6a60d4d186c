#include "devhost/image/read_image.h"

#include "devhost/image/elf_image.h"
#include "devhost/image/macho_image.h"
#include "devhost/image/pe_image.h"

#include <LIEF/LIEF.hpp>

#include <memory>
#include <utility>

namespace {

std::optional<Architecture> architectureOf(const LIEF::Binary& binary) {
  const LIEF::Header header = binary.header();
  if (header.endianness() == LIEF::ENDIANNESS::ENDIAN_BIG) return std::nullopt;
  switch (header.architecture()) {
    case LIEF::ARCHITECTURES::ARCH_X86:
      return header.modes().contains(LIEF::MODES::MODE_64) ? Architecture::kX8664 : Architecture::kX86;
    case LIEF::ARCHITECTURES::ARCH_ARM64: return Architecture::kArm64;
    case LIEF::ARCHITECTURES::ARCH_ARM: return Architecture::kArm;
    default: return std::nullopt;
  }
}

std::optional<BinaryImage> describe(const LIEF::Binary& binary, const std::vector<std::uint8_t>& file,
                                    std::string& error) {
  const std::optional<Architecture> architecture = architectureOf(binary);
  if (!architecture) {
    error = "is for a processor other than x86-64, x86, AArch64 and 32-bit Arm";
    return std::nullopt;
  }
  ImageDraft draft;
  draft.image.architecture = *architecture;
  draft.fileSize = file.size();
  if (const auto* elf = dynamic_cast<const LIEF::ELF::Binary*>(&binary)) {
    readElf(draft, *elf, MappedBytes(draft.image, file));
  } else if (const auto* pe = dynamic_cast<const LIEF::PE::Binary*>(&binary)) {
    readPe(draft, *pe);
  } else if (const auto* macho = dynamic_cast<const LIEF::MachO::Binary*>(&binary)) {
    readMachO(draft, *macho);
  }
  draft.settle();
  if (draft.image.segments.empty()) {
    error = "has nothing that is loaded into memory";
    return std::nullopt;
  }
  if (draft.mapsTooMuch()) {
    error = "maps its own bytes more often than an honest file does";
    return std::nullopt;
  }
  return std::move(draft.image);
}

}  // namespace

std::optional<BinaryImage> readImage(const std::vector<std::uint8_t>& file, std::string& error) {
  LIEF::Logger::disable();
  try {
    const std::unique_ptr<LIEF::Binary> binary = LIEF::Parser::parse(file);
    if (binary != nullptr) return describe(*binary, file, error);
  } catch (const LIEF::exception&) {
    // Its own words are several lines long and speak of its insides.
  }
  error = "is no ELF, PE or Mach-O file that can be read";
  return std::nullopt;
}
