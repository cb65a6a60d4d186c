// Every way in which a cell can say what it becomes; no one linker writes them all.

#include "devhost/image/chained_fixups.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace {

constexpr std::uint64_t kBase = 0x100000000;
constexpr std::uint64_t kPageSize = 0x1000;
/// Far more than a page, so that nothing ends merely because the file does.
constexpr std::uint64_t kFileSize = 0x11000;

/// Little-endian numbers, one after another.
class Bytes {
 public:
  Bytes& add(std::uint64_t number, unsigned size) {
    for (; size > 0; --size, number >>= 8) bytes_.push_back(static_cast<std::uint8_t>(number & 0xff));
    return *this;
  }
  Bytes& add(const std::string& text) {
    bytes_.insert(bytes_.end(), text.begin(), text.end());
    return *this;
  }
  /// Zeros up to the place `offset`.
  Bytes& padTo(std::size_t offset) {
    bytes_.resize(offset);
    return *this;
  }
  const std::vector<std::uint8_t>& all() const { return bytes_; }

 private:
  std::vector<std::uint8_t> bytes_;
};

struct Table {
  std::uint64_t cellFormat = 6;
  std::uint64_t importFormat = 1;
  std::uint64_t nameFormat = 0;
  std::uint64_t importCount = 2;
  /// What the table says of its imports, whose names lie at 0 and 6.
  Bytes imports = Bytes().add(std::uint64_t{0} << 9, 4).add(std::uint64_t{6} << 9, 4);
  std::vector<std::uint64_t> firstCells = {0x10};  ///< of each page

  Bytes bytes() const {
    constexpr std::uint64_t kStarts = 28;
    constexpr std::uint64_t kSegment = 8;  // behind the starts
    constexpr std::uint64_t kImports = 64;
    constexpr std::uint64_t kNames = 96;
    Bytes table;
    for (const std::uint64_t number : {std::uint64_t{0}, kStarts, kImports, kNames, importCount, importFormat,
                                       nameFormat, std::uint64_t{1}, kSegment})
      table.add(number, 4);
    table.add(22 + 2 * firstCells.size(), 4).add(kPageSize, 2).add(cellFormat, 2).add(0, 8).add(0, 4);
    table.add(firstCells.size(), 2);
    for (const std::uint64_t cell : firstCells) table.add(cell, 2);
    table.padTo(kImports).add(std::string(imports.all().begin(), imports.all().end()));
    return table.padTo(kNames).add(std::string("first\0second\0", 13));
  }
};

/// A file at kBase with `cells` from 0x10 on.
class ChainedFixups : public testing::Test {
 protected:
  void read(const std::vector<std::uint8_t>& table, const std::vector<std::uint64_t>& cells) {
    Bytes file;
    file.padTo(0x10);
    for (const std::uint64_t cell : cells) file.add(cell, 8);
    file.padTo(kFileSize);
    draft_.addSegment({.name = "all",
                       .start = kBase,
                       .end = kBase + kFileSize,
                       .fileOffset = 0,
                       .fileSize = kFileSize,
                       .readable = true,
                       .writable = true,
                       .executable = false});
    addChainedFixups(draft_, MappedBytes(draft_.image, file.all()), table, kBase);
  }

  /// "CELL->ADDRESS" or "CELL=NAME" of each cell, as distances from kBase.
  std::string found() const {
    std::string text;
    const auto add = [&](std::uint64_t cell, const std::string& what) {
      text += (text.empty() ? "" : " ") + std::to_string(cell - kBase) + what;
    };
    for (const Pointer& pointer : draft_.image.pointers)
      add(pointer.cell, "->" + std::to_string(pointer.to - kBase));
    for (const ImportSlot& slot : draft_.image.importSlots) add(slot.address, "=" + slot.name);
    return text;
  }

  ImageDraft draft_{kFileSize};
};

// --- cells ---

struct CellsOfFormat {
  const char* label;
  std::uint64_t format;
  std::uint64_t pointer;  ///< to kBase + 0x20, with the next cell 16 bytes on
  std::uint64_t import;   ///< the second one, with the next cell 8 bytes on
  std::uint64_t last;     ///< a pointer to kBase + 0x30
};
std::ostream& operator<<(std::ostream& out, const CellsOfFormat& cells) {
  return out << cells.label;
}
constexpr std::uint64_t bit(unsigned number) {
  return std::uint64_t{1} << number;
}
constexpr std::uint64_t kTag = std::uint64_t{0x5a} << 43;    // the top byte of a pointer that has one
constexpr std::uint64_t kSigned = bit(63) | 0xbeef00000000;  // with a salt
const CellsOfFormat kFormats[] = {
    {"Address", 2, (kBase + 0x20) | 4 * bit(51), 1 | bit(63) | 2 * bit(51), kBase + 0x30},
    {"Distance", 6, 0x20 | (kTag >> 7) | 4 * bit(51), 1 | bit(63) | 2 * bit(51), 0x30},
    {"SignedOrAddress", 1, (kBase + 0x20) | kTag | 2 * bit(51), 1 | bit(62) | bit(51), 0x30 | kSigned},
    {"SignedOrDistance", 9, 0x20 | kTag | 2 * bit(51), 1 | bit(62) | bit(51), 0x30 | kSigned},
    {"SignedOrDistanceWithManyImports", 12, 0x20 | 2 * bit(51), 1 | kSigned | bit(62) | bit(51), 0x30},
};

