#include "devhost/code/import_stubs.h"

#include <cstddef>

namespace {

/// Most instructions that an import stub consists of.
constexpr std::size_t kMaxStubInstructions = 4;

}  // namespace

const ImportSlot* slotOfStub(const Analysis& analysis, const BinaryImage& image, const Procedure& procedure) {
  if (procedure.blockCount != 1) return nullptr;
  const BasicBlock& block = analysis.blocks[procedure.firstBlock];
  if (block.last - block.first >= kMaxStubInstructions) return nullptr;
  if (analysis.instructions[block.last].flow != Flow::kIndirectJump) return nullptr;
  for (std::uint32_t i = block.first; i <= block.last; ++i) {
    if (const ImportSlot* slot = image.importSlotAt(analysis.instructions[i].target)) return slot;
  }
  return nullptr;
}
