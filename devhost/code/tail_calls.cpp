#include "devhost/code/tail_calls.h"

#include <algorithm>
#include <iterator>

namespace {

/// The entries on both sides of an address.
struct Neighbours {
  std::uint64_t before = 0;
  std::uint64_t after = kNoAddress;
};

Neighbours neighboursOf(const std::vector<std::uint64_t>& entries, std::uint64_t address) {
  const auto after = std::ranges::upper_bound(entries, address);
  return {.before = after == entries.begin() ? 0 : *std::prev(after),
          .after = after == entries.end() ? kNoAddress : *after};
}

/// Where control can come from to an instruction that is jumped to.
struct Approach {
  std::uint64_t target = 0;
  bool fromInFront = false;    ///< from between its procedure's entry and itself
  bool fromElsewhere = false;  ///< by a jump from another procedure
};

}  // namespace

std::vector<std::uint64_t> entriesOfTailCalls(const Analysis& analysis,
                                              const std::vector<std::uint64_t>& entries,
                                              const std::vector<Reference>& tableJumps) {
  const std::vector<Instruction>& code = analysis.instructions;
  std::vector<Approach> approaches;
  const auto approach = [&](std::uint64_t from, std::uint64_t target, bool mayBeCall) {
    const Neighbours around = neighboursOf(entries, target);
    const bool outside = from < around.before || from >= around.after;
    approaches.push_back({target, !outside && from < target, outside && mayBeCall});
  };
  for (const Instruction& instruction : code) {
    if (instruction.flow != Flow::kJump && instruction.flow != Flow::kBranch) continue;
    approach(instruction.address, instruction.target, instruction.flow == Flow::kJump);
  }
  for (const Reference& jump : tableJumps) approach(jump.from, jump.to, false);
  std::ranges::sort(approaches, {}, &Approach::target);

  std::vector<std::uint64_t> found;
  for (auto first = approaches.begin(); first != approaches.end();) {
    const auto last = std::ranges::upper_bound(first, approaches.end(), first->target, {}, &Approach::target);
    const bool isEntered = std::any_of(first, last, [](const Approach& one) { return one.fromInFront; });
    const bool isCalled = std::any_of(first, last, [](const Approach& one) { return one.fromElsewhere; });
    const auto index = isCalled && !isEntered ? analysis.instructionFrom(first->target) : std::nullopt;
    if (index) {
      const Instruction* previous = *index > 0 ? &code[*index - 1] : nullptr;
      const bool fallsInto = previous != nullptr && flowsOn(previous->flow) &&
                             previous->address + previous->size == first->target;
      if (!fallsInto) found.push_back(first->target);
    }
    first = last;
  }
  return found;
}
