#pragma once

// What is found out about an executable once, when it is opened; never changes afterwards.

#include "binary_image.h"
#include "disassembly.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

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

/// An instruction at `from` that jumps to, calls or forms the address `to`.
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

/// Lists are sorted by address, `references` by what is referred to.
struct Analysis {
  std::vector<Instruction> instructions;
  std::vector<BasicBlock> blocks;  ///< sorted by procedure, then address
  std::vector<Procedure> procedures;
  std::vector<Reference> references;
  std::vector<Call> callsByCaller;
  std::vector<Call> callsByCallee;
  std::vector<Local> locals;  ///< sorted by procedure, then displacement
  std::vector<StringAt> strings;
  std::vector<NameAt> names;       ///< one an address; every procedure has one
  std::vector<NameAt> aliases;     ///< further names of the same addresses
  std::vector<NameAt> signatures;  ///< by entry; only where the symbol tells one

  /// Index of the instruction that `address` is part of.
  std::optional<std::size_t> instructionAt(std::uint64_t address) const;

  /// The procedure that `address` is part of.
  const Procedure* procedureAt(std::uint64_t address) const;
  const Procedure* procedureFrom(std::uint64_t entry) const;

  std::span<const BasicBlock> blocksOf(const Procedure& procedure) const;
  std::span<const Local> localsOf(const Procedure& procedure) const;
  const StringAt* stringAt(std::uint64_t address) const;
};

/// Fewest printable characters that count as a string.
inline constexpr std::size_t kMinStringLength = 4;

/// Finds procedures, blocks, references, calls, strings and names. Takes time in proportion to the size of
/// the file, whatever is in it.
Analysis analyse(const BinaryImage& image, const MappedBytes& bytes);

/// "sub_" and the address, the name of a procedure that has no other.
std::string defaultProcedureName(std::uint64_t entry);
