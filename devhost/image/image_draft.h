#pragma once

// What the three file formats have in common: an image while it is gathered, before it is put in order.

#include "devhost/image/binary_image.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// `start` + `size`, or the last address if that is beyond it.
std::uint64_t addSaturated(std::uint64_t start, std::uint64_t size);

/// Why a file for an unknown processor is refused.
inline constexpr char kForeignProcessor[] =
    "is for a processor other than x86-64, x86, AArch64 and 32-bit Arm";

/// Why a file is refused that is damaged beyond reading.
inline constexpr char kUnreadable[] = "is no ELF, PE or Mach-O file that can be read";

/// Collects what a file says. Segments come first: everything else is kept only where one of them is.
struct ImageDraft {
  explicit ImageDraft(std::uint64_t fileBytes)
      : fileSize(fileBytes), nameBytesLeft_(fileBytes * kNameBytesPerByte) {}

  BinaryImage image;
  const std::uint64_t fileSize;

  /// The name that `bytes` begin with, made fit for one line of a listing: cut at a zero byte and at 4096
  /// bytes, control characters as `?`. Empty when the file's names come to far more bytes than an honest
  /// file's.
  std::string name(std::string_view bytes);

  /// Cuts the segment to what the file holds; drops an empty one.
  void addSegment(Segment segment);
  /// Orders the segments and takes away those that overlap an earlier one, so that an address means one
  /// thing.
  void settleSegments();
  /// Adds the part of [start, end) that the file holds to `ranges`.
  void addRange(std::vector<FileRange>& ranges, std::uint64_t start, std::uint64_t end) const;
  /// `address` as in the file: the lowest bit of a 32-bit Arm function's says that its code is Thumb.
  void addSymbol(std::string_view name, std::uint64_t address, std::uint64_t size, bool function);
  void addImportSlot(std::uint64_t cell, std::string_view name);
  /// A cell that the loader sets to `to`; left out where it makes no sense.
  void addPointer(std::uint64_t cell, std::uint64_t to);
  /// Whether more has been added than an honest file of this size can tell.
  bool isFull() const { return image.symbols.size() + image.importSlots.size() > fileSize; }
  /// Puts everything in order when all is added.
  void settle();
  /// Whether the segments map the file's bytes more often than an honest file does.
  bool mapsTooMuch() const;

 private:
  /// How many bytes of names a file may have for each of its own. They can overlap, but hardly do.
  static constexpr std::uint64_t kNameBytesPerByte = 8;

  void addRangesOfSegments();

  std::uint64_t nameBytesLeft_;
};

/// Orders `ranges` and takes away what overlaps.
void settleRanges(std::vector<FileRange>& ranges);
