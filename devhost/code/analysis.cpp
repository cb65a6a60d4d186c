#include "devhost/code/analysis.h"

#include "devhost/code/call_graph.h"
#include "devhost/code/code_explorer.h"
#include "devhost/code/data_references.h"
#include "devhost/code/local_variables.h"
#include "devhost/code/procedure_names.h"
#include "devhost/code/procedure_shaper.h"
#include "devhost/code/strings.h"

#include <algorithm>
#include <iterator>

std::optional<std::size_t> Analysis::instructionAt(std::uint64_t address) const {
  const auto after = std::ranges::upper_bound(instructions, address, {}, &Instruction::address);
  if (after == instructions.begin()) return std::nullopt;
  const auto found = std::prev(after);
  if (address - found->address >= found->size) return std::nullopt;
  return static_cast<std::size_t>(found - instructions.begin());
}

std::optional<std::size_t> Analysis::instructionFrom(std::uint64_t address) const {
  const auto found = std::ranges::lower_bound(instructions, address, {}, &Instruction::address);
  if (found == instructions.end() || found->address != address) return std::nullopt;
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

Analysis analyse(const BinaryImage& image, const MappedBytes& bytes, const AnalysisProgress& progress) {
  CodeExplorer explorer(image, bytes, progress);
  explorer.explore();
  Analysis analysis;
  analysis.instructions = explorer.takeInstructions();
  shapeProcedures(analysis, explorer.entries(), explorer.tableJumps());
  collectNames(analysis, image);
  collectCalls(analysis, image);
  collectLocals(analysis, image, explorer.stackUses(), explorer.framePointerSetters());
  for (const FileRange& range : image.data) collectStringsIn(analysis, range, bytes);
  analysis.references = explorer.takeReferences();
  collectDataReferences(analysis, image, bytes);
  return analysis;
}
