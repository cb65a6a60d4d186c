#pragma once

// One instruction at a time: its length, where control goes, what addresses it forms.

#include "devhost/code/decoded.h"
#include "devhost/code/register_values.h"
#include "devhost/image/binary_image.h"

#include <cstdint>
#include <memory>
#include <optional>

class Processor;

/// Decodes the instructions of one image, which must outlive it.
class Disassembler {
 public:
  Disassembler(const BinaryImage& image, const MappedBytes& bytes);
  ~Disassembler();

  /// Decodes the instruction at `address`, and brings `known` up to date with what it does to registers.
  /// Returns nothing where no instruction begins.
  std::optional<Decoded> decode(std::uint64_t address, bool thumb, RegisterValues& known);

  std::optional<InstructionText> text(std::uint64_t address, bool thumb);

  /// Registers that hold a known value wherever an import stub begins.
  RegisterValues valuesInStubs() const;

 private:
  std::unique_ptr<Processor> processor_;
};
