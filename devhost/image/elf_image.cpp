#include "devhost/image/elf_image.h"

#include "devhost/image/elf_processor.h"
#include "devhost/image/unwind_table.h"

#include <llvm/BinaryFormat/ELF.h>
#include <llvm/Object/ELF.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

namespace {

namespace ELF = llvm::ELF;

/// Tables for unwinding: their bytes look like text here and there but never are.
bool holdsUnwindTables(std::string_view section) {
  return section.starts_with(".eh_frame") || section.starts_with(".gcc_except_table") ||
         section.starts_with(".ARM.ex");
}

std::optional<CodeMark::Kind> markKind(std::string_view name) {
  constexpr std::size_t kLongestKind = 3;
  name = name.substr(0, std::min(name.find('\0'), kLongestKind));
  if (name == "$a" || name.starts_with("$a.") || name == "$x" || name.starts_with("$x.")) {
    return CodeMark::Kind::kArm;
  }
  if (name == "$t" || name.starts_with("$t.")) return CodeMark::Kind::kThumb;
  if (name == "$d" || name.starts_with("$d.")) return CodeMark::Kind::kData;
  return std::nullopt;
}

/// What `expected` holds, or an empty value: a damaged part of a file is taken for a missing one.
template <typename T>
T orEmpty(llvm::Expected<T> expected) {
  if (expected) return std::move(*expected);
  llvm::consumeError(expected.takeError());
  return T();
}

/// Reads a file of one word size. `Elf` is LLVM's description of it.
template <typename Elf>
class ElfReader {
 public:
  ElfReader(ImageDraft& draft, const llvm::object::ELFFile<Elf>& elf, std::span<const std::uint8_t> file)
      : draft_(draft), elf_(elf), bytes_(draft.image, file) {}

  void read() {
    addSegments();
    sections_ = orEmpty(elf_.sections());
    for (const Shdr& section : sections_) addSection(section);
    readDynamicTable();
    addSymbolTables();
    addFunctionsOfUnwindTable();
    addRelocations();
    addCallsOfLoader();
    draft_.image.positionIndependent = elf_.getHeader().e_type == ELF::ET_DYN;
    draft_.image.entryPoint = elf_.getHeader().e_entry;
  }

 private:
  using Shdr = typename Elf::Shdr;
  using Sym = typename Elf::Sym;
  static constexpr std::size_t kPointerSize = Elf::Is64Bits ? 8 : 4;

  void addSegments();
  void addSection(const Shdr& section);
  void readDynamicTable();
  std::uint64_t dynamicSymbolCount() const;
  void addSymbolTables();
  void addSymbols(llvm::ArrayRef<Sym> symbols, llvm::StringRef names);
  void addFunctionsOfUnwindTable();
  void addRelocations();
  template <typename Relocation>
  void addTable(llvm::ArrayRef<Relocation> table);
  void addRelocation(std::uint64_t cell, std::uint32_t type, const Sym* symbol,
                     std::optional<std::uint64_t> addend);
  void addCallsOfLoader();

  /// The value of an entry of the dynamic table; 0 if there is none.
  std::uint64_t dynamicValue(std::uint64_t tag) const {
    const auto found = dynamic_.find(tag);
    return found == dynamic_.end() ? 0 : found->second;
  }

  /// The records at `address`, as far as `size` bytes and the file reach.
  template <typename T>
  llvm::ArrayRef<T> recordsAt(std::uint64_t address, std::uint64_t size) const {
    const std::span<const std::uint8_t> held = bytes_.from(address);
    return {reinterpret_cast<const T*>(held.data()), std::min<std::uint64_t>(size, held.size()) / sizeof(T)};
  }

  llvm::StringRef textAt(std::uint64_t address, std::uint64_t size) const {
    const llvm::ArrayRef<char> text = recordsAt<char>(address, size);
    return {text.data(), text.size()};
  }

