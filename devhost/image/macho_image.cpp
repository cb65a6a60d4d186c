#include "devhost/image/macho_image.h"

#include "devhost/image/chained_fixups.h"

#include <llvm/Object/MachO.h>
#include <llvm/Object/MachOUniversal.h>
#include <llvm/Support/LEB128.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace {

namespace MachO = llvm::MachO;
using llvm::object::MachOObjectFile;

std::optional<Architecture> architectureOfMacho(const MachOObjectFile& macho) {
  if (!macho.isLittleEndian()) return std::nullopt;
  switch (macho.getHeader().cputype) {
    case MachO::CPU_TYPE_I386: return Architecture::kX86;
    case MachO::CPU_TYPE_X86_64: return Architecture::kX8664;
    case MachO::CPU_TYPE_ARM: return Architecture::kArm;
    case MachO::CPU_TYPE_ARM64: return Architecture::kArm64;
    default: return std::nullopt;
  }
}

/// Where a program without LC_MAIN keeps the address that its first thread begins at.
struct FirstThread {
  Architecture architecture;
  std::uint32_t flavor;   ///< of the registers' record
  std::uint32_t counter;  ///< the program counter's place among the registers
};
constexpr FirstThread kFirstThreads[] = {
    {Architecture::kX86, MachO::x86_THREAD_STATE32, 10},
    {Architecture::kX8664, MachO::x86_THREAD_STATE64, 16},
    {Architecture::kArm, MachO::ARM_THREAD_STATE, 15},
    {Architecture::kArm64, MachO::ARM_THREAD_STATE64, 32},
};

/// A name in a field of sixteen bytes, which need not end with a zero.
std::string_view fixedName(const char (&field)[16]) {
  return {field, sizeof field};
}

class MachOReader {
 public:
  /// `offset` is where in the file this processor's part begins.
  MachOReader(ImageDraft& draft, MachOObjectFile& macho, std::span<const std::uint8_t> file,
              std::uint64_t offset)
      : draft_(draft),
        macho_(macho),
        offset_(offset),
        part_(file.subspan(offset)),
        bytes_(draft.image, file) {}

  void read() {
    for (const Command& command : macho_.load_commands()) addSegmentOf(command);
    draft_.settleSegments();
    addRanges();
    // Its 64-bit code always reaches addresses from where it is.
    draft_.image.positionIndependent = draft_.image.architecture != Architecture::kX86;
    addSymbols();
    for (const Command& command : macho_.load_commands()) {
      if (command.C.cmd == MachO::LC_FUNCTION_STARTS) addFunctionStarts(command);
      if (command.C.cmd == MachO::LC_MAIN) {
        draft_.image.entryPoint = addSaturated(base_, macho_.getEntryPointCommand(command).entryoff);
      }
      if (command.C.cmd == MachO::LC_UNIXTHREAD) addFirstThread(command);
      if (command.C.cmd == MachO::LC_DYLD_CHAINED_FIXUPS) addChains(command);
    }
    addImports();
    addPointers();
  }

 private:
  using Command = MachOObjectFile::LoadCommandInfo;

  /// A section as it stands in a file of either word size.
  struct RawSection {
    std::uint64_t start = 0;
    std::uint64_t end = 0;
    std::uint32_t flags = 0;
  };

  void addSegmentOf(const Command& command);
  template <typename SegmentCommand, typename SectionHeader>
  void addSegment(const SegmentCommand& command, const std::vector<SectionHeader>& sections);
  void addRanges();
  void addSymbols();
  /// The table that the command names; empty if the file does not hold all of it.
  std::span<const std::uint8_t> tableOf(const Command& command) const;
  void addFunctionStarts(const Command& command);
  void addChains(const Command& command);
  void addFirstThread(const Command& command);
  void addImports();
  void addPointers();

  ImageDraft& draft_;
  MachOObjectFile& macho_;
  const std::uint64_t offset_;
  const std::span<const std::uint8_t> part_;
  const MappedBytes bytes_;
  std::uint64_t base_ = 0;
  bool hasChains_ = false;
  std::vector<RawSection> sections_;
};

