#include "devhost/code/code_explorer.h"

#include "devhost/code/never_returning.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

/// Most cases of a switch that are followed.
constexpr std::uint64_t kMaxCases = 4096;

}  // namespace

CodeExplorer::CodeExplorer(const BinaryImage& image, const MappedBytes& bytes,
                           const AnalysisProgress& progress)
    : image_(image), bytes_(bytes), progress_(progress), disassembler_(image, bytes), map_(image) {
  for (const FileRange& range : image.code) codeBytes_ += range.end - range.start;
  tableEntriesLeft_ = codeBytes_;
}

void CodeExplorer::report() const {
  // Often enough for an eye, seldom enough to cost nothing.
  constexpr std::size_t kInstructionsBetween = 4096;
  if (progress_ && instructions_.size() % kInstructionsBetween == 0) {
    progress_(decodedBytes_, codeBytes_, entries_.size());
  }
}

void CodeExplorer::explore() {
  findStubs();
  findProceduresThatNeverReturn();
  addSymbols();
  sweepSymbols();
  // Only now: a case in the middle of an instruction is none, and tells where a table ends.
  followTables();
  addPointers();
  sortAndDropRepeats(entries_);
  const auto byFrom = [](const Reference& jump) { return std::pair(jump.from, jump.to); };
  std::ranges::sort(tableJumps_, {}, byFrom);
}

std::vector<Instruction> CodeExplorer::takeInstructions() {
  std::ranges::sort(instructions_, {}, &Instruction::address);
  return std::move(instructions_);
}

std::vector<Reference> CodeExplorer::takeReferences() {
  const auto byTo = [](const Reference& reference) { return std::pair(reference.to, reference.from); };
  sortAndDropRepeats(references_, byTo);
  return std::move(references_);
}

bool CodeExplorer::isMapped(std::uint64_t address) const {
  return address != kNoAddress && image_.segmentAt(address) != nullptr;
}

void CodeExplorer::findStubs() {
  for (const FileRange& range : image_.stubs) findStubsIn(range);
}

/// A stub is a short run of instructions that ends in a jump through an import's slot.
void CodeExplorer::findStubsIn(const FileRange& range) {
  std::uint64_t start = range.start;
  const ImportSlot* slot = nullptr;
  RegisterValues known = disassembler_.valuesInStubs();
  for (std::uint64_t address = range.start; address < range.end;) {
    const auto decoded = disassembler_.decode(address, false, known);
    const std::uint64_t next = address + (decoded ? decoded->size : 1U);
    if (!decoded || decoded->padding) {
      if (start == address) start = next;
      address = next;
      continue;
    }
    if (const ImportSlot* named = image_.importSlotAt(decoded->reference)) slot = named;
    if (endsBlock(decoded->flow)) {
      if (slot != nullptr && decoded->flow == Flow::kIndirectJump) {
        addEntry({start, false});
        if (isNeverReturning(slot->name)) neverReturning_.push_back(start);
      }
      slot = nullptr;
      start = next;
      known = disassembler_.valuesInStubs();
    }
    address = next;
  }
}

void CodeExplorer::findProceduresThatNeverReturn() {
  for (const Symbol& symbol : image_.symbols) {
    if (symbol.function && isNeverReturningInFile(symbol.name)) neverReturning_.push_back(symbol.address);
  }
  for (const ImportSlot& slot : image_.importSlots) {
    if (isNeverReturning(slot.name)) neverReturning_.push_back(slot.address);
  }
  std::ranges::sort(neverReturning_);
}

bool CodeExplorer::neverReturns(std::uint64_t callee) const {
  return std::ranges::binary_search(neverReturning_, callee);
}

bool CodeExplorer::isStub(std::uint64_t address) const {
  const auto after = std::ranges::upper_bound(image_.stubs, address, {}, &FileRange::start);
  return after != image_.stubs.begin() && address < std::prev(after)->end;
}

bool CodeExplorer::isMarkedAsData(std::uint64_t address) const {
  const auto after = std::ranges::upper_bound(image_.codeMarks, address, {}, &CodeMark::address);
  return after != image_.codeMarks.begin() && std::prev(after)->kind == CodeMark::Kind::kData;
}

