#pragma once

// What the three file formats have in common: an image while it is gathered, before it is put in order.

#include "devhost/image/binary_image.h"

#include <cstdint>
#include <string>
#include <vector>

/// `start` + `size`, or the last address if that is beyond it.
std::uint64_t addSaturated(std::uint64_t start, std::uint64_t size);

/// `name` made fit for one line of a listing: cut at a zero byte and at 4096 bytes, control characters as
/// `?`.
std::string cleanName(std::string name);

/// Collects what a file says. Segments come first: everything else is kept only where one of them is.
struct ImageDraft {
  BinaryImage image;
  std::uint64_t fileSize = 0;

  /// Cuts the segment to what the file holds; drops an empty one.
  void addSegment(Segment segment);
  /// Orders the segments and takes away those that overlap an earlier one, so that an address means one
  /// thing.
  void settleSegments();
  /// Adds the part of [start, end) that the file holds to `ranges`.
  void addRange(std::vector<FileRange>& ranges, std::uint64_t start, std::uint64_t end) const;
  /// `address` as in the file: the lowest bit of a 32-bit Arm function's says that its code is Thumb.
  void addSymbol(const std::string& name, std::uint64_t address, std::uint64_t size, bool function);
  /// Puts everything in order when all is added.
  void settle();
  /// Whether the segments map the file's bytes more often than an honest file does.
  bool mapsTooMuch() const;

 private:
  void addRangesOfSegments();
};

/// Orders `ranges` and takes away what overlaps.
void settleRanges(std::vector<FileRange>& ranges);
