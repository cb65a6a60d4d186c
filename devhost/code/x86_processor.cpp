#include "devhost/code/capstone_handle.h"
#include "devhost/code/processor.h"

#include <optional>

namespace {

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

class X86Processor : public Processor {
 public:
  X86Processor(const BinaryImage& image, const MappedBytes& bytes)
      : narrow_(image.architecture == Architecture::kX86),
        positionIndependent_(image.positionIndependent),
        globalOffsetTable_(image.globalOffsetTable),
        bytes_(bytes),
        handle_(CS_ARCH_X86, narrow_ ? CS_MODE_32 : CS_MODE_64),
        calleeHandle_(CS_ARCH_X86, narrow_ ? CS_MODE_32 : CS_MODE_64) {}

  const cs_insn* disassemble(std::uint64_t address, bool) override {
    return handle_.disassemble(bytes_.from(address), address);
  }

  void read(const cs_insn& instruction, Decoded& decoded, RegisterValues& known) override {
    const cs_x86& x86 = instruction.detail->x86;
    decoded.flow = x86Flow(instruction);
    if (hasDirectTarget(decoded.flow) && x86.op_count > 0) {
      decoded.target = address(x86.operands[x86.op_count - 1].imm);
      // `call` of the very next instruction only asks where the code is; `pop` then tells.
      if (decoded.flow == Flow::kCall && decoded.target == decoded.address + decoded.size) {
        decoded.flow = Flow::kNext;
      }
    } else if (instruction.id != X86_INS_NOP) {
      readOperands(instruction, decoded, known);
    }
    decoded.setsFramePointer = x86SetsFramePointer(instruction);
    if (instruction.id == X86_INS_CMP && x86.op_count == 2 && x86.operands[1].type == X86_OP_IMM) {
      decoded.compared = asAddress(x86.operands[1].imm);
    }
    if (narrow_) followRegisters(instruction, decoded, known);
  }

  bool isPadding(const cs_insn& instruction) const override {
    return instruction.id == X86_INS_NOP || instruction.id == X86_INS_INT3;
  }

  RegisterValues valuesInStubs() const override {
    RegisterValues known;
    if (narrow_ && globalOffsetTable_ != kNoAddress) known.set(X86_REG_EBX, globalOffsetTable_);
    return known;
  }

 private:
  std::uint64_t address(std::int64_t value) const {
    return narrow_ ? low32(asAddress(value)) : asAddress(value);
  }

  void readOperands(const cs_insn& instruction, Decoded& decoded, const RegisterValues& known) const {
    const cs_x86& x86 = instruction.detail->x86;
    for (int i = 0; i < x86.op_count; ++i) {
      const cs_x86_op& operand = x86.operands[i];
      if (operand.type == X86_OP_IMM && x86MayTakeAddress(instruction.id) && !positionIndependent_) {
        decoded.immediate = address(operand.imm);
      }
      if (operand.type == X86_OP_MEM) readMemory(operand.mem, decoded, known);
    }
  }

  void readMemory(const x86_op_mem& memory, Decoded& decoded, const RegisterValues& known) const {
    // Thread-local storage: the displacement counts from a base that only the running process knows.
    if (memory.segment == X86_REG_FS || memory.segment == X86_REG_GS) return;
    if (memory.base == X86_REG_RIP) {
      decoded.reference = offsetBy(decoded.address + decoded.size, memory.disp);
    } else if (memory.base == X86_REG_INVALID) {
      decoded.reference = address(memory.disp);
    } else if (const auto base = known.get(memory.base); base && memory.index == X86_REG_INVALID) {
      decoded.reference = low32(offsetBy(*base, memory.disp));
    } else if (memory.index == X86_REG_INVALID && x86StackBase(memory.base) != StackBase::kNone) {
      decoded.stackBase = x86StackBase(memory.base);
      decoded.stackDisplacement = static_cast<std::int32_t>(memory.disp);
    } else if (!positionIndependent_) {
      // An element of an array at a fixed address.
      decoded.immediate = address(memory.disp);
    }
  }

  /// Position independent 32-bit code asks where it is and counts from there.
  void followRegisters(const cs_insn& instruction, const Decoded& decoded, RegisterValues& known) {
    const cs_x86& x86 = instruction.detail->x86;
    if (decoded.flow == Flow::kCall) {
      if (const auto reg = registerLoadedWithReturnAddress(decoded.target)) {
        known.set(*reg, decoded.address + decoded.size);
      }
      return;
    }
    if (instruction.id == X86_INS_CALL && decoded.flow == Flow::kNext) {
      known.set(X86_REG_EIP, decoded.target);
      return;
    }
    const auto returnAddress = known.get(X86_REG_EIP);
    known.forget(X86_REG_EIP);
    if (x86.op_count == 0 || x86.operands[0].type != X86_OP_REG) return;
    const x86_reg written = x86.operands[0].reg;
    if (returnAddress && instruction.id == X86_INS_POP) {
      known.set(written, *returnAddress);
      return;
    }
    const auto before = known.get(written);
    const bool adds = instruction.id == X86_INS_ADD && x86.operands[1].type == X86_OP_IMM;
    if (before && adds) {
      known.set(written, low32(offsetBy(*before, x86.operands[1].imm)));
    } else if ((x86.operands[0].access & CS_AC_WRITE) != 0) {
      known.forget(written);
    }
  }

  /// The register that `procedure` loads with the address it returns to, if it does nothing else.
  std::optional<unsigned int> registerLoadedWithReturnAddress(std::uint64_t procedure) {
    const cs_insn* load = calleeHandle_.disassemble(bytes_.from(procedure), procedure);
    if (load == nullptr || load->id != X86_INS_MOV) return std::nullopt;
    const cs_x86& x86 = load->detail->x86;
    const cs_x86_op& from = x86.operands[1];
    if (x86.operands[0].type != X86_OP_REG || from.type != X86_OP_MEM || from.mem.base != X86_REG_ESP ||
        from.mem.index != X86_REG_INVALID || from.mem.disp != 0) {
      return std::nullopt;
    }
    const unsigned int loaded = x86.operands[0].reg;
    const std::uint64_t next = procedure + load->size;
    const cs_insn* end = calleeHandle_.disassemble(bytes_.from(next), next);
    if (end == nullptr || end->id != X86_INS_RET) return std::nullopt;
    return loaded;
  }

  const bool narrow_;
  const bool positionIndependent_;
  const std::uint64_t globalOffsetTable_;
  const MappedBytes& bytes_;
  CapstoneHandle handle_;
  CapstoneHandle calleeHandle_;  ///< a call's instruction stays as it is while its target is looked at
};

}  // namespace

std::unique_ptr<Processor> makeX86Processor(const BinaryImage& image, const MappedBytes& bytes) {
  return std::make_unique<X86Processor>(image, bytes);
}
