// 32-bit Arm, both kinds of its code: Arm and Thumb.

#include "devhost/code/capstone_handle.h"
#include "devhost/code/processor.h"

#include <bit>
#include <optional>

namespace {

bool armWritesProgramCounter(const cs_insn& instruction) {
  const cs_arm& arm = instruction.detail->arm;
  for (int i = 0; i < arm.op_count; ++i) {
    const cs_arm_op& operand = arm.operands[i];
    if (operand.type != ARM_OP_REG || operand.reg != ARM_REG_PC) continue;
    const bool list = instruction.id == ARM_INS_POP || instruction.id == ARM_INS_LDM;
    if (i == 0 || list) return instruction.id != ARM_INS_PUSH && instruction.id != ARM_INS_CMP;
  }
  return false;
}

Flow armUnconditionalFlow(const cs_insn& instruction) {
  const cs_arm& arm = instruction.detail->arm;
  const bool direct = arm.op_count > 0 && arm.operands[0].type == ARM_OP_IMM;
  switch (instruction.id) {
    case ARM_INS_B: return Flow::kJump;
    case ARM_INS_CBZ:
    case ARM_INS_CBNZ: return Flow::kBranch;
    case ARM_INS_BL:
    case ARM_INS_BLX: return direct ? Flow::kCall : Flow::kIndirectCall;
    case ARM_INS_BX:
    case ARM_INS_BXJ: return arm.operands[0].reg == ARM_REG_LR ? Flow::kReturn : Flow::kIndirectJump;
    case ARM_INS_TBB:
    case ARM_INS_TBH: return Flow::kIndirectJump;
    case ARM_INS_UDF:
    case ARM_INS_TRAP:
    case ARM_INS_BKPT: return Flow::kStop;
    default: break;
  }
  if (!armWritesProgramCounter(instruction)) return Flow::kNext;
  const bool popped = instruction.id == ARM_INS_POP || instruction.id == ARM_INS_LDM;
  const bool linked = instruction.id == ARM_INS_MOV && arm.operands[1].reg == ARM_REG_LR;
  const bool loadedFromStack = instruction.id == ARM_INS_LDR && arm.operands[1].mem.base == ARM_REG_SP;
  return popped || linked || loadedFromStack ? Flow::kReturn : Flow::kIndirectJump;
}

Flow armFlow(const cs_insn& instruction) {
  const Flow flow = armUnconditionalFlow(instruction);
  const arm_cc condition = instruction.detail->arm.cc;
  if (condition == ARM_CC_INVALID || condition == ARM_CC_AL) return flow;
  if (flow == Flow::kJump) return Flow::kBranch;
  // A conditional return or indirect jump may be skipped: control can go on.
  return flow == Flow::kReturn || flow == Flow::kIndirectJump ? Flow::kNext : flow;
}

std::uint64_t armProgramCounter(const Decoded& decoded) {
  return decoded.address + (decoded.thumb ? 4 : 8);
}

/// The number an operand stands for: a constant, or a register that is known.
std::optional<std::uint64_t> armValue(const cs_arm& arm, int index, const Decoded& decoded,
                                      const RegisterValues& known) {
  if (index >= arm.op_count) return std::nullopt;
  const cs_arm_op& operand = arm.operands[index];
  if (operand.type == ARM_OP_REG) {
    if (operand.reg == ARM_REG_PC) return armProgramCounter(decoded);
    return known.get(static_cast<unsigned int>(operand.reg));
  }
  if (operand.type != ARM_OP_IMM) return std::nullopt;
  const auto value = static_cast<std::uint32_t>(operand.imm);
  // A constant in Arm code can come as eight bits and a rotation to the right, listed as one more operand.
  if (index + 1 < arm.op_count && arm.operands[index + 1].type == ARM_OP_IMM) {
    return std::rotr(value, arm.operands[index + 1].imm);
  }
  return value;
}

std::optional<std::uint64_t> armFormedValue(const cs_insn& instruction, const Decoded& decoded,
                                            const RegisterValues& known) {
  const cs_arm& arm = instruction.detail->arm;
  switch (instruction.id) {
    case ARM_INS_ADR: {
      const auto offset = armValue(arm, 1, decoded, known);
      if (!offset) return std::nullopt;
      return low32((armProgramCounter(decoded) & ~std::uint64_t{3}) + *offset);
    }
    case ARM_INS_MOVW: return armValue(arm, 1, decoded, known);
    case ARM_INS_MOVT: {
      const auto low = known.get(static_cast<unsigned int>(arm.operands[0].reg));
      if (!low) return std::nullopt;
      return (*low & 0xffffU) | low32(asAddress(arm.operands[1].imm) << 16U);
    }
    case ARM_INS_ADD: {
      const bool two = arm.op_count == 2;
      const auto left = armValue(arm, two ? 0 : 1, decoded, known);
      const auto right = armValue(arm, two ? 1 : 2, decoded, known);
      if (!left || !right) return std::nullopt;
      return low32(*left + *right);
    }
    default: return std::nullopt;
  }
}

class ArmProcessor : public Processor {
 public:
  ArmProcessor(const BinaryImage& image, const MappedBytes& bytes)
      : positionIndependent_(image.positionIndependent), bytes_(bytes) {}

