#include "disassembly.h"

#include <algorithm>
#include <bit>
#include <stdexcept>

namespace {

csh openCapstone(cs_arch architecture, int mode) {
  csh handle = 0;
  if (cs_open(architecture, static_cast<cs_mode>(mode), &handle) != CS_ERR_OK) {
    throw std::runtime_error("Capstone was built without this processor");
  }
  cs_option(handle, CS_OPT_DETAIL, CS_OPT_ON);
  return handle;
}

csh openCapstone(Architecture architecture) {
  switch (architecture) {
    case Architecture::kX86: return openCapstone(CS_ARCH_X86, CS_MODE_32);
    case Architecture::kX8664: return openCapstone(CS_ARCH_X86, CS_MODE_64);
    case Architecture::kArm: return openCapstone(CS_ARCH_ARM, CS_MODE_ARM);
    case Architecture::kArm64: return openCapstone(CS_ARCH_ARM64, CS_MODE_ARM);
  }
  return 0;
}

bool inGroup(const cs_insn& instruction, unsigned int group) {
  const cs_detail& detail = *instruction.detail;
  return std::find(detail.groups, detail.groups + detail.groups_count, group) !=
         detail.groups + detail.groups_count;
}

std::uint64_t offsetBy(std::uint64_t base, std::int64_t displacement) {
  return base + static_cast<std::uint64_t>(displacement);
}

std::uint64_t asAddress(std::int64_t value) {
  return static_cast<std::uint64_t>(value);
}

constexpr std::uint64_t low32(std::uint64_t value) {
  return value & 0xffffffffU;
}

// x86 ----------------------------------------------------------------------------------------------------

Flow x86Flow(const cs_insn& instruction) {
  const cs_x86& x86 = instruction.detail->x86;
  const bool direct = x86.op_count > 0 && x86.operands[x86.op_count - 1].type == X86_OP_IMM;
  switch (instruction.id) {
    case X86_INS_JMP:
    case X86_INS_LJMP: return direct ? Flow::kJump : Flow::kIndirectJump;
    case X86_INS_HLT:
    case X86_INS_UD2:
    case X86_INS_INT3: return Flow::kStop;
    default: break;
  }
  if (inGroup(instruction, CS_GRP_CALL)) return direct ? Flow::kCall : Flow::kIndirectCall;
  if (inGroup(instruction, CS_GRP_JUMP)) return Flow::kBranch;
  if (inGroup(instruction, CS_GRP_RET) || inGroup(instruction, CS_GRP_IRET)) return Flow::kReturn;
  return Flow::kNext;
}

StackBase x86StackBase(x86_reg reg) {
  if (reg == X86_REG_RSP || reg == X86_REG_ESP) return StackBase::kStackPointer;
  if (reg == X86_REG_RBP || reg == X86_REG_EBP) return StackBase::kFramePointer;
  return StackBase::kNone;
}

bool x86SetsFramePointer(const cs_insn& instruction) {
  const cs_x86& x86 = instruction.detail->x86;
  if (x86.op_count != 2 || x86.operands[0].type != X86_OP_REG) return false;
  if (x86StackBase(x86.operands[0].reg) != StackBase::kFramePointer) return false;
  const cs_x86_op& from = x86.operands[1];
  if (instruction.id == X86_INS_MOV) {
    return from.type == X86_OP_REG && x86StackBase(from.reg) == StackBase::kStackPointer;
  }
  return instruction.id == X86_INS_LEA && x86StackBase(from.mem.base) == StackBase::kStackPointer;
}

/// Instructions whose constant operand is often an address in code that is not position independent.
bool x86MayTakeAddress(unsigned int id) {
  return id == X86_INS_MOV || id == X86_INS_MOVABS || id == X86_INS_PUSH || id == X86_INS_CMP;
}

// AArch64 ------------------------------------------------------------------------------------------------

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

bool hasDirectTarget(Flow flow) {
  return flow == Flow::kJump || flow == Flow::kBranch || flow == Flow::kCall;
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

// 32-bit Arm ---------------------------------------------------------------------------------------------

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

}  // namespace

std::optional<std::uint64_t> RegisterValues::get(unsigned int reg) const {
  for (const auto& [known, value] : values_) {
    if (known == reg) return value;
  }
  return std::nullopt;
}

void RegisterValues::set(unsigned int reg, std::uint64_t value) {
  forget(reg);
  values_.emplace_back(reg, value);
}

void RegisterValues::forget(unsigned int reg) {
  std::erase_if(values_, [reg](const auto& entry) { return entry.first == reg; });
}

Disassembler::Disassembler(const BinaryImage& image, const MappedBytes& bytes)
    : image_(image), bytes_(bytes), handle_(openCapstone(image.architecture)) {
  instruction_ = cs_malloc(handle_);
  if (image.architecture != Architecture::kArm) return;
  thumbHandle_ = openCapstone(CS_ARCH_ARM, CS_MODE_THUMB);
  thumbInstruction_ = cs_malloc(thumbHandle_);
}

Disassembler::~Disassembler() {
  cs_free(instruction_, 1);
  cs_close(&handle_);
  if (thumbInstruction_ == nullptr) return;
  cs_free(thumbInstruction_, 1);
  cs_close(&thumbHandle_);
}

RegisterValues Disassembler::valuesInStubs() const {
  RegisterValues known;
  if (image_.architecture == Architecture::kX86 && image_.globalOffsetTable != kNoAddress) {
    known.set(X86_REG_EBX, image_.globalOffsetTable);
  }
  return known;
}

bool Disassembler::isPadding() const {
  switch (image_.architecture) {
    case Architecture::kX86:
    case Architecture::kX8664: return current_->id == X86_INS_NOP || current_->id == X86_INS_INT3;
    case Architecture::kArm64: return current_->id == ARM64_INS_NOP;
    case Architecture::kArm: return current_->id == ARM_INS_NOP;
  }
  return false;
}

bool Disassembler::disassemble(std::uint64_t address, bool thumb) {
  const std::span<const std::uint8_t> bytes = bytes_.from(address);
  const bool useThumb = thumb && thumbInstruction_ != nullptr;
  const std::uint8_t* code = bytes.data();
  std::size_t left = bytes.size();
  current_ = useThumb ? thumbInstruction_ : instruction_;
  return left > 0 && cs_disasm_iter(useThumb ? thumbHandle_ : handle_, &code, &left, &address, current_);
}

std::optional<Decoded> Disassembler::decode(std::uint64_t address, bool thumb, RegisterValues& known) {
  if (!disassemble(address, thumb)) return std::nullopt;
  Decoded decoded;
  decoded.address = address;
  decoded.size = static_cast<std::uint8_t>(current_->size);
  decoded.thumb = thumb;
  switch (image_.architecture) {
    case Architecture::kX86:
    case Architecture::kX8664: readX86(decoded, known); break;
    case Architecture::kArm64: readArm64(decoded, known); break;
    case Architecture::kArm: readArm(decoded, known); break;
  }
  return decoded;
}

std::optional<InstructionText> Disassembler::text(std::uint64_t address, bool thumb) {
  if (!disassemble(address, thumb)) return std::nullopt;
  return InstructionText{current_->mnemonic, current_->op_str};
}

void Disassembler::readX86(Decoded& decoded, RegisterValues& known) {
  const cs_x86& x86 = current_->detail->x86;
  decoded.flow = x86Flow(*current_);
  if (hasDirectTarget(decoded.flow) && x86.op_count > 0) {
    decoded.target = asAddress(x86.operands[x86.op_count - 1].imm);
    if (image_.architecture == Architecture::kX86) decoded.target = low32(decoded.target);
    // `call` of the very next instruction only asks where the code is; `pop` then tells.
    if (decoded.flow == Flow::kCall && decoded.target == decoded.address + decoded.size) {
      decoded.flow = Flow::kNext;
    }
  } else if (current_->id != X86_INS_NOP) {
    readX86Operands(decoded, known);
  }
  decoded.setsFramePointer = x86SetsFramePointer(*current_);
  if (current_->id == X86_INS_CMP && x86.op_count == 2 && x86.operands[1].type == X86_OP_IMM) {
    decoded.compared = asAddress(x86.operands[1].imm);
  }
  if (image_.architecture != Architecture::kX86) return;

  if (decoded.flow == Flow::kCall) {
    if (const auto reg = registerLoadedWithReturnAddress(decoded.target)) {
      known.set(*reg, decoded.address + decoded.size);
    }
    return;
  }
  if (current_->id == X86_INS_CALL && decoded.flow == Flow::kNext) {
    known.set(X86_REG_EIP, decoded.target);
    return;
  }
  const auto returnAddress = known.get(X86_REG_EIP);
  known.forget(X86_REG_EIP);
  if (x86.op_count == 0 || x86.operands[0].type != X86_OP_REG) return;
  if (returnAddress && current_->id == X86_INS_POP) {
    known.set(x86.operands[0].reg, *returnAddress);
    return;
  }
  const x86_reg written = x86.operands[0].reg;
  const auto before = known.get(written);
  const bool adds = current_->id == X86_INS_ADD && x86.operands[1].type == X86_OP_IMM;
  if (before && adds) {
    known.set(written, low32(offsetBy(*before, x86.operands[1].imm)));
  } else if ((x86.operands[0].access & CS_AC_WRITE) != 0) {
    known.forget(written);
  }
}

void Disassembler::readX86Operands(Decoded& decoded, RegisterValues& known) const {
  const cs_x86& x86 = current_->detail->x86;
  const bool narrow = image_.architecture == Architecture::kX86;
  for (int i = 0; i < x86.op_count; ++i) {
    const cs_x86_op& operand = x86.operands[i];
    if (operand.type == X86_OP_IMM && x86MayTakeAddress(current_->id) && !image_.positionIndependent) {
      decoded.immediate = narrow ? low32(asAddress(operand.imm)) : asAddress(operand.imm);
    }
    if (operand.type != X86_OP_MEM) continue;
    const x86_op_mem& memory = operand.mem;
    // Thread-local storage: the displacement counts from a base that only the running process knows.
    if (memory.segment == X86_REG_FS || memory.segment == X86_REG_GS) continue;
    if (memory.base == X86_REG_RIP) {
      decoded.reference = offsetBy(decoded.address + decoded.size, memory.disp);
    } else if (memory.base == X86_REG_INVALID) {
      decoded.reference = narrow ? low32(asAddress(memory.disp)) : asAddress(memory.disp);
    } else if (const auto base = known.get(memory.base); base && memory.index == X86_REG_INVALID) {
      decoded.reference = low32(offsetBy(*base, memory.disp));
    } else if (memory.index == X86_REG_INVALID) {
      decoded.stackBase = x86StackBase(memory.base);
      decoded.stackDisplacement = static_cast<std::int32_t>(memory.disp);
    }
  }
}

std::optional<unsigned int> Disassembler::registerLoadedWithReturnAddress(std::uint64_t procedure) {
  cs_insn* const caller = current_;
  std::optional<unsigned int> loaded;
  if (cs_insn* const scratch = cs_malloc(handle_)) {
    instruction_ = scratch;
    if (disassemble(procedure, false) && current_->id == X86_INS_MOV) {
      const cs_x86& x86 = current_->detail->x86;
      const cs_x86_op& from = x86.operands[1];
      if (x86.operands[0].type == X86_OP_REG && from.type == X86_OP_MEM && from.mem.base == X86_REG_ESP &&
          from.mem.index == X86_REG_INVALID && from.mem.disp == 0) {
        loaded = x86.operands[0].reg;
      }
    }
    const bool returns =
        loaded && disassemble(procedure + scratch->size, false) && scratch->id == X86_INS_RET;
    if (!returns) loaded.reset();
    instruction_ = caller;
    current_ = caller;
    cs_free(scratch, 1);
  }
  return loaded;
}

void Disassembler::readArm64(Decoded& decoded, RegisterValues& known) const {
  const cs_arm64& arm = current_->detail->arm64;
  decoded.flow = arm64Flow(*current_);
  if (hasDirectTarget(decoded.flow) && arm.op_count > 0) {
    decoded.target = asAddress(arm.operands[arm.op_count - 1].imm);
    // A called procedure may change every register that an address is usually formed in.
    if (decoded.flow == Flow::kCall) known.clear();
    return;
  }
  if (decoded.flow == Flow::kIndirectCall) known.clear();

  const auto formed = arm64FormedAddress(*current_, known);
  if (formed && current_->id != ARM64_INS_ADRP) decoded.reference = *formed;
  for (int i = 0; i < arm.op_count; ++i) {
    const cs_arm64_op& operand = arm.operands[i];
    if (operand.type == ARM64_OP_IMM && current_->id == ARM64_INS_LDR)
      decoded.reference = asAddress(operand.imm);
    if (operand.type != ARM64_OP_MEM || operand.mem.index != ARM64_REG_INVALID) continue;
    if (const auto base = known.get(operand.mem.base)) {
      decoded.reference = offsetBy(*base, operand.mem.disp);
    } else if (operand.mem.base == ARM64_REG_SP || operand.mem.base == ARM64_REG_X29) {
      const bool stack = operand.mem.base == ARM64_REG_SP;
      // Write-back moves the stack pointer itself, and pairs are registers that are saved: no variables.
      const bool pair = current_->id == ARM64_INS_STP || current_->id == ARM64_INS_LDP;
      if (arm.writeback || pair) continue;
      decoded.stackBase = stack ? StackBase::kStackPointer : StackBase::kFramePointer;
      decoded.stackDisplacement = operand.mem.disp;
    }
  }
  decoded.setsFramePointer = arm.op_count > 0 && arm.operands[0].type == ARM64_OP_REG &&
                             arm.operands[0].reg == ARM64_REG_X29 &&
                             (current_->id == ARM64_INS_MOV || current_->id == ARM64_INS_ADD);
  for (int i = 0; i < arm.op_count; ++i) {
    const cs_arm64_op& operand = arm.operands[i];
    if (operand.type == ARM64_OP_REG && (operand.access & CS_AC_WRITE) != 0) known.forget(operand.reg);
  }
  if (formed && arm.op_count > 0) known.set(arm.operands[0].reg, *formed);
}

void Disassembler::readArm(Decoded& decoded, RegisterValues& known) const {
  const cs_arm& arm = current_->detail->arm;
  decoded.flow = armFlow(*current_);
  if (hasDirectTarget(decoded.flow) && arm.op_count > 0) {
    decoded.target = low32(asAddress(arm.operands[arm.op_count - 1].imm)) & ~std::uint64_t{1};
    // `blx` with a constant is the call that changes between Arm and Thumb.
    decoded.targetIsThumb = current_->id == ARM_INS_BLX ? !decoded.thumb : decoded.thumb;
    if (decoded.flow == Flow::kCall) known.clear();
    return;
  }
  if (decoded.flow == Flow::kIndirectCall) known.clear();

  const auto formed = armFormedValue(*current_, decoded, known);
  // Half an address is none.
  if (formed && current_->id != ARM_INS_MOVW) decoded.immediate = *formed;
  std::optional<std::uint64_t> loaded;
  for (int i = 0; i < arm.op_count; ++i) {
    const cs_arm_op& operand = arm.operands[i];
    if (operand.type != ARM_OP_MEM) continue;
    if (operand.mem.index != ARM_REG_INVALID) {
      const auto index = known.get(static_cast<unsigned int>(operand.mem.index));
      const bool plain = operand.mem.base == ARM_REG_PC && operand.shift.type == ARM_SFT_INVALID;
      if (index && plain) decoded.reference = low32(armProgramCounter(decoded) + *index);
      continue;
    }
    if (operand.mem.base == ARM_REG_PC) {
      const std::uint64_t base = armProgramCounter(decoded) & ~std::uint64_t{3};
      decoded.reference = low32(offsetBy(base, operand.mem.disp));
      if (current_->id == ARM_INS_LDR) loaded = bytes_.number(decoded.reference, 4);
      if (loaded && !image_.positionIndependent) decoded.immediate = *loaded;
    } else if (const auto base = known.get(operand.mem.base)) {
      decoded.reference = low32(offsetBy(*base, operand.mem.disp));
    } else if (operand.mem.base == ARM_REG_SP || operand.mem.base == ARM_REG_R11) {
      const bool stack = operand.mem.base == ARM_REG_SP;
      if (arm.writeback) continue;
      decoded.stackBase = stack ? StackBase::kStackPointer : StackBase::kFramePointer;
      decoded.stackDisplacement = operand.mem.disp;
    }
  }
  decoded.setsFramePointer = arm.op_count > 0 && arm.operands[0].type == ARM_OP_REG &&
                             arm.operands[0].reg == ARM_REG_R11 &&
                             (current_->id == ARM_INS_MOV || current_->id == ARM_INS_ADD);
  for (int i = 0; i < arm.op_count; ++i) {
    const cs_arm_op& operand = arm.operands[i];
    if (operand.type == ARM_OP_REG && (operand.access & CS_AC_WRITE) != 0) {
      known.forget(static_cast<unsigned int>(operand.reg));
    }
  }
  const auto value = formed ? formed : loaded;
  if (value && arm.op_count > 0) known.set(static_cast<unsigned int>(arm.operands[0].reg), *value);
}
