#include "devhost/code/code_map.h"

#include <algorithm>

CodeMap::CodeMap(const BinaryImage& image) {
  for (const FileRange& range : image.code) {
    const std::vector<bool> none(range.end - range.start);
    areas_.push_back({range, none, none, none});
  }
}

CodeMap::Area* CodeMap::areaAt(std::uint64_t address) {
  const auto holds = [address](const Area& area) {
    return address >= area.range.start && address < area.range.end;
  };
  if (latest_ < areas_.size() && holds(areas_[latest_])) return &areas_[latest_];
  auto after =
      std::ranges::upper_bound(areas_, address, {}, [](const Area& area) { return area.range.start; });
  if (after == areas_.begin() || !holds(*--after)) return nullptr;
  latest_ = static_cast<std::size_t>(after - areas_.begin());
  return &*after;
}

bool CodeMap::isFree(std::uint64_t address, std::size_t size) {
  const Area* area = areaAt(address);
  if (area == nullptr || size > area->range.end - address) return false;
  const auto first = area->taken.begin() + static_cast<std::ptrdiff_t>(address - area->range.start);
  return std::find(first, first + static_cast<std::ptrdiff_t>(size), true) ==
         first + static_cast<std::ptrdiff_t>(size);
}

void CodeMap::take(std::uint64_t address, std::size_t size) {
  Area* area = areaAt(address);
  std::fill_n(area->taken.begin() + static_cast<std::ptrdiff_t>(address - area->range.start), size, true);
  area->starts[address - area->range.start] = true;
}

bool CodeMap::isStart(std::uint64_t address) {
  const Area* area = areaAt(address);
  return area != nullptr && area->starts[address - area->range.start];
}

bool CodeMap::addEntry(std::uint64_t address) {
  Area* area = areaAt(address);
  if (area == nullptr || area->entries[address - area->range.start]) return false;
  area->entries[address - area->range.start] = true;
  return true;
}
