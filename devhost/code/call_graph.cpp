#include "devhost/code/call_graph.h"

#include "devhost/code/import_stubs.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

namespace {

/// Where calls of an import's slot lead: its stub if there is one.
std::vector<std::pair<std::uint64_t, std::uint64_t>> stubsBySlot(const Analysis& analysis,
                                                                 const BinaryImage& image) {
  std::vector<std::pair<std::uint64_t, std::uint64_t>> stubs;
  for (const Procedure& procedure : analysis.procedures) {
    if (const ImportSlot* slot = slotOfStub(analysis, image, procedure)) {
      stubs.emplace_back(slot->address, procedure.entry);
    }
  }
  std::ranges::sort(stubs);
  return stubs;
}

}  // namespace

void collectCalls(Analysis& analysis, const BinaryImage& image) {
  const auto stubs = stubsBySlot(analysis, image);
  for (const Instruction& instruction : analysis.instructions) {
    if (instruction.procedure == kNoProcedure || instruction.target == kNoAddress) continue;
    if (instruction.flow == Flow::kNext) continue;
    std::uint64_t callee = instruction.target;
    // A stub jumps to its own slot, and to the loader: neither is a call of its own.
    if (slotOfStub(analysis, image, analysis.procedures[instruction.procedure]) != nullptr) continue;
    if (image.importSlotAt(callee) != nullptr) {
      const auto stub = std::ranges::lower_bound(stubs, std::pair(callee, std::uint64_t{0}));
      if (stub != stubs.end() && stub->first == callee) callee = stub->second;
    } else {
      const Procedure* called = analysis.procedureFrom(callee);
      if (called == nullptr) continue;
      const bool itself = called == &analysis.procedures[instruction.procedure];
      const bool isCall = instruction.flow == Flow::kCall || instruction.flow == Flow::kLastCall;
      // A jump to a procedure's own start is a loop; to another's, a call in tail position.
      if (itself && !isCall) continue;
    }
    analysis.callsByCaller.push_back({instruction.procedure, callee});
  }
  const auto byCaller = [](const Call& call) { return std::pair(call.caller, call.callee); };
  sortAndDropRepeats(analysis.callsByCaller, byCaller);
  analysis.callsByCallee = analysis.callsByCaller;
  std::ranges::stable_sort(analysis.callsByCallee, {}, &Call::callee);
}
