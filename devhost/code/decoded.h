#pragma once

#include "devhost/code/code_records.h"

#include <cstdint>
#include <optional>
#include <string>

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
  bool padding = false;  ///< it does nothing
};

/// The text of an instruction: "mov" and "rdi, rax".
struct InstructionText {
  std::string mnemonic;
  std::string operands;
};
