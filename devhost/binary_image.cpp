#include "binary_image.h"

#include <LIEF/ELF.hpp>
#include <LIEF/LIEF.hpp>
#include <LIEF/MachO.hpp>
#include <LIEF/PE.hpp>

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <string_view>

namespace {

/// Longest name that is kept, in bytes. Real mangled names stay well below it.
constexpr std::size_t kMaxNameBytes = 4096;

/// How often the bytes of a file may be mapped, all segments together. Honest files map them about once.
constexpr std::uint64_t kMaxMappings = 4;

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

std::uint64_t addSaturated(std::uint64_t start, std::uint64_t size) {
  return size > kNoAddress - start ? kNoAddress : start + size;
}

/// A name fit for one line of a listing.
std::string cleanName(std::string name) {
  name.resize(std::min(name.size(), kMaxNameBytes));
  name.resize(std::min(name.size(), name.find('\0')));
  std::ranges::replace_if(
      name, [](unsigned char byte) { return byte < 0x20 || byte == 0x7f; }, '?');
  return name;
}

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

/// What the three file formats have in common, gathered before it is put in order.
struct Draft {
  BinaryImage image;
  std::uint64_t fileSize = 0;

  void addSegment(Segment segment) {
    segment.name = cleanName(segment.name);
    segment.fileOffset = std::min(segment.fileOffset, fileSize);
    segment.fileSize =
        std::min({segment.fileSize, fileSize - segment.fileOffset, segment.end - segment.start});
    if (segment.start < segment.end) image.segments.push_back(std::move(segment));
  }

  /// Adds the part of [start, end) that the file holds to `ranges`.
  void addRange(std::vector<FileRange>& ranges, std::uint64_t start, std::uint64_t end) const {
    const Segment* segment = image.segmentAt(start);
    if (segment == nullptr) return;
    const std::uint64_t last = std::min(end, segment->start + segment->fileSize);
    if (start < last) ranges.push_back({start, last, segment->fileOffset + (start - segment->start)});
  }

