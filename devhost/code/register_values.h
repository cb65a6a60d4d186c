#pragma once

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

/// Registers whose value is known from the instructions before, within one straight run of code.
class RegisterValues {
 public:
  std::optional<std::uint64_t> get(unsigned int reg) const;
  void set(unsigned int reg, std::uint64_t value);
  void forget(unsigned int reg);
  void clear() { values_.clear(); }

 private:
  std::vector<std::pair<unsigned int, std::uint64_t>> values_;
};
