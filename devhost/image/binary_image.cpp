#include "devhost/image/binary_image.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <iterator>

const Segment* BinaryImage::segmentAt(std::uint64_t address) const {
  auto after = std::ranges::upper_bound(segments, address, {}, &Segment::start);
  if (after == segments.begin()) return nullptr;
  --after;
  return address < after->end ? &*after : nullptr;
}

const ImportSlot* BinaryImage::importSlotAt(std::uint64_t address) const {
  const auto slot = std::ranges::lower_bound(importSlots, address, {}, &ImportSlot::address);
  return slot != importSlots.end() && slot->address == address ? &*slot : nullptr;
}

bool BinaryImage::isCode(std::uint64_t address) const {
  const auto after = std::ranges::upper_bound(code, address, {}, &FileRange::start);
  return after != code.begin() && address < std::prev(after)->end;
}

std::span<const std::uint8_t> MappedBytes::from(std::uint64_t address) const {
  const Segment* segment = image_->segmentAt(address);
  if (segment == nullptr || address - segment->start >= segment->fileSize) return {};
  const std::uint64_t skipped = address - segment->start;
  return file_.subspan(segment->fileOffset + skipped, segment->fileSize - skipped);
}

std::optional<std::uint64_t> MappedBytes::number(std::uint64_t address, std::size_t size) const {
  static_assert(std::endian::native == std::endian::little);
  const std::span<const std::uint8_t> bytes = from(address);
  if (bytes.size() < size || size > sizeof(std::uint64_t)) return std::nullopt;
  std::uint64_t value = 0;
  std::memcpy(&value, bytes.data(), size);
  return value;
}
