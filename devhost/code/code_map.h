#pragma once

#include "devhost/image/binary_image.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// Which bytes of code have been decoded.
class CodeMap {
 public:
  explicit CodeMap(const BinaryImage& image);

  /// Whether `size` bytes from `address` are code and none of them is taken.
  bool isFree(std::uint64_t address, std::size_t size);
  void take(std::uint64_t address, std::size_t size);

 private:
  struct Area {
    FileRange range;
    std::vector<bool> taken;
  };
  Area* areaAt(std::uint64_t address);

  std::vector<Area> areas_;
  std::size_t latest_ = 0;  ///< area of the last question: the next is nearly always about the same
};
