#include "analysis.h"

#include "code_explorer.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>

namespace {

/// Longest mangled name whose signature is worked out; longer ones cost more than they tell.
constexpr std::size_t kMaxMangledBytes = 1024;

/// Most instructions that an import stub consists of.
constexpr std::size_t kMaxStubInstructions = 4;

/// Index of the instruction that begins at `address`.
std::optional<std::size_t> indexOf(const std::vector<Instruction>& instructions, std::uint64_t address) {
  const auto found = std::ranges::lower_bound(instructions, address, {}, &Instruction::address);
  if (found == instructions.end() || found->address != address) return std::nullopt;
  return static_cast<std::size_t>(found - instructions.begin());
}

/// Gives every instruction its procedure and marks where blocks begin.
class ProcedureShaper {
 public:
  ProcedureShaper(Analysis& analysis, const std::vector<Reference>& tableJumps)
      : analysis_(analysis), tableJumps_(tableJumps) {}

  void shape() {
    std::vector<Instruction>& code = analysis_.instructions;
    for (std::size_t i = 0; i < analysis_.procedures.size(); ++i) {
      const auto start = indexOf(code, analysis_.procedures[i].entry);
      code[*start].procedure = static_cast<std::uint32_t>(i);
      code[*start].startsBlock = true;
    }
    for (std::size_t i = 0; i < analysis_.procedures.size(); ++i) {
      procedure_ = static_cast<std::uint32_t>(i);
      walkFrom(*indexOf(code, analysis_.procedures[i].entry));
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
    const auto index = indexOf(analysis_.instructions, target);
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

/// Procedures that are only ever jumped to, at the end of others: nothing of their surroundings leads there.
std::vector<std::uint64_t> entriesOfTailCalls(const std::vector<Instruction>& code,
                                              const std::vector<std::uint64_t>& entries,
                                              const std::vector<Reference>& tableJumps) {
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
    const auto index = isCalled && !isEntered ? indexOf(code, first->target) : std::nullopt;
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

void collectProcedures(Analysis& analysis, std::vector<std::uint64_t> entries,
                       const std::vector<Reference>& tableJumps) {
  std::ranges::copy(entriesOfTailCalls(analysis.instructions, entries, tableJumps),
                    std::back_inserter(entries));
  sortAndDropRepeats(entries);
  for (const std::uint64_t entry : entries) {
    if (indexOf(analysis.instructions, entry)) analysis.procedures.push_back({.entry = entry});
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

/// The import that `procedure` does nothing but jump to, by its slot.
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

/// Names by address while they are gathered: the first name of an address stays, others become aliases.
void settleNames(Analysis& analysis, std::vector<NameAt> names) {
  std::ranges::stable_sort(names, {}, &NameAt::address);
  for (NameAt& name : names) {
    const bool first = analysis.names.empty() || analysis.names.back().address != name.address;
    (first ? analysis.names : analysis.aliases).push_back(std::move(name));
  }
}

std::optional<std::string> signatureOf(const std::string& name) {
  if (!name.starts_with("_Z") || name.size() > kMaxMangledBytes) return std::nullopt;
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> text(
      abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status), &std::free);
  if (status != 0 || text == nullptr || std::string_view(text.get()).find('(') == std::string_view::npos) {
    return std::nullopt;
  }
  return std::string(text.get());
}

/// Names what has one, best name first: functions, stubs, data, slots, then whatever procedure is left.
void collectNames(Analysis& analysis, const BinaryImage& image) {
  std::vector<NameAt> names;
  for (const Symbol& symbol : image.symbols) {
    if (symbol.function && !symbol.name.empty()) names.push_back({symbol.address, symbol.name});
  }
  for (const Procedure& procedure : analysis.procedures) {
    if (const ImportSlot* slot = slotOfStub(analysis, image, procedure)) {
      names.push_back({procedure.entry, slot->name});
    }
  }
  for (const Symbol& symbol : image.symbols) {
    if (!symbol.function && !symbol.name.empty()) names.push_back({symbol.address, symbol.name});
  }
  for (const ImportSlot& slot : image.importSlots) names.push_back({slot.address, "imp_" + slot.name});
  for (const Procedure& procedure : analysis.procedures) {
    names.push_back({procedure.entry, defaultProcedureName(procedure.entry)});
  }
  settleNames(analysis, std::move(names));
  std::erase_if(analysis.aliases,
                [](const NameAt& alias) { return alias.name == defaultProcedureName(alias.address); });
  for (const NameAt& name : analysis.names) {
    if (analysis.procedureFrom(name.address) == nullptr) continue;
    if (auto signature = signatureOf(name.name)) {
      analysis.signatures.push_back({name.address, std::move(*signature)});
    }
  }
}

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

void collectCalls(Analysis& analysis, const BinaryImage& image) {
  const auto stubs = stubsBySlot(analysis, image);
  for (const Instruction& instruction : analysis.instructions) {
    if (instruction.procedure == kNoProcedure || instruction.target == kNoAddress) continue;
    if (instruction.flow == Flow::kNext) continue;
    std::uint64_t callee = instruction.target;
    if (image.importSlotAt(callee) != nullptr) {
      // A stub jumps to its own slot: that is no call of itself.
      if (slotOfStub(analysis, image, analysis.procedures[instruction.procedure]) != nullptr) continue;
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

std::vector<bool> proceduresWithFramePointer(const Analysis& analysis,
                                             const std::vector<std::uint64_t>& setters) {
  std::vector<bool> result(analysis.procedures.size());
  for (const std::uint64_t address : setters) {
    const auto index = indexOf(analysis.instructions, address);
    if (!index || analysis.instructions[*index].procedure == kNoProcedure) continue;
    result[analysis.instructions[*index].procedure] = true;
  }
  return result;
}

void collectLocals(Analysis& analysis, const BinaryImage& image, const CodeExplorer& explored) {
  const bool x86 = image.architecture == Architecture::kX86 || image.architecture == Architecture::kX8664;
  const std::vector<bool> framed = proceduresWithFramePointer(analysis, explored.framePointerSetters());
  for (const StackUse& use : explored.stackUses()) {
    const auto index = indexOf(analysis.instructions, use.address);
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

bool isPrintable(std::uint8_t byte) {
  return (byte >= 0x20 && byte < 0x7f) || byte == '\t' || byte == '\n' || byte == '\r';
}

void collectStringsIn(Analysis& analysis, const FileRange& range, const MappedBytes& bytes) {
  const std::span<const std::uint8_t> all = bytes.from(range.start);
  const std::size_t size = std::min<std::size_t>(all.size(), range.end - range.start);
  std::size_t start = 0;
  for (std::size_t i = 0; i <= size; ++i) {
    if (i < size && isPrintable(all[i])) continue;
    if (i - start >= kMinStringLength) analysis.strings.push_back({range.start + start, i - start});
    start = i + 1;
  }
}

}  // namespace

std::optional<std::size_t> Analysis::instructionAt(std::uint64_t address) const {
  const auto after = std::ranges::upper_bound(instructions, address, {}, &Instruction::address);
  if (after == instructions.begin()) return std::nullopt;
  const auto found = std::prev(after);
  if (address - found->address >= found->size) return std::nullopt;
  return static_cast<std::size_t>(found - instructions.begin());
}

const Procedure* Analysis::procedureAt(std::uint64_t address) const {
  const auto index = instructionAt(address);
  if (!index || instructions[*index].procedure == kNoProcedure) return nullptr;
  return &procedures[instructions[*index].procedure];
}

const Procedure* Analysis::procedureFrom(std::uint64_t entry) const {
  const auto found = std::ranges::lower_bound(procedures, entry, {}, &Procedure::entry);
  return found != procedures.end() && found->entry == entry ? &*found : nullptr;
}

std::span<const BasicBlock> Analysis::blocksOf(const Procedure& procedure) const {
  return std::span(blocks).subspan(procedure.firstBlock, procedure.blockCount);
}

std::span<const Local> Analysis::localsOf(const Procedure& procedure) const {
  return std::span(locals).subspan(procedure.firstLocal, procedure.localCount);
}

const StringAt* Analysis::stringAt(std::uint64_t address) const {
  const auto after = std::ranges::upper_bound(strings, address, {}, &StringAt::address);
  if (after == strings.begin()) return nullptr;
  const auto found = std::prev(after);
  return address - found->address < found->length ? &*found : nullptr;
}

Analysis analyse(const BinaryImage& image, const MappedBytes& bytes) {
  CodeExplorer explorer(image, bytes);
  explorer.explore();
  Analysis analysis;
  analysis.instructions = explorer.takeInstructions();
  collectProcedures(analysis, explorer.entries(), explorer.tableJumps());
  ProcedureShaper(analysis, explorer.tableJumps()).shape();
  collectBlocks(analysis);
  collectNames(analysis, image);
  collectCalls(analysis, image);
  collectLocals(analysis, image, explorer);
  analysis.references = explorer.takeReferences();
  for (const FileRange& range : image.data) collectStringsIn(analysis, range, bytes);
  return analysis;
}

std::string defaultProcedureName(std::uint64_t entry) {
  char text[24];
  std::snprintf(text, sizeof text, "sub_%llx", static_cast<unsigned long long>(entry));
  return text;
}
