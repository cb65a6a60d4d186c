#include "devhost/image/demangled_name.h"

#include <llvm/Demangle/Demangle.h>

#include <cstddef>

namespace {

/// Longest mangled name that is worked out, in bytes; longer ones cost more than they tell.
constexpr std::size_t kMaxMangledBytes = 1024;

}  // namespace

std::optional<std::string> demangledName(const std::string& symbol) {
  if (symbol.size() > kMaxMangledBytes) return std::nullopt;
  std::string name = llvm::demangle(symbol);
  if (name == symbol) return std::nullopt;
  return name;
}
