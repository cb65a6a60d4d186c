#include "devhost/code/disassembler.h"

#include "devhost/code/processor.h"

namespace {

std::unique_ptr<Processor> processorOf(const BinaryImage& image, const MappedBytes& bytes) {
  switch (image.architecture) {
    case Architecture::kX86:
    case Architecture::kX8664: return makeX86Processor(image, bytes);
    case Architecture::kArm64: return makeArm64Processor(bytes);
    case Architecture::kArm: return makeArmProcessor(image, bytes);
  }
  return nullptr;
}

}  // namespace

Disassembler::Disassembler(const BinaryImage& image, const MappedBytes& bytes)
    : processor_(processorOf(image, bytes)) {}

Disassembler::~Disassembler() = default;

std::optional<Decoded> Disassembler::decode(std::uint64_t address, bool thumb, RegisterValues& known) {
  const cs_insn* const instruction = processor_->disassemble(address, thumb);
  if (instruction == nullptr) return std::nullopt;
  Decoded decoded;
  decoded.address = address;
  decoded.size = static_cast<std::uint8_t>(instruction->size);
  decoded.thumb = thumb;
  decoded.padding = processor_->isPadding(*instruction);
  processor_->read(*instruction, decoded, known);
  return decoded;
}

std::optional<InstructionText> Disassembler::text(std::uint64_t address, bool thumb) {
  const cs_insn* const instruction = processor_->disassemble(address, thumb);
  if (instruction == nullptr) return std::nullopt;
  return InstructionText{instruction->mnemonic, instruction->op_str};
}

RegisterValues Disassembler::valuesInStubs() const {
  return processor_->valuesInStubs();
}
