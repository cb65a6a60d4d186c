#include "devhost/code/procedure_shaper.h"

#include "devhost/code/tail_calls.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

namespace {

/// Gives every instruction its procedure and marks where blocks begin.
class ProcedureShaper {
 public:
  ProcedureShaper(Analysis& analysis, const std::vector<Reference>& tableJumps)
      : analysis_(analysis), tableJumps_(tableJumps) {}

  void shape() {
    std::vector<Instruction>& code = analysis_.instructions;
    for (std::size_t i = 0; i < analysis_.procedures.size(); ++i) {
      const auto start = analysis_.instructionFrom(analysis_.procedures[i].entry);
      code[*start].procedure = static_cast<std::uint32_t>(i);
      code[*start].startsBlock = true;
    }
    for (std::size_t i = 0; i < analysis_.procedures.size(); ++i) {
      procedure_ = static_cast<std::uint32_t>(i);
      walkFrom(*analysis_.instructionFrom(analysis_.procedures[i].entry));
    }
    adoptOrphans();
  }

 private:
  bool isEntry(const Instruction& instruction) const {
    return instruction.procedure != kNoProcedure &&
           analysis_.procedures[instruction.procedure].entry == instruction.address;
  }

  void walkFrom(std::size_t entry) {
    pending_.push_back(entry);
    while (!pending_.empty()) {
      std::size_t index = pending_.back();
      pending_.pop_back();
      while (takeAndAdvance(index)) {
      }
    }
  }

  /// Takes the instruction for the procedure; true if `index` now is the one that control flows on to.
  bool takeAndAdvance(std::size_t& index) {
    std::vector<Instruction>& code = analysis_.instructions;
    Instruction& instruction = code[index];
    instruction.procedure = procedure_;
    if (instruction.flow == Flow::kJump || instruction.flow == Flow::kBranch) goTo(instruction.target);
    if (instruction.flow == Flow::kIndirectJump) goToTableEntries(instruction.address);
    const std::size_t next = index + 1;
    const bool adjoins = next < code.size() && code[next].address == instruction.address + instruction.size;
    if (!adjoins) return false;
    if (endsBlock(instruction.flow)) code[next].startsBlock = true;
    if (!flowsOn(instruction.flow) || code[next].procedure != kNoProcedure) return false;
    index = next;
    return true;
  }

  void goTo(std::uint64_t target) {
    const auto index = analysis_.instructionFrom(target);
    if (!index) return;
    Instruction& instruction = analysis_.instructions[*index];
    instruction.startsBlock = true;
    if (instruction.procedure == kNoProcedure) pending_.push_back(*index);
  }

  void goToTableEntries(std::uint64_t jump) {
    for (const Reference& entry : partWhere(tableJumps_, &Reference::from, jump)) {
      goTo(entry.to);
    }
  }

  /// Code that no jump was found to belongs to the procedure in front of it: mostly cases of a switch.
  void adoptOrphans() {
    std::uint32_t owner = kNoProcedure;
    bool adopting = false;
    for (Instruction& instruction : analysis_.instructions) {
      if (isEntry(instruction)) owner = instruction.procedure;
      if (instruction.procedure != kNoProcedure) {
        adopting = false;
        continue;
      }
      if (!adopting) instruction.startsBlock = true;
      adopting = true;
      instruction.procedure = owner;
    }
  }

  Analysis& analysis_;
  const std::vector<Reference>& tableJumps_;
  std::uint32_t procedure_ = kNoProcedure;
  std::vector<std::size_t> pending_;
};

void collectProcedures(Analysis& analysis, std::vector<std::uint64_t> entries,
                       const std::vector<Reference>& tableJumps) {
  std::ranges::copy(entriesOfTailCalls(analysis, entries, tableJumps), std::back_inserter(entries));
  sortAndDropRepeats(entries);
  for (const std::uint64_t entry : entries) {
    if (analysis.instructionFrom(entry)) analysis.procedures.push_back({.entry = entry});
  }
}

void collectBlocks(Analysis& analysis) {
  const std::vector<Instruction>& code = analysis.instructions;
  for (std::uint32_t i = 0; i < code.size(); ++i) {
    if (code[i].procedure == kNoProcedure) continue;
    const bool continues = i > 0 && !code[i].startsBlock && code[i - 1].procedure == code[i].procedure &&
                           code[i - 1].address + code[i - 1].size == code[i].address &&
                           !endsBlock(code[i - 1].flow);
    if (continues) {
      analysis.blocks.back().last = i;
    } else {
      analysis.blocks.push_back({i, i, code[i].procedure});
    }
    analysis.procedures[code[i].procedure].length += code[i].size;
  }
  std::ranges::stable_sort(analysis.blocks, {}, &BasicBlock::procedure);
  for (std::uint32_t i = 0; i < analysis.blocks.size(); ++i) {
    Procedure& procedure = analysis.procedures[analysis.blocks[i].procedure];
    if (procedure.blockCount++ == 0) procedure.firstBlock = i;
  }
}

}  // namespace

void shapeProcedures(Analysis& analysis, const std::vector<std::uint64_t>& entries,
                     const std::vector<Reference>& tableJumps) {
  collectProcedures(analysis, entries, tableJumps);
  ProcedureShaper(analysis, tableJumps).shape();
  collectBlocks(analysis);
}