void CodeExplorer::addEntry(Place place) {
  if (map_.addEntry(place.address)) entries_.push_back(place.address);
}

void CodeExplorer::addSymbols() {
  std::vector<Place> places;
  for (const std::uint64_t stub : entries_) places.push_back({stub, false});
  for (const Symbol& symbol : image_.symbols) {
    if (symbol.function) places.push_back({symbol.address, symbol.thumb});
  }
  if (image_.entryPoint != kNoAddress) places.push_back({image_.entryPoint, image_.entryIsThumb});
  for (const Place& place : places) addEntry(place);
  for (const Place& place : places) follow(place);
}

/// Decodes what lies within a function's size but could not be reached: what indirect jumps lead to.
void CodeExplorer::sweepSymbols() {
  std::uint64_t swept = 0;
  for (const Symbol& symbol : image_.symbols) {
    if (!symbol.function || symbol.size == 0 || !image_.isCode(symbol.address)) continue;
    const Segment* segment = image_.segmentAt(symbol.address);
    const std::uint64_t held = segment->start + segment->fileSize - symbol.address;
    const std::uint64_t end = symbol.address + std::min(symbol.size, held);
    const std::uint64_t step = symbol.thumb ? 2 : (image_.architecture >= Architecture::kArm ? 4 : 1);
    for (std::uint64_t address = std::max(symbol.address, swept); address < end; address += step) {
      if (!map_.isFree(address, 1)) continue;
      follow({address, symbol.thumb});
      // What cannot be decoded is data, or too new for the disassembler: only what is jumped to behind it is
      // sure.
      while (address < end && map_.isFree(address, 1)) address += step;
    }
    swept = std::max(swept, end);
  }
}

/// Procedures that nothing calls by name: their address is passed around, or stands in a table. What code
/// does comes first, for it tells most surely; a number in data that looks like a pointer may be the case of
/// a switch.
void CodeExplorer::addPointers() {
  addFormedAddresses();
  for (const std::uint64_t address : image_.codeAddresses) addUnlessKnown(placeOf(address));
  for (const Pointer& pointer : image_.pointers) addUnlessKnown(placeOf(pointer.to));
  addFormedAddresses();
  if (image_.positionIndependent) return;
  for (const FileRange& range : image_.data) addPointersIn(range);
  addFormedAddresses();
}

void CodeExplorer::addFormedAddresses() {
  // The list grows while new code is decoded.
  for (; formedDone_ < formedCodeAddresses_.size(); ++formedDone_) {
    const Place place = formedCodeAddresses_[formedDone_];
    addUnlessKnown(place);
  }
  followTables();
}

/// Where the loader relocates nothing, only their looks tell pointers from other numbers.
void CodeExplorer::addPointersIn(const FileRange& range) {
  const bool wide =
      image_.architecture == Architecture::kX8664 || image_.architecture == Architecture::kArm64;
  const std::uint64_t width = wide ? 8 : 4;
  for (std::uint64_t cell = (range.start + width - 1) / width * width; cell + width <= range.end;
       cell += width) {
    // Before it is filled in, an import's cell points back into the stubs.
    if (image_.importSlotAt(cell) != nullptr) continue;
    const auto pointer = bytes_.number(cell, width);
    if (pointer) addUnlessKnown(placeOf(*pointer));
  }
}

/// The lowest bit of a pointer to code says on 32-bit Arm that the code is Thumb.
CodeExplorer::Place CodeExplorer::placeOf(std::uint64_t pointer) const {
  if (image_.architecture != Architecture::kArm) return {pointer, false};
  return {pointer & ~std::uint64_t{1}, (pointer & 1) != 0};
}

void CodeExplorer::addUnlessKnown(Place place) {
  if (!map_.isFree(place.address, 1)) return;
  addEntry(place);
  follow(place);
}

void CodeExplorer::follow(Place place) {
  pending_.push_back(place);
  followPending();
}

void CodeExplorer::followPending() {
  while (!pending_.empty()) {
    const Place next = pending_.back();
    pending_.pop_back();
    followRun(next);
  }
}