  void addSymbol(const std::string& name, std::uint64_t address, std::uint64_t size, bool function) {
    if (image.segmentAt(address & ~std::uint64_t{function && image.architecture == Architecture::kArm}) ==
        nullptr)
      return;
    const bool thumb = function && image.architecture == Architecture::kArm && (address & 1) != 0;
    image.symbols.push_back({cleanName(name), thumb ? address - 1 : address, size, function, thumb});
  }
};

/// Orders the segments and takes away what overlaps, so that an address means one thing.
void settleSegments(std::vector<Segment>& segments) {
  std::ranges::stable_sort(segments, {}, &Segment::start);
  std::vector<Segment> kept;
  for (Segment& segment : segments) {
    if (!kept.empty() && segment.start < kept.back().end) continue;
    kept.push_back(std::move(segment));
  }
  segments = std::move(kept);
}

void settleRanges(std::vector<FileRange>& ranges) {
  std::ranges::sort(ranges, {}, &FileRange::start);
  std::vector<FileRange> kept;
  for (FileRange range : ranges) {
    const std::uint64_t free = kept.empty() ? 0 : kept.back().end;
    if (range.start < free) {
      range.fileOffset += free - range.start;
      range.start = free;
    }
    if (range.start < range.end) kept.push_back(range);
  }
  ranges = std::move(kept);
}

bool mapsTooMuch(const Draft& draft) {
  std::uint64_t mapped = 0;
  for (const Segment& segment : draft.image.segments) mapped += segment.fileSize;
  return mapped > kMaxMappings * draft.fileSize;
}

// ELF ----------------------------------------------------------------------------------------------------

void addElfSegments(Draft& draft, const LIEF::ELF::Binary& elf) {
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
  settleSegments(draft.image.segments);
  for (std::size_t i = 0; i < draft.image.segments.size(); ++i) {
    draft.image.segments[i].name = "LOAD" + std::to_string(i);
  }
}

/// Tables for unwinding: their bytes look like text here and there but never are.
bool holdsUnwindTables(std::string_view section) {
  return section.starts_with(".eh_frame") || section.starts_with(".gcc_except_table") ||
         section.starts_with(".ARM.ex");
}

void addElfSections(Draft& draft, const LIEF::ELF::Binary& elf) {
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

void addElfSymbols(Draft& draft, const LIEF::ELF::Binary& elf) {
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

void addElfRelocations(Draft& draft, const LIEF::ELF::Binary& elf, const MappedBytes& bytes) {
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

void addElfDynamicEntries(Draft& draft, const LIEF::ELF::Binary& elf) {
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

void readElf(Draft& draft, const LIEF::ELF::Binary& elf, const MappedBytes& bytes) {
  addElfSegments(draft, elf);
  addElfSections(draft, elf);
  addElfSymbols(draft, elf);
  addElfRelocations(draft, elf, bytes);
  addElfDynamicEntries(draft, elf);
  draft.image.positionIndependent = elf.header().file_type() == LIEF::ELF::E_TYPE::ET_DYN;
  draft.image.entryPoint = elf.header().entrypoint();
}

// PE -----------------------------------------------------------------------------------------------------

void addPeSections(Draft& draft, const LIEF::PE::Binary& pe, std::uint64_t base) {
  using LIEF::PE::SECTION_CHARACTERISTICS;
  for (const LIEF::PE::Section& section : pe.sections()) {
    const std::uint64_t start = addSaturated(base, section.virtual_address());
    const std::uint64_t size = std::max(section.virtual_size(), section.sizeof_raw_data());
    const std::string name = cleanName(section.name());
    draft.addSegment(
        {.name = name,
         .start = start,
         .end = addSaturated(start, size),
         .fileOffset = section.pointerto_raw_data(),
         .fileSize = section.sizeof_raw_data(),
         .readable = section.has_characteristic(SECTION_CHARACTERISTICS::IMAGE_SCN_MEM_READ),
         .writable = section.has_characteristic(SECTION_CHARACTERISTICS::IMAGE_SCN_MEM_WRITE),
         .executable = section.has_characteristic(SECTION_CHARACTERISTICS::IMAGE_SCN_MEM_EXECUTE),
         .sections = {{name, start, addSaturated(start, size)}}});
  }
  settleSegments(draft.image.segments);
}

void readPe(Draft& draft, const LIEF::PE::Binary& pe) {
  const std::uint64_t base = pe.optional_header().imagebase();
  addPeSections(draft, pe, base);
  if (pe.optional_header().addressof_entrypoint() != 0) {
    draft.image.entryPoint = addSaturated(base, pe.optional_header().addressof_entrypoint());
  }
  for (const LIEF::PE::Import& import : pe.imports()) {
    for (const LIEF::PE::ImportEntry& entry : import.entries()) {
      const std::string name =
          entry.is_ordinal() ? import.name() + "#" + std::to_string(entry.ordinal()) : entry.name();
      draft.image.importSlots.push_back({addSaturated(base, entry.iat_address()), cleanName(name)});
    }
  }
  if (pe.has_exports()) {
    for (const LIEF::PE::ExportEntry& entry : pe.get_export().entries()) {
      const std::uint64_t address = addSaturated(base, entry.address());
      if (entry.is_extern() || entry.address() == 0) continue;
      const Segment* segment = draft.image.segmentAt(address);
      draft.addSymbol(entry.name(), address, 0, segment != nullptr && segment->executable);
    }
  }
  if (pe.has_tls()) {
    for (const std::uint64_t callback : pe.tls().callbacks()) draft.image.codePointers.push_back(callback);
  }
}

// Mach-O -------------------------------------------------------------------------------------------------

void addMachOSegments(Draft& draft, const LIEF::MachO::Binary& macho) {
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
  settleSegments(draft.image.segments);
}

void addMachORanges(Draft& draft, const LIEF::MachO::Binary& macho) {
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

void readMachO(Draft& draft, const LIEF::MachO::Binary& macho) {
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

// All ----------------------------------------------------------------------------------------------------

/// For a file without sections, or whose sections are no use: the segments say what is code and what is data.
void addRangesOfSegments(Draft& draft) {
  if (!draft.image.code.empty()) return;
  for (const Segment& segment : draft.image.segments) {
    draft.addRange(segment.executable ? draft.image.code : draft.image.data, segment.start, segment.end);
  }
}

void settle(Draft& draft) {
  BinaryImage& image = draft.image;
  std::erase_if(image.data, [&](const FileRange& range) { return !image.segmentAt(range.start)->readable; });
  for (auto* ranges : {&image.code, &image.data, &image.stubs}) settleRanges(*ranges);
  for (Segment& segment : image.segments) std::ranges::stable_sort(segment.sections, {}, &Section::start);
  std::ranges::stable_sort(image.symbols, {}, &Symbol::address);
  std::ranges::stable_sort(image.importSlots, {}, &ImportSlot::address);
  std::ranges::stable_sort(image.codeMarks, {}, &CodeMark::address);
  std::ranges::sort(image.codePointers);
  if (image.architecture == Architecture::kArm && image.entryPoint != kNoAddress) {
    image.entryIsThumb = (image.entryPoint & 1) != 0;
    image.entryPoint &= ~std::uint64_t{1};
  }
  if (!image.isCode(image.entryPoint)) image.entryPoint = kNoAddress;
}

std::optional<BinaryImage> describe(const LIEF::Binary& binary, const std::vector<std::uint8_t>& file,
                                    std::string& error) {
  const std::optional<Architecture> architecture = architectureOf(binary);
  if (!architecture) {
    error = "is for a processor other than x86-64, x86, AArch64 and 32-bit Arm";
    return std::nullopt;
  }
  Draft draft;
  draft.image.architecture = *architecture;
  draft.fileSize = file.size();
  if (const auto* elf = dynamic_cast<const LIEF::ELF::Binary*>(&binary)) {
    readElf(draft, *elf, MappedBytes(draft.image, file));
  } else if (const auto* pe = dynamic_cast<const LIEF::PE::Binary*>(&binary)) {
    readPe(draft, *pe);
  } else if (const auto* macho = dynamic_cast<const LIEF::MachO::Binary*>(&binary)) {
    readMachO(draft, *macho);
  }
  addRangesOfSegments(draft);
  settle(draft);
  if (draft.image.segments.empty()) {
    error = "has nothing that is loaded into memory";
    return std::nullopt;
  }
  if (mapsTooMuch(draft)) {
    error = "maps its own bytes more often than an honest file does";
    return std::nullopt;
  }
  return std::move(draft.image);
}

}  // namespace

const Segment* BinaryImage::segmentAt(std::uint64_t address) const {
  auto after = std::ranges::upper_bound(segments, address, {}, &Segment::start);
  if (after == segments.begin()) return nullptr;
  --after;
  return address < after->end ? &*after : nullptr;
}

const ImportSlot* BinaryImage::importSlotAt(std::uint64_t address) const {
  const auto slot = std::ranges::lower_bound(importSlots, address, {}, &ImportSlot::address);
  return slot != importSlots.end() && slot->address == address ? &*slot : nullptr;
}

bool BinaryImage::isCode(std::uint64_t address) const {
  const auto after = std::ranges::upper_bound(code, address, {}, &FileRange::start);
  return after != code.begin() && address < std::prev(after)->end;
}

std::span<const std::uint8_t> MappedBytes::from(std::uint64_t address) const {
  const Segment* segment = image_->segmentAt(address);
  if (segment == nullptr || address - segment->start >= segment->fileSize) return {};
  const std::uint64_t skipped = address - segment->start;
  return file_.subspan(segment->fileOffset + skipped, segment->fileSize - skipped);
}

std::optional<std::uint64_t> MappedBytes::number(std::uint64_t address, std::size_t size) const {
  static_assert(std::endian::native == std::endian::little);
  const std::span<const std::uint8_t> bytes = from(address);
  if (bytes.size() < size || size > sizeof(std::uint64_t)) return std::nullopt;
  std::uint64_t value = 0;
  std::memcpy(&value, bytes.data(), size);
  return value;
}

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
