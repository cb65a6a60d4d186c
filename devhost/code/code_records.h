#pragma once

// The records that are found out about code, as plain data.

#include "devhost/image/address.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

/// Where control goes after an instruction.
enum class Flow : std::uint8_t {
  kNext,          ///< on to the following instruction
  kJump,          ///< to the target only
  kBranch,        ///< to the target or on
  kCall,          ///< to the target, then on
  kIndirectJump,  ///< to an address that is not in the instruction
  kIndirectCall,  ///< the same, then on
  kLastCall,      ///< a call, direct or not, that never comes back
  kReturn,
  kStop,  ///< nowhere: a trap
};

/// Whether the instruction after one with `flow` can follow it.
constexpr bool flowsOn(Flow flow) {
  return flow == Flow::kNext || flow == Flow::kBranch || flow == Flow::kCall || flow == Flow::kIndirectCall;
}

/// Whether a basic block ends with an instruction of this flow. Calls come back, so they end none.
constexpr bool endsBlock(Flow flow) {
  return flow != Flow::kNext && flow != Flow::kCall && flow != Flow::kIndirectCall;
}

inline constexpr std::uint32_t kNoProcedure = ~std::uint32_t{0};

/// An instruction in 24 bytes: large libraries have millions.
struct Instruction {
  std::uint64_t address = 0;
  std::uint64_t target = kNoAddress;  ///< what it jumps to, calls or refers to
  std::uint32_t procedure = kNoProcedure;
  std::uint8_t size = 0;
  Flow flow = Flow::kNext;
  bool thumb = false;
  bool startsBlock = false;
};

/// A straight run of instructions, by their indexes; `last` is included.
struct BasicBlock {
  std::uint32_t first = 0;
  std::uint32_t last = 0;
  std::uint32_t procedure = kNoProcedure;
};

/// A procedure; its blocks, calls and local variables are neighbours in their lists.
struct Procedure {
  std::uint64_t entry = 0;
  std::uint64_t length = 0;  ///< bytes of its instructions
  std::uint32_t firstBlock = 0;
  std::uint32_t blockCount = 0;
  std::uint32_t firstLocal = 0;
  std::uint32_t localCount = 0;
};

/// An instruction at `from` that jumps to, calls or forms the address `to`, or a cell of data that holds it.
struct Reference {
  std::uint64_t to = 0;
  std::uint64_t from = 0;

  bool operator==(const Reference&) const = default;
};

/// `caller` calls what begins at `callee`: a procedure, or an import without a stub, by its slot.
struct Call {
  std::uint32_t caller = kNoProcedure;
  std::uint64_t callee = 0;

  bool operator==(const Call&) const = default;
};

/// A place on the stack that a procedure uses.
struct Local {
  std::uint32_t procedure = kNoProcedure;
  std::int32_t displacement = 0;  ///< bytes from the frame pointer, else from the stack pointer

  bool operator==(const Local&) const = default;
};

struct StringAt {
  std::uint64_t address = 0;
  std::uint64_t length = 0;  ///< bytes, without a closing zero
  bool isWide = false;       ///< UTF-16, else one byte a character
};

struct NameAt {
  std::uint64_t address = 0;
  std::string name;
};

/// The part of `list`, which is sorted by `field`, where `field` is `value`.
template <typename T, typename V>
std::span<const T> partWhere(const std::vector<T>& list, V T::*field, V value) {
  const auto first = std::ranges::lower_bound(list, value, {}, field);
  const auto last = std::ranges::upper_bound(first, list.end(), value, {}, field);
  return {first, last};
}

/// Sorts `list` by `key` and drops what is in it twice; elements with one key are equal.
template <typename T, typename Key = std::identity>
void sortAndDropRepeats(std::vector<T>& list, Key key = {}) {
  std::ranges::sort(list, {}, key);
  list.erase(std::unique(list.begin(), list.end()), list.end());
}
