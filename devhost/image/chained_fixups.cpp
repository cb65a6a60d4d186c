#include "devhost/image/chained_fixups.h"

#include <llvm/Support/DataExtractor.h>

#include <algorithm>
#include <iterator>
#include <optional>

// The numbers and layouts are those of <mach-o/fixup-chains.h>, which LLVM has from version 15 on only.

namespace {

/// Some neighbouring bits of a cell.
struct Bits {
  unsigned lowest;
  unsigned count;

  std::uint64_t of(std::uint64_t cell) const { return (cell >> lowest) & ((std::uint64_t{1} << count) - 1); }
};

/// How a cell of 64 bits says what it becomes.
struct CellFormat {
  std::uint16_t number;
  unsigned stepBytes;  ///< what the distance to the next cell is counted in
  Bits next;
  Bits isImport;
  Bits ordinal;  ///< of the import
  Bits isSigned;
  Bits target;
  bool targetIsDistance;  ///< from the header; otherwise an address
};
constexpr Bits kNever = {0, 0};
constexpr CellFormat kCellFormats[] = {
    // for all processors of 64 bits
    {2, 4, {51, 12}, {63, 1}, {0, 24}, kNever, {0, 36}, false},
    {6, 4, {51, 12}, {63, 1}, {0, 24}, kNever, {0, 36}, true},
    // for those that sign pointers
    {1, 8, {51, 11}, {62, 1}, {0, 16}, {63, 1}, {0, 43}, false},
    {9, 8, {51, 11}, {62, 1}, {0, 16}, {63, 1}, {0, 43}, true},
    {12, 8, {51, 11}, {62, 1}, {0, 24}, {63, 1}, {0, 43}, true},
};
/// Of a signed pointer, always counted from the header: the bits above hold how it is signed.
constexpr Bits kSignedTarget = {0, 32};

/// How an import says where its name is.
struct ImportFormat {
  std::uint32_t number;
  unsigned sizeBytes;
  Bits nameOffset;  ///< of its first eight bytes
};
constexpr ImportFormat kImportFormats[] = {{1, 4, {9, 23}}, {2, 8, {9, 23}}, {3, 16, {32, 32}}};

constexpr std::uint32_t kPlainNames = 0;  ///< not compressed

template <typename Format, std::size_t Count, typename Number>
const Format* formatOf(const Format (&formats)[Count], Number number) {
  const Format* found = std::ranges::find(formats, number, &Format::number);
  return found == std::end(formats) ? nullptr : found;
}

class ChainReader {
 public:
  ChainReader(ImageDraft& draft, const MappedBytes& bytes, std::span<const std::uint8_t> table,
              std::uint64_t base)
      : draft_(draft),
        bytes_(bytes),
        table_(llvm::StringRef(reinterpret_cast<const char*>(table.data()), table.size()), true, 8),
        base_(base),
        stepsLeft_(draft.fileSize) {}

  void read();

 private:
  void readSegment(std::uint64_t at);
  void followChain(const CellFormat& format, std::uint64_t pageStart, std::uint64_t offset,
                   std::uint64_t pageSize);
  void addCell(const CellFormat& format, std::uint64_t cell, std::uint64_t value);
  /// The name of an import; empty if there is none.
  std::string_view importName(std::uint64_t ordinal) const;

  bool takeStep() { return stepsLeft_ > 0 && stepsLeft_-- > 0; }

  /// The number at `at`; 0 outside the table.
  std::uint64_t number(std::uint64_t at, std::uint32_t size) const {
    return table_.isValidOffsetForDataOfSize(at, size) ? table_.getUnsigned(&at, size) : 0;
  }

  ImageDraft& draft_;
  const MappedBytes& bytes_;
  const llvm::DataExtractor table_;
  const std::uint64_t base_;
  /// How many more pages and cells are looked at: in a damaged table they overlap, but no honest file has
  /// more of them than bytes.
  std::uint64_t stepsLeft_;
  const ImportFormat* importFormat_ = nullptr;
  std::uint64_t imports_ = 0;
  std::uint64_t importCount_ = 0;
  std::uint64_t names_ = 0;
};

void ChainReader::read() {
  const std::uint64_t starts = number(4, 4);
  imports_ = number(8, 4);
  names_ = number(12, 4);
  importCount_ = number(16, 4);
  if (number(24, 4) == kPlainNames) importFormat_ = formatOf(kImportFormats, number(20, 4));
  const std::uint64_t segmentCount = number(starts, 4);
  for (std::uint64_t i = 0; i < segmentCount && table_.isValidOffset(starts + 4 * i); ++i) {
    const std::uint64_t distance = number(starts + 4 + 4 * i, 4);
    if (distance != 0) readSegment(starts + distance);
  }
}

void ChainReader::readSegment(std::uint64_t at) {
  const std::uint64_t pageSize = number(at + 4, 2);
  const CellFormat* const format = formatOf(kCellFormats, number(at + 6, 2));
  const std::uint64_t segment = base_ + number(at + 8, 8);
  const std::uint64_t pageCount = number(at + 20, 2);
  if (format == nullptr) return;
  for (std::uint64_t page = 0; page < pageCount && takeStep(); ++page) {
    const std::uint64_t firstCell = at + 22 + 2 * page;
    if (!table_.isValidOffsetForDataOfSize(firstCell, 2)) return;
    // Where a page has no cells, that is 0xffff, beyond every page.
    followChain(*format, segment + page * pageSize, number(firstCell, 2), pageSize);
  }
}

void ChainReader::followChain(const CellFormat& format, std::uint64_t pageStart, std::uint64_t offset,
                              std::uint64_t pageSize) {
  while (offset < pageSize && takeStep()) {
    const std::uint64_t cell = pageStart + offset;
    const std::optional<std::uint64_t> value = bytes_.number(cell, sizeof(std::uint64_t));
    if (!value) return;
    addCell(format, cell, *value);
    const std::uint64_t steps = format.next.of(*value);
    if (steps == 0) return;
    offset += steps * format.stepBytes;
  }
}

void ChainReader::addCell(const CellFormat& format, std::uint64_t cell, std::uint64_t value) {
  if (format.isImport.of(value) != 0) {
    if (!draft_.isFull()) draft_.addImportSlot(cell, importName(format.ordinal.of(value)));
  } else if (format.isSigned.of(value) != 0) {
    draft_.addPointer(cell, base_ + kSignedTarget.of(value));
  } else {
    draft_.addPointer(cell, format.target.of(value) + (format.targetIsDistance ? base_ : 0));
  }
}

std::string_view ChainReader::importName(std::uint64_t ordinal) const {
  if (importFormat_ == nullptr || ordinal >= importCount_) return {};
  const std::uint64_t at = imports_ + ordinal * importFormat_->sizeBytes;
  if (!table_.isValidOffsetForDataOfSize(at, importFormat_->sizeBytes)) return {};
  const std::uint64_t start =
      names_ + importFormat_->nameOffset.of(number(at, std::min(importFormat_->sizeBytes, 8U)));
  return table_.getData().substr(start);
}

}  // namespace

void addChainedFixups(ImageDraft& draft, const MappedBytes& bytes, std::span<const std::uint8_t> table,
                      std::uint64_t base) {
  ChainReader(draft, bytes, table, base).read();
}
