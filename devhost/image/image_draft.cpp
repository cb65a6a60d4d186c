#include "devhost/image/image_draft.h"

#include <algorithm>
#include <utility>

namespace {

/// Longest name that is kept, in bytes. Real mangled names stay well below it.
constexpr std::size_t kMaxNameBytes = 4096;

/// How often the bytes of a file may be mapped, all segments together. Honest files map them about once.
constexpr std::uint64_t kMaxMappings = 4;

}  // namespace

std::uint64_t addSaturated(std::uint64_t start, std::uint64_t size) {
  return size > kNoAddress - start ? kNoAddress : start + size;
}

std::string ImageDraft::name(std::string_view bytes) {
  bytes = bytes.substr(0, std::min<std::uint64_t>(kMaxNameBytes, nameBytesLeft_));
  std::string result(bytes.substr(0, bytes.find('\0')));
  nameBytesLeft_ -= result.size();
  std::ranges::replace_if(
      result, [](unsigned char byte) { return byte < 0x20 || byte == 0x7f; }, '?');
  return result;
}

void ImageDraft::addSegment(Segment segment) {
  segment.fileOffset = std::min(segment.fileOffset, fileSize);
  segment.fileSize = std::min({segment.fileSize, fileSize - segment.fileOffset, segment.end - segment.start});
  if (segment.start < segment.end) image.segments.push_back(std::move(segment));
}

void ImageDraft::settleSegments() {
  std::ranges::stable_sort(image.segments, {}, &Segment::start);
  std::vector<Segment> kept;
  for (Segment& segment : image.segments) {
    if (!kept.empty() && segment.start < kept.back().end) continue;
    kept.push_back(std::move(segment));
  }
  image.segments = std::move(kept);
}

void ImageDraft::addRange(std::vector<FileRange>& ranges, std::uint64_t start, std::uint64_t end) const {
  const Segment* segment = image.segmentAt(start);
  if (segment == nullptr) return;
  const std::uint64_t last = std::min(end, segment->start + segment->fileSize);
  if (start < last) ranges.push_back({start, last, segment->fileOffset + (start - segment->start)});
}

void ImageDraft::addSymbol(std::string_view name, std::uint64_t address, std::uint64_t size, bool function) {
  const bool thumb = function && image.architecture == Architecture::kArm && (address & 1) != 0;
  const std::uint64_t start = thumb ? address - 1 : address;
  if (image.segmentAt(start) == nullptr) return;
  image.symbols.push_back({this->name(name), start, size, function, thumb});
}

void ImageDraft::addImportSlot(std::uint64_t cell, std::string_view name) {
  std::string clean = this->name(name);
  if (!clean.empty()) image.importSlots.push_back({cell, std::move(clean)});
}

void ImageDraft::addPointer(std::uint64_t cell, std::uint64_t to) {
  if (image.segmentAt(cell) != nullptr && image.segmentAt(to) != nullptr)
    image.pointers.push_back({cell, to});
}

void settleRanges(std::vector<FileRange>& ranges) {
  std::ranges::sort(ranges, {}, &FileRange::start);
  std::vector<FileRange> kept;
  for (FileRange range : ranges) {
    const std::uint64_t free = kept.empty() ? 0 : kept.back().end;
    if (range.start < free) {
      range.fileOffset += free - range.start;
      range.start = free;
    }
    if (range.start < range.end) kept.push_back(range);
  }
  ranges = std::move(kept);
}

/// For a file without sections, or whose sections are no use: the segments say what is code and what is data.
void ImageDraft::addRangesOfSegments() {
  if (!image.code.empty()) return;
  for (const Segment& segment : image.segments) {
    addRange(segment.executable ? image.code : image.data, segment.start, segment.end);
  }
}

void ImageDraft::settle() {
  addRangesOfSegments();
  std::erase_if(image.data, [&](const FileRange& range) { return !image.segmentAt(range.start)->readable; });
  for (auto* ranges : {&image.code, &image.data, &image.stubs}) settleRanges(*ranges);
  for (Segment& segment : image.segments) std::ranges::stable_sort(segment.sections, {}, &Section::start);
  std::ranges::stable_sort(image.symbols, {}, &Symbol::address);
  std::ranges::stable_sort(image.importSlots, {}, &ImportSlot::address);
  // Before it is filled in, an import's cell points back into the stubs.
  std::erase_if(image.pointers,
                [&](const Pointer& pointer) { return image.importSlotAt(pointer.cell) != nullptr; });
  std::ranges::stable_sort(image.pointers, {}, &Pointer::cell);
  std::ranges::stable_sort(image.codeMarks, {}, &CodeMark::address);
  const auto sameSlot = [](const ImportSlot& left, const ImportSlot& right) {
    return left.address == right.address && left.name == right.name;
  };
  image.importSlots.erase(std::unique(image.importSlots.begin(), image.importSlots.end(), sameSlot),
                          image.importSlots.end());
  if (image.architecture == Architecture::kArm && image.entryPoint != kNoAddress) {
    image.entryIsThumb = (image.entryPoint & 1) != 0;
    image.entryPoint &= ~std::uint64_t{1};
  }
  if (!image.isCode(image.entryPoint)) image.entryPoint = kNoAddress;
}

bool ImageDraft::mapsTooMuch() const {
  std::uint64_t mapped = 0;
  for (const Segment& segment : image.segments) mapped += segment.fileSize;
  return mapped > kMaxMappings * fileSize;
}
