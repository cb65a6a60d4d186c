#include "devhost/code/capstone_handle.h"
#include "devhost/code/processor.h"

#include <optional>

namespace {

Flow arm64Flow(const cs_insn& instruction) {
  const arm64_cc condition = instruction.detail->arm64.cc;
  switch (instruction.id) {
    case ARM64_INS_B:
      return condition == ARM64_CC_INVALID || condition == ARM64_CC_AL || condition == ARM64_CC_NV
                 ? Flow::kJump
                 : Flow::kBranch;
    case ARM64_INS_CBZ:
    case ARM64_INS_CBNZ:
    case ARM64_INS_TBZ:
    case ARM64_INS_TBNZ: return Flow::kBranch;
    case ARM64_INS_BL: return Flow::kCall;
    case ARM64_INS_BLR: return Flow::kIndirectCall;
    case ARM64_INS_BR: return Flow::kIndirectJump;
    case ARM64_INS_RET:
    case ARM64_INS_ERET: return Flow::kReturn;
    case ARM64_INS_BRK:
    case ARM64_INS_HLT: return Flow::kStop;
    default: return Flow::kNext;
  }
}

/// Second and third operand of `add` as a number: the constant, shifted as the instruction says.
std::uint64_t arm64Constant(const cs_arm64_op& operand) {
  const std::uint64_t value = asAddress(operand.imm);
  return operand.shift.type == ARM64_SFT_LSL && operand.shift.value < 64 ? value << operand.shift.value
                                                                         : value;
}

/// The address in operand 0's register after `adrp`, `adr`, or `add` of a constant to a known value.
std::optional<std::uint64_t> arm64FormedAddress(const cs_insn& instruction, const RegisterValues& known) {
  const cs_arm64& arm = instruction.detail->arm64;
  if (instruction.id == ARM64_INS_ADRP || instruction.id == ARM64_INS_ADR) {
    return asAddress(arm.operands[1].imm);
  }
  if (instruction.id != ARM64_INS_ADD || arm.op_count != 3) return std::nullopt;
  if (arm.operands[1].type != ARM64_OP_REG || arm.operands[2].type != ARM64_OP_IMM) return std::nullopt;
  const auto base = known.get(arm.operands[1].reg);
  if (!base) return std::nullopt;
  return *base + arm64Constant(arm.operands[2]);
}

class Arm64Processor : public Processor {
 public:
  explicit Arm64Processor(const MappedBytes& bytes) : bytes_(bytes) {}

  const cs_insn* disassemble(std::uint64_t address, bool) override {
    return handle_.disassemble(bytes_.from(address), address);
  }

  void read(const cs_insn& instruction, Decoded& decoded, RegisterValues& known) override {
    const cs_arm64& arm = instruction.detail->arm64;
    decoded.flow = arm64Flow(instruction);
    // A called procedure may change every register that an address is usually formed in.
    if (decoded.flow == Flow::kCall || decoded.flow == Flow::kIndirectCall) known.clear();
    if (hasDirectTarget(decoded.flow) && arm.op_count > 0) {
      decoded.target = asAddress(arm.operands[arm.op_count - 1].imm);
      return;
    }
    const auto formed = arm64FormedAddress(instruction, known);
    if (formed && instruction.id != ARM64_INS_ADRP) decoded.reference = *formed;
    readOperands(instruction, decoded, known);
    if (formed && arm.op_count > 0) known.set(arm.operands[0].reg, *formed);
  }

  bool isPadding(const cs_insn& instruction) const override { return instruction.id == ARM64_INS_NOP; }

 private:
  static void readOperands(const cs_insn& instruction, Decoded& decoded, RegisterValues& known) {
    const cs_arm64& arm = instruction.detail->arm64;
    for (int i = 0; i < arm.op_count; ++i) {
      const cs_arm64_op& operand = arm.operands[i];
      if (operand.type == ARM64_OP_IMM && instruction.id == ARM64_INS_LDR) {
        decoded.reference = asAddress(operand.imm);
      }
      if (operand.type == ARM64_OP_MEM) readMemory(instruction, operand.mem, decoded, known);
    }
    decoded.setsFramePointer = arm.op_count > 0 && arm.operands[0].type == ARM64_OP_REG &&
                               arm.operands[0].reg == ARM64_REG_X29 &&
                               (instruction.id == ARM64_INS_MOV || instruction.id == ARM64_INS_ADD);
    for (int i = 0; i < arm.op_count; ++i) {
      const cs_arm64_op& operand = arm.operands[i];
      if (operand.type == ARM64_OP_REG && (operand.access & CS_AC_WRITE) != 0) known.forget(operand.reg);
    }
  }

  static void readMemory(const cs_insn& instruction, const arm64_op_mem& memory, Decoded& decoded,
                         const RegisterValues& known) {
    if (memory.index != ARM64_REG_INVALID) return;
    if (const auto base = known.get(memory.base)) {
      decoded.reference = offsetBy(*base, memory.disp);
      return;
    }
    const bool stack = memory.base == ARM64_REG_SP;
    if (!stack && memory.base != ARM64_REG_X29) return;
    // Write-back moves the stack pointer itself, and pairs are registers that are saved: no variables.
    const bool pair = instruction.id == ARM64_INS_STP || instruction.id == ARM64_INS_LDP;
    if (instruction.detail->arm64.writeback || pair) return;
    decoded.stackBase = stack ? StackBase::kStackPointer : StackBase::kFramePointer;
    decoded.stackDisplacement = memory.disp;
  }

  const MappedBytes& bytes_;
  CapstoneHandle handle_{CS_ARCH_ARM64, CS_MODE_ARM};
};

}  // namespace

std::unique_ptr<Processor> makeArm64Processor(const MappedBytes& bytes) {
  return std::make_unique<Arm64Processor>(bytes);
}
