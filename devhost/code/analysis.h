#pragma once

// What is found out about an executable once, when it is opened; never changes afterwards.

#include "devhost/code/code_records.h"
#include "devhost/image/binary_image.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

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

  /// Index of the instruction that begins at `address`.
  std::optional<std::size_t> instructionFrom(std::uint64_t address) const;
  /// Index of the instruction that `address` is part of.
  std::optional<std::size_t> instructionAt(std::uint64_t address) const;

  /// The procedure that `address` is part of.
  const Procedure* procedureAt(std::uint64_t address) const;
  const Procedure* procedureFrom(std::uint64_t entry) const;

  std::span<const BasicBlock> blocksOf(const Procedure& procedure) const;
  std::span<const Local> localsOf(const Procedure& procedure) const;
  const StringAt* stringAt(std::uint64_t address) const;
};

/// Told how far an analysis is: bytes of code that have been decoded, of how many, and procedures found so
/// far.
using AnalysisProgress =
    std::function<void(std::uint64_t decodedBytes, std::uint64_t codeBytes, std::size_t procedures)>;

/// Finds procedures, blocks, references, calls, strings and names. Takes time in proportion to the size of
/// the file, whatever is in it. `progress`, if there is any, is called again and again.
Analysis analyse(const BinaryImage& image, const MappedBytes& bytes,
                 const AnalysisProgress& progress = nullptr);
