#pragma once

#include <capstone/capstone.h>

#include <cstdint>
#include <span>

/// Capstone for one kind of code, with room for one decoded instruction.
class CapstoneHandle {
 public:
  /// Throws std::runtime_error if Capstone was built without `architecture`.
  CapstoneHandle(cs_arch architecture, int mode);
  ~CapstoneHandle();
  CapstoneHandle(const CapstoneHandle&) = delete;
  CapstoneHandle& operator=(const CapstoneHandle&) = delete;

  /// The instruction that `bytes`, which lie at `address`, begin with; null if they begin with none. Stays as
  /// it is until the next call.
  const cs_insn* disassemble(std::span<const std::uint8_t> bytes, std::uint64_t address);

 private:
  csh handle_ = 0;
  cs_insn* instruction_ = nullptr;
};

/// Whether Capstone counts `instruction` among `group`.
bool inGroup(const cs_insn& instruction, unsigned int group);
