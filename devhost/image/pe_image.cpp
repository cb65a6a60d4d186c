#include "devhost/image/pe_image.h"

#include <llvm/Object/COFF.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

namespace {

namespace COFF = llvm::COFF;
using llvm::object::COFFObjectFile;

std::optional<Architecture> architectureOfCoffMachine(std::uint16_t machine) {
  switch (machine) {
    case COFF::IMAGE_FILE_MACHINE_I386: return Architecture::kX86;
    case COFF::IMAGE_FILE_MACHINE_AMD64: return Architecture::kX8664;
    case COFF::IMAGE_FILE_MACHINE_ARMNT: return Architecture::kArm;
    case COFF::IMAGE_FILE_MACHINE_ARM64: return Architecture::kArm64;
    default: return std::nullopt;
  }
}

/// Follows the tables of one file. LLVM knows their records, but walks on where a damaged one does not end;
/// here each is read by its address, so that nothing beyond the file is.
class PeReader {
 public:
  PeReader(ImageDraft& draft, const COFFObjectFile& pe, std::span<const std::uint8_t> file)
      : draft_(draft), pe_(pe), base_(pe.getImageBase()), wide_(pe.is64()), bytes_(draft.image, file) {}

  void read() {
    addSections();
    addEntryPoint();
    addImports();
    addExports();
    addFunctionTable();
    addRelocations();
    addThreadCallbacks();
  }

 private:
  struct Table {
    std::uint64_t address = 0;
    std::uint64_t size = 0;
  };

  void addSections();
  void addEntryPoint();
  void addImports();
  void addImportsOf(const std::string& library, std::uint64_t names, std::uint64_t cells);
  void addExports();
  void addFunctionTable();
  void addRelocations();
  void addThreadCallbacks();

  std::uint64_t width() const { return wide_ ? 8 : 4; }
  std::uint64_t atOffset(std::uint64_t offset) const { return addSaturated(base_, offset); }

  /// Where a table of the file's directory is, if it has one.
  std::optional<Table> tableAt(std::uint32_t index) const {
    const llvm::object::data_directory* directory = pe_.getDataDirectory(index);
    if (directory == nullptr || directory->RelativeVirtualAddress == 0) return std::nullopt;
    return Table{atOffset(directory->RelativeVirtualAddress), directory->Size};
  }

  /// The record at `address`; nothing where the file does not hold all of it.
  template <typename T>
  std::optional<T> recordAt(std::uint64_t address) const {
    const std::span<const std::uint8_t> held = bytes_.from(address);
    if (held.size() < sizeof(T)) return std::nullopt;
    T record;
    std::memcpy(&record, held.data(), sizeof record);
    return record;
  }

  /// The text that begins at `address`, with all that follows it in the file.
  std::string_view textAt(std::uint64_t address) const {
    const std::span<const std::uint8_t> held = bytes_.from(address);
    return {reinterpret_cast<const char*>(held.data()), held.size()};
  }

