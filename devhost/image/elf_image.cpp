#include "devhost/image/elf_image.h"

#include <algorithm>
#include <string_view>

namespace {

/// Relocation types of one processor, from its ELF supplement.
struct RelocationTypes {
  Architecture architecture;
  std::uint32_t globalData;
  std::uint32_t jumpSlot;
  std::uint32_t relative;
};
constexpr RelocationTypes kRelocationTypes[] = {
    {Architecture::kX8664, 6, 7, 8},
    {Architecture::kX86, 6, 7, 8},
    {Architecture::kArm, 21, 22, 23},
    {Architecture::kArm64, 1025, 1026, 1027},
};

const RelocationTypes& relocationTypesOf(Architecture architecture) {
  return *std::ranges::find(kRelocationTypes, architecture, &RelocationTypes::architecture);
}

void addElfSegments(ImageDraft& draft, const LIEF::ELF::Binary& elf) {
  for (const LIEF::ELF::Segment& segment : elf.segments()) {
    if (segment.type() != LIEF::ELF::SEGMENT_TYPES::PT_LOAD) continue;
    draft.addSegment({.start = segment.virtual_address(),
                      .end = addSaturated(segment.virtual_address(), segment.virtual_size()),
                      .fileOffset = segment.file_offset(),
                      .fileSize = segment.physical_size(),
                      .readable = segment.has(LIEF::ELF::ELF_SEGMENT_FLAGS::PF_R),
                      .writable = segment.has(LIEF::ELF::ELF_SEGMENT_FLAGS::PF_W),
                      .executable = segment.has(LIEF::ELF::ELF_SEGMENT_FLAGS::PF_X)});
  }
  draft.settleSegments();
  for (std::size_t i = 0; i < draft.image.segments.size(); ++i) {
    draft.image.segments[i].name = "LOAD" + std::to_string(i);
  }
}

/// Tables for unwinding: their bytes look like text here and there but never are.
bool holdsUnwindTables(std::string_view section) {
  return section.starts_with(".eh_frame") || section.starts_with(".gcc_except_table") ||
         section.starts_with(".ARM.ex");
}

void addElfSections(ImageDraft& draft, const LIEF::ELF::Binary& elf) {
  using LIEF::ELF::ELF_SECTION_FLAGS;
  using LIEF::ELF::ELF_SECTION_TYPES;
  for (const LIEF::ELF::Section& section : elf.sections()) {
    const bool noBits = section.type() == ELF_SECTION_TYPES::SHT_NOBITS;
    // Thread-local zeros take no room in the address space, whatever address they carry.
    if (!section.has(ELF_SECTION_FLAGS::SHF_ALLOC) || (noBits && section.has(ELF_SECTION_FLAGS::SHF_TLS))) {
      continue;
    }
    const std::uint64_t start = section.virtual_address();
    const std::uint64_t end = addSaturated(start, section.size());
    const Segment* segment = draft.image.segmentAt(start);
    if (segment == nullptr || section.size() == 0) continue;
    const std::string name = cleanName(section.name());
    draft.image.segments[static_cast<std::size_t>(segment - draft.image.segments.data())].sections.push_back(
        {name, start, std::min(end, segment->end)});
    if (noBits) continue;
    if (section.has(ELF_SECTION_FLAGS::SHF_EXECINSTR)) {
      draft.addRange(draft.image.code, start, end);
      if (name.starts_with(".plt") || name == ".iplt") draft.addRange(draft.image.stubs, start, end);
    } else if (section.type() == ELF_SECTION_TYPES::SHT_PROGBITS && !holdsUnwindTables(name)) {
      draft.addRange(draft.image.data, start, end);
    }
  }
}

std::optional<CodeMark::Kind> markKind(std::string_view name) {
  if (name == "$a" || name.starts_with("$a.") || name == "$x" || name.starts_with("$x.")) {
    return CodeMark::Kind::kArm;
  }
  if (name == "$t" || name.starts_with("$t.")) return CodeMark::Kind::kThumb;
  if (name == "$d" || name.starts_with("$d.")) return CodeMark::Kind::kData;
  return std::nullopt;
}

void addElfSymbols(ImageDraft& draft, const LIEF::ELF::Binary& elf) {
  using LIEF::ELF::ELF_SYMBOL_TYPES;
  const bool arm =
      draft.image.architecture == Architecture::kArm || draft.image.architecture == Architecture::kArm64;
  for (const LIEF::ELF::Symbol& symbol : elf.symbols()) {
    if (symbol.shndx() == 0 || symbol.name().empty()) continue;
    if (const auto kind = arm ? markKind(symbol.name()) : std::nullopt) {
      draft.image.codeMarks.push_back({symbol.value(), *kind});
      continue;
    }
    const ELF_SYMBOL_TYPES type = symbol.type();
    const bool function = type == ELF_SYMBOL_TYPES::STT_FUNC || type == ELF_SYMBOL_TYPES::STT_GNU_IFUNC;
    if (!function && type != ELF_SYMBOL_TYPES::STT_OBJECT && type != ELF_SYMBOL_TYPES::STT_NOTYPE) continue;
    draft.addSymbol(symbol.name(), symbol.value(), symbol.size(), function);
  }
}

void addElfRelocations(ImageDraft& draft, const LIEF::ELF::Binary& elf, const MappedBytes& bytes) {
  const RelocationTypes& types = relocationTypesOf(draft.image.architecture);
  const std::size_t pointerSize = elf.type() == LIEF::ELF::ELF_CLASS::ELFCLASS64 ? 8 : 4;
  for (const LIEF::ELF::Relocation& relocation : elf.relocations()) {
    const std::uint64_t cell = relocation.address();
    if (relocation.type() == types.relative) {
      const auto pointer = relocation.is_rela() ? static_cast<std::uint64_t>(relocation.addend())
                                                : bytes.number(cell, pointerSize).value_or(kNoAddress);
      draft.image.codePointers.push_back(pointer);
    } else if (relocation.type() == types.jumpSlot || relocation.type() == types.globalData) {
      if (!relocation.has_symbol() || relocation.symbol().name().empty()) continue;
      draft.image.importSlots.push_back({cell, cleanName(relocation.symbol().name())});
    }
  }
}

void addElfDynamicEntries(ImageDraft& draft, const LIEF::ELF::Binary& elf) {
  using LIEF::ELF::DYNAMIC_TAGS;
  for (const LIEF::ELF::DynamicEntry& entry : elf.dynamic_entries()) {
    if (entry.tag() == DYNAMIC_TAGS::DT_INIT || entry.tag() == DYNAMIC_TAGS::DT_FINI) {
      draft.image.codePointers.push_back(entry.value());
    }
    if (entry.tag() == DYNAMIC_TAGS::DT_PLTGOT) draft.image.globalOffsetTable = entry.value();
    if (const auto* array = dynamic_cast<const LIEF::ELF::DynamicEntryArray*>(&entry)) {
      for (const std::uint64_t pointer : array->array()) draft.image.codePointers.push_back(pointer);
    }
  }
}

}  // namespace

void readElf(ImageDraft& draft, const LIEF::ELF::Binary& elf, const MappedBytes& bytes) {
  addElfSegments(draft, elf);
  addElfSections(draft, elf);
  addElfSymbols(draft, elf);
  addElfRelocations(draft, elf, bytes);
  addElfDynamicEntries(draft, elf);
  draft.image.positionIndependent = elf.header().file_type() == LIEF::ELF::E_TYPE::ET_DYN;
  draft.image.entryPoint = elf.header().entrypoint();
}
