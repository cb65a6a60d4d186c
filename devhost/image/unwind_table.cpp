#include "devhost/image/unwind_table.h"

#include <llvm/DebugInfo/DWARF/DWARFDataExtractor.h>
#include <llvm/DebugInfo/DWARF/DWARFDebugFrame.h>
#include <llvm/Support/Casting.h>

namespace {

llvm::Triple::ArchType archOf(Architecture architecture) {
  switch (architecture) {
    case Architecture::kX86: return llvm::Triple::x86;
    case Architecture::kX8664: return llvm::Triple::x86_64;
    case Architecture::kArm: return llvm::Triple::arm;
    case Architecture::kArm64: return llvm::Triple::aarch64;
  }
  return llvm::Triple::UnknownArch;
}

}  // namespace

void addFunctionsOfEhFrame(ImageDraft& draft, std::span<const std::uint8_t> table, std::uint64_t address) {
  const bool wide =
      draft.image.architecture == Architecture::kX8664 || draft.image.architecture == Architecture::kArm64;
  const llvm::StringRef bytes(reinterpret_cast<const char*>(table.data()), table.size());
  llvm::DWARFDebugFrame frames(archOf(draft.image.architecture), true, address);
  // Entries in front of a damaged one count.
  llvm::consumeError(frames.parse(llvm::DWARFDataExtractor(bytes, true, wide ? 8 : 4)));
  for (const llvm::dwarf::FrameEntry& entry : frames) {
    const auto* function = llvm::dyn_cast<llvm::dwarf::FDE>(&entry);
    if (function == nullptr || draft.isFull()) continue;
    draft.addSymbol("", function->getInitialLocation(), function->getAddressRange(), true);
  }
}

void addFunctionsBehindEhFrameHeader(ImageDraft& draft, const MappedBytes& bytes, std::uint64_t address) {
  // Version 1; the pointer to the table is four bytes, signed, and counts from its own place.
  constexpr std::uint64_t kVersionAndEncoding = 0x1b01;
  constexpr std::uint64_t kPlaceOfPointer = 4;
  const std::uint64_t place = address + kPlaceOfPointer;
  const auto header = bytes.number(address, 4);
  const auto distance = bytes.number(place, 4);
  if (!header || !distance || (*header & 0xffffU) != kVersionAndEncoding) return;
  const std::uint64_t table =
      place + static_cast<std::uint64_t>(static_cast<std::int32_t>(static_cast<std::uint32_t>(*distance)));
  addFunctionsOfEhFrame(draft, bytes.from(table), table);
}
