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
  /// Marks the `size` bytes of an instruction.
  void take(std::uint64_t address, std::size_t size);
  /// Whether an instruction that was taken begins at `address`.
  bool isStart(std::uint64_t address);
  /// Marks the entry of a procedure; false outside of code, and if it was marked before.
  bool addEntry(std::uint64_t address);

 private:
  struct Area {
    FileRange range;
    std::vector<bool> taken;
    std::vector<bool> starts;   ///< of instructions
    std::vector<bool> entries;  ///< of procedures
  };
  Area* areaAt(std::uint64_t address);

  std::vector<Area> areas_;
  std::size_t latest_ = 0;  ///< area of the last question: the next is nearly always about the same
};