class CellFormat : public ChainedFixups, public testing::WithParamInterface<CellsOfFormat> {};

TEST_P(CellFormat, TellsPointersImportsAndTheNextCell) {
  const CellsOfFormat& cells = GetParam();
  read(Table{.cellFormat = cells.format}.bytes().all(), {cells.pointer, 0, cells.import, cells.last});
  EXPECT_EQ(found(), "16->32 40->48 32=second");
}

INSTANTIATE_TEST_SUITE_P(Each, CellFormat, testing::ValuesIn(kFormats),
                         [](const auto& test) { return std::string(test.param.label); });

TEST_F(ChainedFixups, OfAnUnknownFormatAreLeftOut) {
  read(Table{.cellFormat = 3}.bytes().all(), {0x20});
  EXPECT_EQ(found(), "");
}

TEST_F(ChainedFixups, LeaveOutPagesWithoutCells) {
  read(Table{.firstCells = {0xffff}}.bytes().all(), {0x20});
  EXPECT_EQ(found(), "");
}

TEST_F(ChainedFixups, EndWithTheirPage) {
  read(Table{}.bytes().all(), {0x20 | (kPageSize - 0x10) / 4 * bit(51)});
  EXPECT_EQ(found(), "16->32");
}

TEST_F(ChainedFixups, BeginAnewOnEachPage) {
  std::vector<std::uint64_t> cells(kPageSize / 8 + 3);
  cells.front() = 0x30;
  cells.back() = 0x40;
  read(Table{.firstCells = {0x10, 0x20}}.bytes().all(), cells);
  EXPECT_EQ(found(), "16->48 4128->64");
}

// --- names of imports ---

TEST_F(ChainedFixups, FindNamesOfImportsWithAddends) {
  const Bytes imports = Bytes().add(0, 8).add(6 << 9, 4).add(77, 4);
  read(Table{.importFormat = 2, .imports = imports}.bytes().all(), {bit(63) | 1});
  EXPECT_EQ(found(), "16=second");
}

TEST_F(ChainedFixups, FindNamesOfImportsWithLongAddends) {
  const Bytes imports = Bytes().add(0, 16).add(std::uint64_t{6} << 32, 8).add(77, 8);
  read(Table{.importFormat = 3, .imports = imports}.bytes().all(), {bit(63) | 1});
  EXPECT_EQ(found(), "16=second");
}

TEST_F(ChainedFixups, LeaveOutImportsWithoutAName) {
  read(Table{}.bytes().all(), {bit(63) | 2});
  read(Table{.importCount = 100}.bytes().all(), {bit(63) | 50});
  read(Table{.importFormat = 4}.bytes().all(), {bit(63)});
  read(Table{.nameFormat = 1}.bytes().all(), {bit(63)});
  EXPECT_EQ(found(), "");
}

// --- damage ---

TEST_F(ChainedFixups, ThatAreCutShortAnywhereAddNothingWrong) {
  const std::vector<std::uint8_t> whole = Table{}.bytes().all();
  for (std::size_t size = 0; size < whole.size(); ++size)
    read({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)}, {0x20});
  for (const Pointer& pointer : draft_.image.pointers) EXPECT_EQ(pointer.cell, kBase + 0x10);
}

/// A table of very many segments that are one and the same, of which each page begins with `firstCell`.
std::vector<std::uint8_t> overlappingSegments(std::uint64_t pages, std::uint64_t firstCell) {
  constexpr std::uint64_t kSegments = 1'000'000;
  Bytes table = Bytes().add(0, 4).add(28, 4).padTo(28).add(kSegments, 4);
  for (std::uint64_t i = 0; i < kSegments; ++i) table.add(4 + 4 * kSegments, 4);
  table.add(22 + 2 * pages, 4).add(kPageSize, 2).add(6, 2).add(0, 8).add(0, 4).add(pages, 2);
  for (std::uint64_t i = 0; i < pages; ++i) table.add(firstCell, 2);
  return table.all();
}

TEST_F(ChainedFixups, WhoseSegmentsLieOverOneAnotherEnd) {
  const std::vector<std::uint64_t> chain(kPageSize / 8 - 2, 0x20 | 2 * bit(51));
  read(overlappingSegments(kFileSize / kPageSize, 0x10), chain);
  EXPECT_LE(draft_.image.pointers.size(), kFileSize);
  read(overlappingSegments(0xffff, 0xffff), chain);  // without the limit, it does not come back
}

}  // namespace
