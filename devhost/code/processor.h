#pragma once

// What is particular to a processor: how its instructions are decoded, and what they do. One file each.

#include "devhost/code/decoded.h"
#include "devhost/code/register_values.h"
#include "devhost/image/binary_image.h"

#include <capstone/capstone.h>

#include <cstdint>
#include <memory>

class Processor {
 public:
  virtual ~Processor() = default;

  /// The instruction at `address`; null where none begins. Stays as it is until the next call.
  virtual const cs_insn* disassemble(std::uint64_t address, bool thumb) = 0;

  /// Fills in what `instruction` does (`decoded` has its address, size and kind already), and brings `known`
  /// up to date with what it does to registers.
  virtual void read(const cs_insn& instruction, Decoded& decoded, RegisterValues& known) = 0;

  /// Whether `instruction` does nothing.
  virtual bool isPadding(const cs_insn& instruction) const = 0;

  /// Registers that hold a known value wherever an import stub begins.
  virtual RegisterValues valuesInStubs() const { return {}; }
};

/// Each for the instructions of one image, which must outlive it.
std::unique_ptr<Processor> makeX86Processor(const BinaryImage& image, const MappedBytes& bytes);
std::unique_ptr<Processor> makeArm64Processor(const MappedBytes& bytes);
std::unique_ptr<Processor> makeArmProcessor(const BinaryImage& image, const MappedBytes& bytes);

/// Whether an instruction of this flow holds the address that it leads to.
constexpr bool hasDirectTarget(Flow flow) {
  return flow == Flow::kJump || flow == Flow::kBranch || flow == Flow::kCall;
}

/// A constant operand as the address that it may be.
constexpr std::uint64_t asAddress(std::int64_t value) {
  return static_cast<std::uint64_t>(value);
}

/// Addresses of 32-bit processors wrap around.
constexpr std::uint64_t low32(std::uint64_t value) {
  return value & 0xffffffffU;
}
