#include "devhost/image/macho_image.h"

#include <algorithm>
#include <string_view>

namespace {

void addMachOSegments(ImageDraft& draft, const LIEF::MachO::Binary& macho) {
  using LIEF::MachO::VM_PROTECTIONS;
  const auto allows = [](const LIEF::MachO::SegmentCommand& segment, VM_PROTECTIONS protection) {
    return (segment.init_protection() & static_cast<std::uint32_t>(protection)) != 0;
  };
  for (const LIEF::MachO::SegmentCommand& segment : macho.segments()) {
    const std::uint64_t start = segment.virtual_address();
    // The unmapped first pages, which exist to make null pointers fault.
    if (segment.init_protection() == 0) continue;
    Segment added{.name = segment.name(),
                  .start = start,
                  .end = addSaturated(start, segment.virtual_size()),
                  .fileOffset = addSaturated(macho.fat_offset(), segment.file_offset()),
                  .fileSize = segment.file_size(),
                  .readable = allows(segment, VM_PROTECTIONS::VM_PROT_READ),
                  .writable = allows(segment, VM_PROTECTIONS::VM_PROT_WRITE),
                  .executable = allows(segment, VM_PROTECTIONS::VM_PROT_EXECUTE)};
    for (const LIEF::MachO::Section& section : segment.sections()) {
      const std::uint64_t end = addSaturated(section.address(), section.size());
      if (section.address() < added.start || section.address() >= added.end) continue;
      added.sections.push_back({cleanName(section.name()), section.address(), std::min(end, added.end)});
    }
    draft.addSegment(std::move(added));
  }
  draft.settleSegments();
}

void addMachORanges(ImageDraft& draft, const LIEF::MachO::Binary& macho) {
  // Flags of a section whose bytes are instructions: all of them, or some.
  constexpr std::uint32_t kInstructions = 0x80000400;
  for (const LIEF::MachO::Section& section : macho.sections()) {
    const std::uint64_t end = addSaturated(section.address(), section.size());
    const bool code = (section.raw_flags() & kInstructions) != 0;
    draft.addRange(code ? draft.image.code : draft.image.data, section.address(), end);
    if (code && section.type() == LIEF::MachO::MACHO_SECTION_TYPES::S_SYMBOL_STUBS) {
      draft.addRange(draft.image.stubs, section.address(), end);
    }
  }
  settleRanges(draft.image.code);
}

}  // namespace

void readMachO(ImageDraft& draft, const LIEF::MachO::Binary& macho) {
  addMachOSegments(draft, macho);
  addMachORanges(draft, macho);
  // Its 64-bit code always reaches addresses from where it is.
  draft.image.positionIndependent = draft.image.architecture != Architecture::kX86;
  if (macho.has_entrypoint()) draft.image.entryPoint = macho.entrypoint();
  for (const LIEF::MachO::Symbol& symbol : macho.symbols()) {
    // Bits of a symbol's type: set for a debugger's entry, and for one that is defined in a section.
    constexpr std::uint8_t kDebugging = 0xe0;
    constexpr std::uint8_t kKind = 0x0e;
    if ((symbol.type() & kDebugging) != 0 || (symbol.type() & kKind) != kKind) continue;
    const Segment* segment = draft.image.segmentAt(symbol.value());
    if (segment == nullptr) continue;
    draft.addSymbol(symbol.name(), symbol.value(), 0, draft.image.isCode(symbol.value()));
  }
  if (macho.has_function_starts()) {
    for (const std::uint64_t offset : macho.function_starts().functions()) {
      draft.addSymbol("", addSaturated(macho.imagebase(), offset), 0, true);
    }
  }
  if (!macho.has_dyld_info()) return;
  for (const LIEF::MachO::BindingInfo& binding : macho.dyld_info().bindings()) {
    if (!binding.has_symbol()) continue;
    draft.image.importSlots.push_back({binding.address(), cleanName(binding.symbol().name())});
  }
}
