#include "devhost/code/register_values.h"

std::optional<std::uint64_t> RegisterValues::get(unsigned int reg) const {
  for (const auto& [known, value] : values_) {
    if (known == reg) return value;
  }
  return std::nullopt;
}

void RegisterValues::set(unsigned int reg, std::uint64_t value) {
  forget(reg);
  values_.emplace_back(reg, value);
}

void RegisterValues::forget(unsigned int reg) {
  std::erase_if(values_, [reg](const auto& entry) { return entry.first == reg; });
}
