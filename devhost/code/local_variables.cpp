#include "devhost/code/local_variables.h"

#include <utility>

namespace {

std::vector<bool> proceduresWithFramePointer(const Analysis& analysis,
                                             const std::vector<std::uint64_t>& setters) {
  std::vector<bool> result(analysis.procedures.size());
  for (const std::uint64_t address : setters) {
    const auto index = analysis.instructionFrom(address);
    if (!index || analysis.instructions[*index].procedure == kNoProcedure) continue;
    result[analysis.instructions[*index].procedure] = true;
  }
  return result;
}

}  // namespace

void collectLocals(Analysis& analysis, const BinaryImage& image, const std::vector<StackUse>& stackUses,
                   const std::vector<std::uint64_t>& framePointerSetters) {
  const bool x86 = image.architecture == Architecture::kX86 || image.architecture == Architecture::kX8664;
  const std::vector<bool> framed = proceduresWithFramePointer(analysis, framePointerSetters);
  for (const StackUse& use : stackUses) {
    const auto index = analysis.instructionFrom(use.address);
    if (!index || analysis.instructions[*index].procedure == kNoProcedure) continue;
    const std::uint32_t procedure = analysis.instructions[*index].procedure;
    if (use.base == StackBase::kFramePointer) {
      // Without a frame the register is used for something else; above it, x86 keeps what callers pushed.
      if (!framed[procedure] || (x86 && use.displacement >= 0)) continue;
    }
    analysis.locals.push_back({procedure, use.displacement});
  }
  const auto order = [](const Local& local) { return std::pair(local.procedure, local.displacement); };
  sortAndDropRepeats(analysis.locals, order);
  for (std::uint32_t i = 0; i < analysis.locals.size(); ++i) {
    Procedure& procedure = analysis.procedures[analysis.locals[i].procedure];
    if (procedure.localCount++ == 0) procedure.firstLocal = i;
  }
}