  ImageDraft& draft_;
  const COFFObjectFile& pe_;
  const std::uint64_t base_;
  const bool wide_;
  const MappedBytes bytes_;
};

void PeReader::addSections() {
  for (const llvm::object::SectionRef& reference : pe_.sections()) {
    const llvm::object::coff_section& section = *pe_.getCOFFSection(reference);
    const std::uint64_t start = atOffset(section.VirtualAddress);
    const std::uint64_t end =
        addSaturated(start, std::max<std::uint64_t>(section.VirtualSize, section.SizeOfRawData));
    llvm::Expected<llvm::StringRef> written = reference.getName();
    const std::string name = draft_.name(written ? *written : llvm::StringRef());
    if (!written) llvm::consumeError(written.takeError());
    draft_.addSegment({.name = name,
                       .start = start,
                       .end = end,
                       .fileOffset = section.PointerToRawData,
                       .fileSize = section.SizeOfRawData,
                       .readable = (section.Characteristics & COFF::IMAGE_SCN_MEM_READ) != 0,
                       .writable = (section.Characteristics & COFF::IMAGE_SCN_MEM_WRITE) != 0,
                       .executable = (section.Characteristics & COFF::IMAGE_SCN_MEM_EXECUTE) != 0,
                       .sections = {{name, start, end}}});
  }
  draft_.settleSegments();
}

void PeReader::addEntryPoint() {
  const std::uint32_t offset =
      wide_ ? pe_.getPE32PlusHeader()->AddressOfEntryPoint : pe_.getPE32Header()->AddressOfEntryPoint;
  if (offset != 0) draft_.image.entryPoint = atOffset(offset);
}

void PeReader::addImports() {
  using Entry = llvm::object::coff_import_directory_table_entry;
  const auto table = tableAt(COFF::IMPORT_TABLE);
  if (!table) return;
  for (std::uint64_t at = table->address;; at += sizeof(Entry)) {
    const auto entry = recordAt<Entry>(at);
    if (!entry || entry->isNull()) return;
    const std::uint32_t names =
        entry->ImportLookupTableRVA != 0 ? entry->ImportLookupTableRVA : entry->ImportAddressTableRVA;
    if (draft_.isFull()) return;
    addImportsOf(draft_.name(textAt(atOffset(entry->NameRVA))), atOffset(names),
                 atOffset(entry->ImportAddressTableRVA));
  }
}

void PeReader::addImportsOf(const std::string& library, std::uint64_t names, std::uint64_t cells) {
  const std::uint64_t ordinalBit = std::uint64_t{1} << (wide_ ? 63U : 31U);
  // In front of a name stands a two-byte hint at where its library keeps it.
  constexpr std::uint64_t kHintBytes = 2;
  for (std::uint64_t i = 0;; i += width()) {
    const auto entry = bytes_.number(names + i, width());
    if (!entry || *entry == 0 || draft_.isFull()) return;
    if ((*entry & ordinalBit) != 0) {
      draft_.addImportSlot(cells + i, library + "#" + std::to_string(*entry & 0xffffU));
    } else {
      draft_.addImportSlot(cells + i, textAt(atOffset(*entry) + kHintBytes));
    }
  }
}

void PeReader::addExports() {
  using llvm::object::export_directory_table_entry;
  const auto table = tableAt(COFF::EXPORT_TABLE);
  const auto directory = table ? recordAt<export_directory_table_entry>(table->address) : std::nullopt;
  if (!directory) return;
  for (std::uint64_t i = 0; i < directory->NumberOfNamePointers; ++i) {
    const auto name = bytes_.number(atOffset(directory->NamePointerRVA) + 4 * i, 4);
    const auto index = bytes_.number(atOffset(directory->OrdinalTableRVA) + 2 * i, 2);
    if (!name || !index || *index >= directory->AddressTableEntries || draft_.isFull()) return;
    const auto offset = bytes_.number(atOffset(directory->ExportAddressTableRVA) + 4 * *index, 4);
    if (!offset || *offset == 0) continue;
    const std::uint64_t address = atOffset(*offset);
    // An address in the table itself is the name of another library's export.
    if (address >= table->address && address < table->address + table->size) continue;
    const Segment* segment = draft_.image.segmentAt(address);
    draft_.addSymbol(textAt(atOffset(*name)), address, 0, segment != nullptr && segment->executable);
  }
}

/// Of each function with a frame, the file says where it begins and how long it is.
void PeReader::addFunctionTable() {
  const auto table = tableAt(COFF::EXCEPTION_TABLE);
  if (!table) return;
  if (draft_.image.architecture == Architecture::kX8664) {
    constexpr std::uint64_t kEntryBytes = 12;
    // The flag of an entry that continues another function.
    constexpr std::uint64_t kChained = 4U << 3U;
    for (std::uint64_t at = 0; at + kEntryBytes <= table->size; at += kEntryBytes) {
      const auto start = bytes_.number(table->address + at, 4);
      const auto end = bytes_.number(table->address + at + 4, 4);
      const auto unwinding = bytes_.number(table->address + at + 8, 4);
      if (!start || !end || !unwinding) return;
      const auto flags = bytes_.number(atOffset(*unwinding), 1);
      if (*start >= *end || (flags && (*flags & kChained) != 0)) continue;
      draft_.addSymbol("", atOffset(*start), *end - *start, true);
    }
  } else if (draft_.image.architecture == Architecture::kArm64) {
    constexpr std::uint64_t kEntryBytes = 8;
    for (std::uint64_t at = 0; at + kEntryBytes <= table->size; at += kEntryBytes) {
      const auto start = bytes_.number(table->address + at, 4);
      const auto packed = bytes_.number(table->address + at + 4, 4);
      if (!start || !packed) return;
      // Two bits of zero: the rest is where the description lies, whose lowest 18 bits are the length.
      // Lengths count instructions of four bytes.
      const auto described = bytes_.number(atOffset(*packed), 4);
      const std::uint64_t length =
          (*packed & 3U) != 0 ? (*packed >> 2U) & 0x7ffU : described.value_or(0) & 0x3ffffU;
      draft_.addSymbol("", atOffset(*start), length * 4, true);
    }
  }
}

void PeReader::addRelocations() {
  using llvm::object::coff_base_reloc_block_header;
  const auto table = tableAt(COFF::BASE_RELOCATION_TABLE);
  if (!table) return;
  const std::uint32_t wanted = wide_ ? COFF::IMAGE_REL_BASED_DIR64 : COFF::IMAGE_REL_BASED_HIGHLOW;
  for (std::uint64_t at = 0; at < table->size;) {
    const auto block = recordAt<coff_base_reloc_block_header>(table->address + at);
    if (!block || block->BlockSize <= sizeof(coff_base_reloc_block_header)) return;
    for (std::uint64_t i = sizeof(coff_base_reloc_block_header); i + 2 <= block->BlockSize; i += 2) {
      const auto entry = bytes_.number(table->address + at + i, 2);
      if (!entry) return;
      const std::uint64_t cell = atOffset(block->PageRVA + (*entry & 0xfffU));
      const auto to = bytes_.number(cell, width());
      if (to && (*entry >> 12U) == wanted) draft_.addPointer(cell, *to);
    }
    at += block->BlockSize;
  }
}

void PeReader::addThreadCallbacks() {
  const auto* narrow = pe_.getTLSDirectory32();
  const auto* wide = pe_.getTLSDirectory64();
  std::uint64_t at = 0;
  if (narrow != nullptr) at = static_cast<std::uint32_t>(narrow->AddressOfCallBacks);
  if (wide != nullptr) at = static_cast<std::uint64_t>(wide->AddressOfCallBacks);
  for (; at != 0; at += width()) {
    const auto callback = bytes_.number(at, width());
    if (!callback || *callback == 0) return;
    draft_.image.codeAddresses.push_back(*callback);
  }
}

}  // namespace

bool readPe(ImageDraft& draft, std::span<const std::uint8_t> file, std::string& error) {
  const llvm::StringRef bytes(reinterpret_cast<const char*>(file.data()), file.size());
  auto pe = COFFObjectFile::create(llvm::MemoryBufferRef(bytes, ""));
  if (!pe) {
    llvm::consumeError(pe.takeError());
    error = kUnreadable;
    return false;
  }
  const auto architecture = architectureOfCoffMachine((*pe)->getMachine());
  if (!architecture) {
    error = kForeignProcessor;
    return false;
  }
  if ((*pe)->getPE32Header() == nullptr && (*pe)->getPE32PlusHeader() == nullptr) {
    error = kUnreadable;
    return false;
  }
  draft.image.architecture = *architecture;
  PeReader(draft, **pe, file).read();
  return true;
}
