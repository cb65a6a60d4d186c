#include "devhost/code/procedure_names.h"

#include "devhost/code/import_stubs.h"
#include "devhost/image/demangled_name.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace {

/// Names by address while they are gathered: the first name of an address stays, others become aliases.
void settleNames(Analysis& analysis, std::vector<NameAt> names) {
  std::ranges::stable_sort(names, {}, &NameAt::address);
  for (NameAt& name : names) {
    const bool first = analysis.names.empty() || analysis.names.back().address != name.address;
    (first ? analysis.names : analysis.aliases).push_back(std::move(name));
  }
}

}  // namespace

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
    if (auto signature = demangledName(name.name)) {
      analysis.signatures.push_back({name.address, std::move(*signature)});
    }
  }
}

std::string defaultProcedureName(std::uint64_t entry) {
  return "sub_" + hexDigits(entry);
}