  ImageDraft& draft_;
  const llvm::object::ELFFile<Elf>& elf_;
  const MappedBytes bytes_;
  typename Elf::ShdrRange sections_;
  std::map<std::uint64_t, std::uint64_t> dynamic_;
  llvm::ArrayRef<Sym> dynamicSymbols_;
  llvm::StringRef dynamicNames_;
};

template <typename Elf>
void ElfReader<Elf>::addSegments() {
  const auto headers = orEmpty(elf_.program_headers());
  for (const auto& segment : headers) {
    if (segment.p_type != ELF::PT_LOAD) continue;
    draft_.addSegment({.start = segment.p_vaddr,
                       .end = addSaturated(segment.p_vaddr, segment.p_memsz),
                       .fileOffset = segment.p_offset,
                       .fileSize = segment.p_filesz,
                       .readable = (segment.p_flags & ELF::PF_R) != 0,
                       .writable = (segment.p_flags & ELF::PF_W) != 0,
                       .executable = (segment.p_flags & ELF::PF_X) != 0});
  }
  draft_.settleSegments();
  std::vector<Segment>& segments = draft_.image.segments;
  for (std::size_t i = 0; i < segments.size(); ++i) segments[i].name = "LOAD" + std::to_string(i);
}

template <typename Elf>
void ElfReader<Elf>::addSection(const Shdr& section) {
  const bool noBits = section.sh_type == ELF::SHT_NOBITS;
  // Thread-local zeros take no room in the address space, whatever address they carry.
  if ((section.sh_flags & ELF::SHF_ALLOC) == 0 || (noBits && (section.sh_flags & ELF::SHF_TLS) != 0)) return;
  const std::uint64_t start = section.sh_addr;
  const std::uint64_t end = addSaturated(start, section.sh_size);
  const Segment* segment = draft_.image.segmentAt(start);
  if (segment == nullptr || section.sh_size == 0) return;
  const std::string name = draft_.name(orEmpty(elf_.getSectionName(section)));
  draft_.image.segments[static_cast<std::size_t>(segment - draft_.image.segments.data())].sections.push_back(
      {name, start, std::min(end, segment->end)});
  if (noBits) return;
  if ((section.sh_flags & ELF::SHF_EXECINSTR) != 0) {
    draft_.addRange(draft_.image.code, start, end);
    if (name.starts_with(".plt") || name == ".iplt") draft_.addRange(draft_.image.stubs, start, end);
  } else if (section.sh_type == ELF::SHT_PROGBITS && !holdsUnwindTables(name)) {
    draft_.addRange(draft_.image.data, start, end);
  }
}

template <typename Elf>
void ElfReader<Elf>::readDynamicTable() {
  const auto segments = orEmpty(elf_.program_headers());
  for (const auto& segment : segments) {
    if (segment.p_type != ELF::PT_DYNAMIC) continue;
    const auto entries = recordsAt<typename Elf::Dyn>(segment.p_vaddr, segment.p_memsz);
    for (const auto& entry : entries) {
      if (entry.getTag() == ELF::DT_NULL) break;
      dynamic_.emplace(static_cast<std::uint64_t>(entry.getTag()), entry.getVal());
    }
  }
  draft_.image.globalOffsetTable =
      dynamic_.contains(ELF::DT_PLTGOT) ? dynamicValue(ELF::DT_PLTGOT) : kNoAddress;
  const std::uint64_t most = draft_.fileSize / sizeof(Sym);
  dynamicSymbols_ =
      recordsAt<Sym>(dynamicValue(ELF::DT_SYMTAB), std::min(dynamicSymbolCount(), most) * sizeof(Sym));
  dynamicNames_ = textAt(dynamicValue(ELF::DT_STRTAB), dynamicValue(ELF::DT_STRSZ));
}

/// Without sections, only the tables by which the loader looks symbols up tell how many there are.
template <typename Elf>
std::uint64_t ElfReader<Elf>::dynamicSymbolCount() const {
  constexpr std::uint64_t kWord = 4;
  for (const Shdr& section : sections_) {
    if (section.sh_type == ELF::SHT_DYNSYM) return section.sh_size / sizeof(Sym);
  }
  // Its second word is the number of its chains, which is that of the symbols.
  if (dynamic_.contains(ELF::DT_HASH))
    return bytes_.number(dynamicValue(ELF::DT_HASH) + kWord, kWord).value_or(0);
  const std::uint64_t table = dynamicValue(ELF::DT_GNU_HASH);
  const auto bucketCount = bytes_.number(table, kWord);
  const auto firstHashed = bytes_.number(table + kWord, kWord);
  const auto filterWords = bytes_.number(table + 2 * kWord, kWord);
  if (table == 0 || !bucketCount || !firstHashed || !filterWords) return 0;
  const std::uint64_t buckets = table + 4 * kWord + *filterWords * kPointerSize;
  std::uint64_t last = 0;
  const auto firstOfBuckets = recordsAt<typename Elf::Word>(buckets, *bucketCount * kWord);
  for (const auto& bucket : firstOfBuckets) {
    last = std::max<std::uint64_t>(last, bucket);
  }
  if (last < *firstHashed) {
    // Imports alone, which are not looked up. Their names lie behind them, as linkers have it.
    const std::uint64_t symbols = dynamicValue(ELF::DT_SYMTAB);
    const std::uint64_t names = dynamicValue(ELF::DT_STRTAB);
    return names > symbols ? (names - symbols) / sizeof(Sym) : *firstHashed;
  }
  // The last bucket's symbols go on to the one whose hash has its lowest bit set.
  const std::uint64_t chains = buckets + *bucketCount * kWord;
  for (;; ++last) {
    const auto hash = bytes_.number(chains + (last - *firstHashed) * kWord, kWord);
    if (!hash || (*hash & 1U) != 0) return last + 1;
  }
}

template <typename Elf>
void ElfReader<Elf>::addSymbolTables() {
  addSymbols(dynamicSymbols_, dynamicNames_);
  for (const Shdr& section : sections_) {
    if (section.sh_type != ELF::SHT_SYMTAB) continue;
    addSymbols(orEmpty(elf_.symbols(&section)), orEmpty(elf_.getStringTableForSymtab(section, sections_)));
  }
}

template <typename Elf>
void ElfReader<Elf>::addSymbols(llvm::ArrayRef<Sym> symbols, llvm::StringRef names) {
  const bool arm =
      draft_.image.architecture == Architecture::kArm || draft_.image.architecture == Architecture::kArm64;
  for (const Sym& symbol : symbols) {
    const std::string_view name = names.substr(symbol.st_name);
    if (symbol.st_shndx == ELF::SHN_UNDEF || name.empty() || name.front() == '\0' || draft_.isFull())
      continue;
    if (const auto kind = arm ? markKind(name) : std::nullopt) {
      draft_.image.codeMarks.push_back({symbol.st_value, *kind});
      continue;
    }
    const unsigned char type = symbol.getType();
    const bool function = type == ELF::STT_FUNC || type == ELF::STT_GNU_IFUNC;
    if (!function && type != ELF::STT_OBJECT && type != ELF::STT_NOTYPE) continue;
    draft_.addSymbol(name, symbol.st_value, symbol.st_size, function);
  }
}

template <typename Elf>
void ElfReader<Elf>::addFunctionsOfUnwindTable() {
  for (const Shdr& section : sections_) {
    if (orEmpty(elf_.getSectionName(section)) != ".eh_frame") continue;
    const llvm::ArrayRef<std::uint8_t> table = recordsAt<std::uint8_t>(section.sh_addr, section.sh_size);
    return addFunctionsOfEhFrame(draft_, {table.data(), table.size()}, section.sh_addr);
  }
  // Without sections, a segment leads to the table.
  const auto headers = orEmpty(elf_.program_headers());
  for (const auto& segment : headers) {
    if (segment.p_type != ELF::PT_GNU_EH_FRAME) continue;
    return addFunctionsBehindEhFrameHeader(draft_, bytes_, segment.p_vaddr);
  }
}

template <typename Elf>
void ElfReader<Elf>::addRelocations() {
  using Rel = typename Elf::Rel;
  using Rela = typename Elf::Rela;
  addTable(recordsAt<Rela>(dynamicValue(ELF::DT_RELA), dynamicValue(ELF::DT_RELASZ)));
  addTable(recordsAt<Rel>(dynamicValue(ELF::DT_REL), dynamicValue(ELF::DT_RELSZ)));
  const std::uint64_t jumps = dynamicValue(ELF::DT_JMPREL);
  const std::uint64_t size = dynamicValue(ELF::DT_PLTRELSZ);
  if (dynamicValue(ELF::DT_PLTREL) == ELF::DT_RELA) {
    addTable(recordsAt<Rela>(jumps, size));
  } else {
    addTable(recordsAt<Rel>(jumps, size));
  }
  const auto packed = recordsAt<typename Elf::Relr>(dynamicValue(ELF::DT_RELR), dynamicValue(ELF::DT_RELRSZ));
  addTable<Rel>(elf_.decode_relrs(packed));
  if (!dynamic_.empty()) return;
  // A program that needs no libraries keeps the few relocations that it has in sections alone.
  for (const Shdr& section : sections_) {
    if ((section.sh_flags & ELF::SHF_ALLOC) == 0) continue;
    if (section.sh_type == ELF::SHT_RELA) addTable(orEmpty(elf_.relas(section)));
    if (section.sh_type == ELF::SHT_REL) addTable(orEmpty(elf_.rels(section)));
  }
}

template <typename Elf>
template <typename Relocation>
void ElfReader<Elf>::addTable(llvm::ArrayRef<Relocation> table) {
  for (const Relocation& relocation : table) {
    const std::uint32_t index = relocation.getSymbol(false);
    const Sym* symbol = index != 0 && index < dynamicSymbols_.size() ? &dynamicSymbols_[index] : nullptr;
    std::optional<std::uint64_t> addend;
    if constexpr (requires { relocation.r_addend; })
      addend = static_cast<std::uint64_t>(std::int64_t{relocation.r_addend});
    addRelocation(relocation.r_offset, relocation.getType(false), symbol, addend);
  }
}

template <typename Elf>
void ElfReader<Elf>::addRelocation(std::uint64_t cell, std::uint32_t type, const Sym* symbol,
                                   std::optional<std::uint64_t> addend) {
  // What is not in the relocation stands in the cell.
  const auto added = [&] { return addend ? addend : bytes_.number(cell, kPointerSize); };
  switch (roleOfElfRelocation(draft_.image.architecture, type)) {
    case RelocationRole::kPointer:
      if (const auto pointer = added()) draft_.addPointer(cell, *pointer);
      break;
    case RelocationRole::kPointerToSymbol:
      if (symbol == nullptr || symbol->st_shndx == ELF::SHN_UNDEF) break;
      if (const auto distance = added()) draft_.addPointer(cell, symbol->st_value + *distance);
      break;
    case RelocationRole::kImportSlot:
      if (symbol != nullptr) draft_.addImportSlot(cell, dynamicNames_.substr(symbol->st_name));
      break;
    case RelocationRole::kOther: break;
  }
}

template <typename Elf>
void ElfReader<Elf>::addCallsOfLoader() {
  for (const std::uint64_t tag : {ELF::DT_INIT, ELF::DT_FINI}) {
    if (dynamic_.contains(tag)) draft_.image.codeAddresses.push_back(dynamicValue(tag));
  }
  constexpr std::pair<std::uint64_t, std::uint64_t> kArrays[] = {
      {ELF::DT_INIT_ARRAY, ELF::DT_INIT_ARRAYSZ},
      {ELF::DT_FINI_ARRAY, ELF::DT_FINI_ARRAYSZ},
      {ELF::DT_PREINIT_ARRAY, ELF::DT_PREINIT_ARRAYSZ}};
  for (const auto& [start, size] : kArrays) {
    for (const auto& pointer : recordsAt<typename Elf::Addr>(dynamicValue(start), dynamicValue(size))) {
      draft_.image.codeAddresses.push_back(pointer);
    }
  }
}

template <typename Elf>
bool readElfOf(ImageDraft& draft, std::span<const std::uint8_t> file, std::string& error) {
  auto elf = llvm::object::ELFFile<Elf>::create({reinterpret_cast<const char*>(file.data()), file.size()});
  if (!elf) {
    llvm::consumeError(elf.takeError());
    error = kUnreadable;
    return false;
  }
  const auto architecture = architectureOfElfMachine(elf->getHeader().e_machine);
  if (!architecture) {
    error = kForeignProcessor;
    return false;
  }
  draft.image.architecture = *architecture;
  ElfReader<Elf>(draft, *elf, file).read();
  return true;
}

}  // namespace

bool readElf(ImageDraft& draft, std::span<const std::uint8_t> file, std::string& error) {
  if (file.size() > ELF::EI_DATA && file[ELF::EI_DATA] == ELF::ELFDATA2LSB) {
    if (file[ELF::EI_CLASS] == ELF::ELFCLASS64) return readElfOf<llvm::object::ELF64LE>(draft, file, error);
    if (file[ELF::EI_CLASS] == ELF::ELFCLASS32) return readElfOf<llvm::object::ELF32LE>(draft, file, error);
  }
  error =
      file.size() > ELF::EI_DATA && file[ELF::EI_DATA] == ELF::ELFDATA2MSB ? kForeignProcessor : kUnreadable;
  return false;
}
