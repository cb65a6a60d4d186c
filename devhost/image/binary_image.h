#pragma once

// What an executable file says about itself, as plain data: no object of the parser is kept.

#include "devhost/image/address.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

enum class Architecture : std::uint8_t { kX86, kX8664, kArm, kArm64 };

/// A named part of a segment. `end` is the first address after it, as in every range of this file.
struct Section {
  std::string name;
  std::uint64_t start = 0;
  std::uint64_t end = 0;
};

/// A part of the address space that the file asks to have loaded.
struct Segment {
  std::string name = {};
  std::uint64_t start = 0;
  std::uint64_t end = 0;
  std::uint64_t fileOffset = 0;
  std::uint64_t fileSize =
      0;  ///< bytes that come from the file; never beyond its end, never above end - start
  bool readable = false;
  bool writable = false;
  bool executable = false;
  std::vector<Section> sections = {};
};

/// Addresses whose bytes come from the file.
struct FileRange {
  std::uint64_t start = 0;
  std::uint64_t end = 0;
  std::uint64_t fileOffset = 0;
};

struct Symbol {
  std::string name;  ///< may be empty for a function known by its address alone
  std::uint64_t address = 0;
  std::uint64_t size = 0;  ///< 0 when the file does not say
  bool function = false;
  bool thumb = false;  ///< 32-bit Arm: its code is Thumb
};

/// A cell into which the loader writes the address of an imported function.
struct ImportSlot {
  std::uint64_t address = 0;
  std::string name;
};

/// A cell of data into which the loader writes an address of this file.
struct Pointer {
  std::uint64_t cell = 0;
  std::uint64_t to = 0;  ///< on 32-bit Arm its lowest bit says that the code there is Thumb
};

/// An address at which 32-bit Arm code changes its kind; from the file's mapping symbols.
struct CodeMark {
  enum class Kind : std::uint8_t { kArm, kThumb, kData };
  std::uint64_t address = 0;
  Kind kind = Kind::kArm;
};

/// An executable file, described. Lists are sorted by address.
struct BinaryImage {
  Architecture architecture = Architecture::kX8664;
  bool positionIndependent = false;  ///< constants in its code are no addresses
  std::uint64_t entryPoint = kNoAddress;
  bool entryIsThumb = false;
  std::uint64_t globalOffsetTable = kNoAddress;  ///< what 32-bit x86 stubs reach their cells from
  std::vector<Segment> segments;                 ///< do not overlap
  std::vector<FileRange> code;                   ///< executable; do not overlap
  std::vector<FileRange> data;   ///< readable and not executable: where strings are looked for
  std::vector<FileRange> stubs;  ///< parts of `code` that hold nothing but import stubs
  std::vector<Symbol> symbols;
  std::vector<ImportSlot> importSlots;
  std::vector<Pointer> pointers;             ///< sorted by cell; those that the loader sets
  std::vector<std::uint64_t> codeAddresses;  ///< where the loader calls in besides the entry point
  std::vector<CodeMark> codeMarks;

  const Segment* segmentAt(std::uint64_t address) const;
  const ImportSlot* importSlotAt(std::uint64_t address) const;
  bool isCode(std::uint64_t address) const;
};

/// The image's bytes by address. Points into the image and the file's bytes, which must outlive it.
class MappedBytes {
 public:
  MappedBytes(const BinaryImage& image, std::span<const std::uint8_t> file) : image_(&image), file_(file) {}

  /// The bytes from `address` to the end of what the file holds of its segment; empty outside.
  std::span<const std::uint8_t> from(std::uint64_t address) const;

  /// The `size`-byte (4 or 8) little-endian number at `address`.
  std::optional<std::uint64_t> number(std::uint64_t address, std::size_t size) const;

 private:
  const BinaryImage* image_;
  std::span<const std::uint8_t> file_;
};
