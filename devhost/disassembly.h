#pragma once

// One instruction at a time: its length, where control goes, what addresses it forms.

#include "binary_image.h"

#include <capstone/capstone.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

/// Where control goes after an instruction.
enum class Flow : std::uint8_t {
  kNext,          ///< on to the following instruction
  kJump,          ///< to the target only
  kBranch,        ///< to the target or on
  kCall,          ///< to the target, then on
  kIndirectJump,  ///< to an address that is not in the instruction
  kIndirectCall,  ///< the same, then on
  kLastCall,      ///< a call, direct or not, that never comes back
  kReturn,
  kStop,  ///< nowhere: a trap
};

/// Whether the instruction after one with `flow` can follow it.
constexpr bool flowsOn(Flow flow) {
  return flow == Flow::kNext || flow == Flow::kBranch || flow == Flow::kCall || flow == Flow::kIndirectCall;
}

/// Whether a basic block ends with an instruction of this flow. Calls come back, so they end none.
constexpr bool endsBlock(Flow flow) {
  return flow != Flow::kNext && flow != Flow::kCall && flow != Flow::kIndirectCall;
}

/// The register that an operand on the stack is reached from.
enum class StackBase : std::uint8_t { kNone, kStackPointer, kFramePointer };

/// A decoded instruction. Addresses that it does not have are kNoAddress.
struct Decoded {
  std::uint64_t address = 0;
  std::uint64_t target = kNoAddress;      ///< of a direct jump, branch or call
  std::uint64_t reference = kNoAddress;   ///< address formed by an operand
  std::uint64_t immediate = kNoAddress;   ///< constant that is an address if something is mapped there
  std::optional<std::uint64_t> compared;  ///< constant that a register is compared with
  std::int32_t stackDisplacement = 0;     ///< bytes from `stackBase`
  StackBase stackBase = StackBase::kNone;
  std::uint8_t size = 0;
  Flow flow = Flow::kNext;
  bool thumb = false;
  bool targetIsThumb = false;
  bool setsFramePointer = false;
};

/// Registers whose value is known from the instructions before, within one straight run of code.
class RegisterValues {
 public:
  std::optional<std::uint64_t> get(unsigned int reg) const;
  void set(unsigned int reg, std::uint64_t value);
  void forget(unsigned int reg);
  void clear() { values_.clear(); }

 private:
  std::vector<std::pair<unsigned int, std::uint64_t>> values_;
};

/// The text of an instruction: "mov" and "rdi, rax".
struct InstructionText {
  std::string mnemonic;
  std::string operands;
};

/// Decodes the instructions of one image, which must outlive it.
class Disassembler {
 public:
  Disassembler(const BinaryImage& image, const MappedBytes& bytes);
  ~Disassembler();
  Disassembler(const Disassembler&) = delete;
  Disassembler& operator=(const Disassembler&) = delete;

  /// Decodes the instruction at `address`, and brings `known` up to date with what it does to registers.
  /// Returns nothing where no instruction begins.
  std::optional<Decoded> decode(std::uint64_t address, bool thumb, RegisterValues& known);

  std::optional<InstructionText> text(std::uint64_t address, bool thumb);

  /// Whether the instruction decoded last does nothing.
  bool isPadding() const;

  /// Registers that hold a known value wherever an import stub begins.
  RegisterValues valuesInStubs() const;

 private:
  bool disassemble(std::uint64_t address, bool thumb);
  void readX86(Decoded& decoded, RegisterValues& known);
  void readX86Operands(Decoded& decoded, RegisterValues& known) const;
  void readArm64(Decoded& decoded, RegisterValues& known) const;
  void readArm(Decoded& decoded, RegisterValues& known) const;
  std::optional<unsigned int> registerLoadedWithReturnAddress(std::uint64_t procedure);

  const BinaryImage& image_;
  const MappedBytes& bytes_;
  csh handle_ = 0;
  csh thumbHandle_ = 0;  ///< 32-bit Arm only
  cs_insn* instruction_ = nullptr;
  cs_insn* thumbInstruction_ = nullptr;
  cs_insn* current_ = nullptr;  ///< the one of the two that was decoded last
};