void CodeExplorer::followRun(Place place) {
  Run run;
  if (isStub(place.address)) run.known = disassembler_.valuesInStubs();
  while (map_.isFree(place.address, 1) && !isMarkedAsData(place.address)) {
    std::optional<Decoded> decoded = disassembler_.decode(place.address, place.thumb, run.known);
    if (!decoded || !map_.isFree(place.address, decoded->size)) return;
    map_.take(place.address, decoded->size);
    decodedBytes_ += decoded->size;
    record(*decoded, run);
    report();
    if (!flowsOn(decoded->flow)) return;
    place.address += decoded->size;
  }
}

void CodeExplorer::record(Decoded& decoded, Run& run) {
  const Place target{decoded.target, decoded.targetIsThumb};
  if (decoded.flow == Flow::kCall || decoded.flow == Flow::kIndirectCall) {
    const bool direct = decoded.flow == Flow::kCall;
    if (direct) {
      addEntry(target);
      pending_.push_back(target);
    }
    if (neverReturns(direct ? decoded.target : decoded.reference)) decoded.flow = Flow::kLastCall;
  } else if (decoded.flow == Flow::kJump || decoded.flow == Flow::kBranch) {
    pending_.push_back(target);
  } else if (decoded.flow == Flow::kIndirectJump) {
    noteTable(decoded, run);
  }
  recordReferences(decoded);
  if (decoded.compared) run.compared = decoded.compared;
  if (isMapped(decoded.reference) && !image_.isCode(decoded.reference)) run.table = decoded.reference;
  if (decoded.stackBase != StackBase::kNone) {
    stackUses_.push_back({decoded.address, decoded.stackDisplacement, decoded.stackBase});
  }
  if (decoded.setsFramePointer) framePointerSetters_.push_back(decoded.address);
}

void CodeExplorer::recordReferences(const Decoded& decoded) {
  Instruction instruction{
      .address = decoded.address, .size = decoded.size, .flow = decoded.flow, .thumb = decoded.thumb};
  for (const std::uint64_t address : {decoded.target, decoded.reference, decoded.immediate}) {
    const bool isTarget = address == decoded.target;
    const bool formsCode = !isTarget && image_.isCode(address);
    const Place place = formsCode ? placeOf(address) : Place{address, false};
    if (!isMapped(place.address)) continue;
    references_.push_back({place.address, decoded.address});
    if (instruction.target == kNoAddress) instruction.target = place.address;
    if (formsCode) formedCodeAddresses_.push_back(place);
  }
  instructions_.push_back(instruction);
}

/// Notes the cases of a switch on x86-64: a bounded index into a table of distances from the table (position
/// independent code) or of addresses.
void CodeExplorer::noteTable(const Decoded& decoded, const Run& run) {
  if (image_.architecture != Architecture::kX8664 || !run.compared) return;
  const bool absolute = decoded.reference != kNoAddress;
  const std::uint64_t table = absolute ? decoded.reference : run.table;
  if (table == kNoAddress || image_.importSlotAt(table) != nullptr || *run.compared >= kMaxCases) return;
  pendingTables_.push_back({decoded.address, table, *run.compared + 1, absolute});
}

void CodeExplorer::followTables() {
  // The list grows while new code is decoded.
  while (!pendingTables_.empty()) {
    const JumpTable table = pendingTables_.back();
    pendingTables_.pop_back();
    followTable(table);
    followPending();
  }
}

/// A table may be shorter than the number that its index was compared with: it ends at what cannot be a case.
void CodeExplorer::followTable(const JumpTable& table) {
  const std::uint64_t width = table.absolute ? 8 : 4;
  for (std::uint64_t i = 0; i < table.cases && tableEntriesLeft_ > 0; ++i, --tableEntriesLeft_) {
    const auto entry = bytes_.number(table.start + i * width, width);
    if (!entry) return;
    const auto distance = static_cast<std::int32_t>(static_cast<std::uint32_t>(*entry));
    const std::uint64_t to = table.absolute ? *entry : offsetBy(table.start, distance);
    if (!image_.isCode(to) || (!map_.isFree(to, 1) && !map_.isStart(to))) return;
    tableJumps_.push_back({to, table.jump});
    references_.push_back({to, table.jump});
    pending_.push_back({to, false});
  }
}