  const cs_insn* disassemble(std::uint64_t address, bool thumb) override {
    return (thumb ? thumbHandle_ : armHandle_).disassemble(bytes_.from(address), address);
  }

  void read(const cs_insn& instruction, Decoded& decoded, RegisterValues& known) override {
    const cs_arm& arm = instruction.detail->arm;
    decoded.flow = armFlow(instruction);
    if (decoded.flow == Flow::kCall || decoded.flow == Flow::kIndirectCall) known.clear();
    if (hasDirectTarget(decoded.flow) && arm.op_count > 0) {
      decoded.target = low32(asAddress(arm.operands[arm.op_count - 1].imm)) & ~std::uint64_t{1};
      // `blx` with a constant is the call that changes between Arm and Thumb.
      decoded.targetIsThumb = instruction.id == ARM_INS_BLX ? !decoded.thumb : decoded.thumb;
      return;
    }
    const auto formed = armFormedValue(instruction, decoded, known);
    // Half an address is none.
    if (formed && instruction.id != ARM_INS_MOVW) decoded.immediate = *formed;
    const auto loaded = readOperands(instruction, decoded, known);
    const auto value = formed ? formed : loaded;
    if (value && arm.op_count > 0) known.set(static_cast<unsigned int>(arm.operands[0].reg), *value);
  }

  bool isPadding(const cs_insn& instruction) const override { return instruction.id == ARM_INS_NOP; }

 private:
  /// The number that the instruction loads from among the code, if it does.
  std::optional<std::uint64_t> readOperands(const cs_insn& instruction, Decoded& decoded,
                                            RegisterValues& known) const {
    const cs_arm& arm = instruction.detail->arm;
    std::optional<std::uint64_t> loaded;
    for (int i = 0; i < arm.op_count; ++i) {
      const cs_arm_op& operand = arm.operands[i];
      if (operand.type != ARM_OP_MEM) continue;
      readMemory(arm, operand, decoded, known);
      const bool fromCode = operand.mem.index == ARM_REG_INVALID && operand.mem.base == ARM_REG_PC;
      if (fromCode && instruction.id == ARM_INS_LDR) loaded = bytes_.number(decoded.reference, 4);
    }
    if (loaded && !positionIndependent_) decoded.immediate = *loaded;
    decoded.setsFramePointer = arm.op_count > 0 && arm.operands[0].type == ARM_OP_REG &&
                               arm.operands[0].reg == ARM_REG_R11 &&
                               (instruction.id == ARM_INS_MOV || instruction.id == ARM_INS_ADD);
    for (int i = 0; i < arm.op_count; ++i) {
      const cs_arm_op& operand = arm.operands[i];
      if (operand.type == ARM_OP_REG && (operand.access & CS_AC_WRITE) != 0) {
        known.forget(static_cast<unsigned int>(operand.reg));
      }
    }
    return loaded;
  }

  static void readMemory(const cs_arm& arm, const cs_arm_op& operand, Decoded& decoded,
                         const RegisterValues& known) {
    const arm_op_mem& memory = operand.mem;
    if (memory.index != ARM_REG_INVALID) {
      const auto index = known.get(static_cast<unsigned int>(memory.index));
      const bool plain = memory.base == ARM_REG_PC && operand.shift.type == ARM_SFT_INVALID;
      if (index && plain) decoded.reference = low32(armProgramCounter(decoded) + *index);
    } else if (memory.base == ARM_REG_PC) {
      const std::uint64_t base = armProgramCounter(decoded) & ~std::uint64_t{3};
      decoded.reference = low32(offsetBy(base, memory.disp));
    } else if (const auto base = known.get(static_cast<unsigned int>(memory.base))) {
      decoded.reference = low32(offsetBy(*base, memory.disp));
    } else if (memory.base == ARM_REG_SP || memory.base == ARM_REG_R11) {
      // Write-back moves the stack pointer itself.
      if (arm.writeback) return;
      const bool stack = memory.base == ARM_REG_SP;
      decoded.stackBase = stack ? StackBase::kStackPointer : StackBase::kFramePointer;
      decoded.stackDisplacement = memory.disp;
    }
  }

  const bool positionIndependent_;
  const MappedBytes& bytes_;
  CapstoneHandle armHandle_{CS_ARCH_ARM, CS_MODE_ARM};
  CapstoneHandle thumbHandle_{CS_ARCH_ARM, CS_MODE_THUMB};
};

}  // namespace

std::unique_ptr<Processor> makeArmProcessor(const BinaryImage& image, const MappedBytes& bytes) {
  return std::make_unique<ArmProcessor>(image, bytes);
}