void MachOReader::addSegmentOf(const Command& command) {
  if (command.C.cmd == MachO::LC_SEGMENT) {
    const MachO::segment_command segment = macho_.getSegmentLoadCommand(command);
    std::vector<MachO::section> sections;
    for (std::uint32_t i = 0; i < segment.nsects; ++i) sections.push_back(macho_.getSection(command, i));
    addSegment(segment, sections);
  } else if (command.C.cmd == MachO::LC_SEGMENT_64) {
    const MachO::segment_command_64 segment = macho_.getSegment64LoadCommand(command);
    std::vector<MachO::section_64> sections;
    for (std::uint32_t i = 0; i < segment.nsects; ++i) sections.push_back(macho_.getSection64(command, i));
    addSegment(segment, sections);
  }
}

template <typename SegmentCommand, typename SectionHeader>
void MachOReader::addSegment(const SegmentCommand& command, const std::vector<SectionHeader>& sections) {
  // The unmapped first pages, which exist to make null pointers fault.
  if (command.initprot == 0) return;
  const auto allows = [&](std::uint32_t protection) { return (command.initprot & protection) != 0; };
  Segment segment{.name = draft_.name(fixedName(command.segname)),
                  .start = command.vmaddr,
                  .end = addSaturated(command.vmaddr, command.vmsize),
                  .fileOffset = addSaturated(offset_, command.fileoff),
                  .fileSize = command.filesize,
                  .readable = allows(MachO::VM_PROT_READ),
                  .writable = allows(MachO::VM_PROT_WRITE),
                  .executable = allows(MachO::VM_PROT_EXECUTE)};
  if (segment.name == "__TEXT") base_ = segment.start;
  for (const SectionHeader& section : sections) {
    const std::uint64_t end = addSaturated(section.addr, section.size);
    if (section.addr < segment.start || section.addr >= segment.end) continue;
    segment.sections.push_back(
        {draft_.name(fixedName(section.sectname)), section.addr, std::min(end, segment.end)});
    sections_.push_back({section.addr, end, section.flags});
  }
  draft_.addSegment(std::move(segment));
}

void MachOReader::addRanges() {
  constexpr std::uint32_t kInstructions = MachO::S_ATTR_PURE_INSTRUCTIONS | MachO::S_ATTR_SOME_INSTRUCTIONS;
  for (const RawSection& section : sections_) {
    const bool code = (section.flags & kInstructions) != 0;
    draft_.addRange(code ? draft_.image.code : draft_.image.data, section.start, section.end);
    if (code && (section.flags & MachO::SECTION_TYPE) == MachO::S_SYMBOL_STUBS) {
      draft_.addRange(draft_.image.stubs, section.start, section.end);
    }
  }
  settleRanges(draft_.image.code);
}

void MachOReader::addSymbols() {
  for (const llvm::object::SymbolRef& symbol : macho_.symbols()) {
    const llvm::object::DataRefImpl raw = symbol.getRawDataRefImpl();
    const std::uint8_t type =
        macho_.is64Bit() ? macho_.getSymbol64TableEntry(raw).n_type : macho_.getSymbolTableEntry(raw).n_type;
    // Not a debugger's entry, and defined in a section.
    if ((type & MachO::N_STAB) != 0 || (type & MachO::N_TYPE) != MachO::N_SECT || draft_.isFull()) continue;
    const std::uint64_t address = macho_.getNValue(raw);
    llvm::Expected<llvm::StringRef> name = symbol.getName();
    if (name) {
      draft_.addSymbol(*name, address, 0, draft_.image.isCode(address));
    } else {
      llvm::consumeError(name.takeError());
    }
  }
}

std::span<const std::uint8_t> MachOReader::tableOf(const Command& command) const {
  const MachO::linkedit_data_command table = macho_.getLinkeditDataLoadCommand(command);
  if (table.dataoff > part_.size() || table.datasize > part_.size() - table.dataoff) return {};
  return part_.subspan(table.dataoff, table.datasize);
}

