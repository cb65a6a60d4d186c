#include "devhost/code/import_stubs.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace {

/// Most instructions that an import stub consists of.
constexpr std::size_t kMaxStubInstructions = 4;

bool isAmongStubs(const BinaryImage& image, std::uint64_t address) {
  const auto after = std::ranges::upper_bound(image.stubs, address, {}, &FileRange::start);
  return after != image.stubs.begin() && address < std::prev(after)->end;
}

}  // namespace

const ImportSlot* slotOfStub(const Analysis& analysis, const BinaryImage& image, const Procedure& procedure) {
  if (procedure.blockCount == 0 || (procedure.blockCount > 1 && !isAmongStubs(image, procedure.entry)))
    return nullptr;
  const BasicBlock& block = analysis.blocks[procedure.firstBlock];
  if (block.last - block.first >= kMaxStubInstructions) return nullptr;
  if (analysis.instructions[block.last].flow != Flow::kIndirectJump) return nullptr;
  for (std::uint32_t i = block.first; i <= block.last; ++i) {
    if (const ImportSlot* slot = image.importSlotAt(analysis.instructions[i].target)) return slot;
  }
  return nullptr;
}
