#pragma once

// Decodes what can be reached: from the entry point, the symbols and every call, jump and pointer found on
// the way. Each byte of code is decoded at most once.

#include "devhost/code/analysis.h"
#include "devhost/code/code_map.h"
#include "devhost/code/code_records.h"
#include "devhost/code/disassembler.h"
#include "devhost/image/binary_image.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

/// An operand on the stack, in the instruction at `address`.
struct StackUse {
  std::uint64_t address = 0;
  std::int32_t displacement = 0;
  StackBase base = StackBase::kNone;
};

class CodeExplorer {
 public:
  /// All must outlive it.
  CodeExplorer(const BinaryImage& image, const MappedBytes& bytes, const AnalysisProgress& progress);

  void explore();

  /// Sorted by address; do not overlap.
  std::vector<Instruction> takeInstructions();
  /// Sorted by what is referred to.
  std::vector<Reference> takeReferences();
  /// Where procedures begin, sorted; some may hold nothing that can be decoded.
  const std::vector<std::uint64_t>& entries() const { return entries_; }
  /// From indirect jumps to the cases of their tables, sorted by `from`.
  const std::vector<Reference>& tableJumps() const { return tableJumps_; }
  const std::vector<StackUse>& stackUses() const { return stackUses_; }
  const std::vector<std::uint64_t>& framePointerSetters() const { return framePointerSetters_; }

 private:
  struct Place {
    std::uint64_t address = 0;
    bool thumb = false;
  };
  /// What the instructions of a straight run have told so far.
  struct Run {
    RegisterValues known;
    std::uint64_t table = kNoAddress;       ///< latest address of data that was formed
    std::optional<std::uint64_t> compared;  ///< latest constant that something was compared with
  };

  /// What an indirect jump chooses its target from: distances from the table's start, or addresses.
  struct JumpTable {
    std::uint64_t jump = 0;  ///< the instruction
    std::uint64_t start = 0;
    std::uint64_t cases = 0;
    bool absolute = false;
  };

  void findStubs();
  void findStubsIn(const FileRange& range);
  void findProceduresThatNeverReturn();
  void addSymbols();
  void sweepSymbols();
  void addPointers();
  void addPointersIn(const FileRange& range);
  void addFormedAddresses();
  void addUnlessKnown(Place place);
  Place placeOf(std::uint64_t pointer) const;
  void addEntry(Place place);
  void follow(Place place);
  void followRun(Place place);
  void record(Decoded& decoded, Run& run);
  void report() const;
  void recordReferences(const Decoded& decoded);
  void followPending();
  void noteTable(const Decoded& decoded, const Run& run);
  void followTables();
  void followTable(const JumpTable& table);
  bool neverReturns(std::uint64_t callee) const;
  bool isMarkedAsData(std::uint64_t address) const;
  bool isStub(std::uint64_t address) const;
  bool isMapped(std::uint64_t address) const;

  const BinaryImage& image_;
  const MappedBytes& bytes_;
  const AnalysisProgress& progress_;
  Disassembler disassembler_;
  CodeMap map_;
  std::vector<Place> pending_;
  std::vector<JumpTable> pendingTables_;
  std::vector<Instruction> instructions_;
  std::vector<Reference> references_;
  std::vector<Reference> tableJumps_;
  std::vector<std::uint64_t> entries_;
  std::vector<Place> formedCodeAddresses_;
  std::size_t formedDone_ = 0;  ///< how many of them have been followed
  std::vector<std::uint64_t> neverReturning_;
  std::vector<StackUse> stackUses_;
  std::vector<std::uint64_t> framePointerSetters_;
  std::uint64_t codeBytes_ = 0;
  std::uint64_t decodedBytes_ = 0;
  std::uint64_t tableEntriesLeft_ = 0;
};