/// A list of distances, each from the function before; the first from the start of the image.
void MachOReader::addFunctionStarts(const Command& command) {
  const std::span<const std::uint8_t> list = tableOf(command);
  const std::uint8_t* at = list.data();
  const std::uint8_t* const end = at + list.size();
  std::uint64_t address = base_;
  while (at < end) {
    unsigned length = 0;
    const char* error = nullptr;
    const std::uint64_t distance = llvm::decodeULEB128(at, &length, end, &error);
    if (error != nullptr || distance == 0 || draft_.isFull()) return;
    at += length;
    address += distance;
    draft_.addSymbol("", address, 0, true);
  }
}

/// A file has one table of chains; LLVM 14 neither sees to that nor to the command's size.
void MachOReader::addChains(const Command& command) {
  if (command.C.cmdsize < sizeof(MachO::linkedit_data_command) || std::exchange(hasChains_, true)) return;
  addChainedFixups(draft_, bytes_, tableOf(command), base_);
}

void MachOReader::addFirstThread(const Command& command) {
  const FirstThread& thread =
      *std::ranges::find(kFirstThreads, draft_.image.architecture, &FirstThread::architecture);
  const std::size_t width = macho_.is64Bit() ? 8 : 4;
  // The command's own two words, then the registers' record: its kind, its size, and they.
  constexpr std::size_t kFlavorAt = 8;
  constexpr std::size_t kRegistersAt = 16;
  const std::size_t counterAt = kRegistersAt + thread.counter * width;
  if (command.C.cmdsize < counterAt + width) return;
  std::uint32_t flavor = 0;
  std::uint64_t counter = 0;
  std::memcpy(&flavor, command.Ptr + kFlavorAt, sizeof flavor);
  std::memcpy(&counter, command.Ptr + counterAt, width);
  if (flavor == thread.flavor) draft_.image.entryPoint = counter;
}

void MachOReader::addImports() {
  llvm::Error error = llvm::Error::success();
  const auto add = [&](auto bindings) {
    for (const llvm::object::MachOBindEntry& binding : bindings) {
      if (draft_.isFull()) break;
      draft_.addImportSlot(binding.address(), binding.symbolName());
    }
    llvm::consumeError(std::move(error));
    error = llvm::Error::success();
  };
  add(macho_.bindTable(error));
  add(macho_.lazyBindTable(error));
  add(macho_.weakBindTable(error));
  llvm::consumeError(std::move(error));
}

void MachOReader::addPointers() {
  llvm::Error error = llvm::Error::success();
  const std::size_t width = macho_.is64Bit() ? 8 : 4;
  for (const llvm::object::MachORebaseEntry& entry : macho_.rebaseTable(error)) {
    if (draft_.image.pointers.size() > draft_.fileSize) break;
    if (const auto to = bytes_.number(entry.address(), width)) draft_.addPointer(entry.address(), *to);
  }
  llvm::consumeError(std::move(error));
}

bool readPart(ImageDraft& draft, std::span<const std::uint8_t> file,
              llvm::Expected<std::unique_ptr<MachOObjectFile>> macho, std::uint64_t offset,
              std::string& error) {
  if (!macho) {
    llvm::consumeError(macho.takeError());
    error = kUnreadable;
    return false;
  }
  const auto architecture = architectureOfMacho(**macho);
  if (!architecture) {
    error = kForeignProcessor;
    return false;
  }
  draft.image.architecture = *architecture;
  MachOReader(draft, **macho, file, offset).read();
  return true;
}

}  // namespace

bool readMachO(ImageDraft& draft, std::span<const std::uint8_t> file, std::string& error) {
  const llvm::MemoryBufferRef bytes({reinterpret_cast<const char*>(file.data()), file.size()}, "");
  if (llvm::identify_magic(bytes.getBuffer()) != llvm::file_magic::macho_universal_binary) {
    return readPart(draft, file, llvm::object::ObjectFile::createMachOObjectFile(bytes), 0, error);
  }
  auto universal = llvm::object::MachOUniversalBinary::create(bytes);
  if (universal && (*universal)->getNumberOfObjects() > 0) {
    auto part = (*universal)->begin_objects();
    for (std::uint32_t i = 1; i < (*universal)->getNumberOfObjects(); ++i) ++part;
    return readPart(draft, file, part->getAsObjectFile(), part->getOffset(), error);
  }
  llvm::consumeError(universal.takeError());
  error = kUnreadable;
  return false;
}
