#include "devhost/code/data_references.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>
#include <vector>

namespace {

/// Fewest distances that make a table: a single one may be any number.
constexpr std::size_t kMinDistances = 2;

constexpr std::uint64_t kDistanceBytes = 4;

class DataReferences {
 public:
  DataReferences(Analysis& analysis, const BinaryImage& image, const MappedBytes& bytes)
      : analysis_(analysis), image_(image), bytes_(bytes) {}

  void collect() {
    for (const Pointer& pointer : image_.pointers) add(pointer.cell, placeOf(pointer.to));
    if (!image_.positionIndependent) {
      for (const FileRange& range : image_.data) addNumbersIn(range);
    }
    addTables();
    const auto order = [](const Reference& reference) { return std::pair(reference.to, reference.from); };
    sortAndDropRepeats(analysis_.references, order);
  }

 private:
  /// The lowest bit of a pointer to code says on 32-bit Arm that the code is Thumb.
  std::uint64_t placeOf(std::uint64_t pointer) const {
    const bool mayBeThumb = image_.architecture == Architecture::kArm && image_.isCode(pointer);
    return mayBeThumb ? pointer & ~std::uint64_t{1} : pointer;
  }

  void add(std::uint64_t cell, std::uint64_t to) {
    if (!image_.isCode(cell)) analysis_.references.push_back({to, cell});
  }

  bool isStringStart(std::uint64_t address) const {
    const StringAt* string = analysis_.stringAt(address);
    return string != nullptr && string->address == address;
  }

  bool isNamed(std::uint64_t address) const {
    return std::ranges::binary_search(analysis_.names, address, {}, &NameAt::address);
  }

  void addNumbersIn(const FileRange& range) {
    const bool wide =
        image_.architecture == Architecture::kX8664 || image_.architecture == Architecture::kArm64;
    const std::uint64_t width = wide ? 8 : 4;
    for (std::uint64_t cell = (range.start + width - 1) / width * width; cell + width <= range.end;
         cell += width) {
      const auto number = bytes_.number(cell, width);
      if (!number || *number == 0 || image_.importSlotAt(cell) != nullptr) continue;
      const std::uint64_t to = placeOf(*number);
      if (isNamed(to) || isStringStart(to)) add(cell, to);
    }
  }

  /// What code refers to in data may be the start of a table. Each ends where the next begins.
  void addTables() {
    std::vector<std::uint64_t> starts;
    for (const Reference& reference : analysis_.references) {
      if (image_.isCode(reference.from) && isData(reference.to)) starts.push_back(reference.to);
    }
    sortAndDropRepeats(starts);
    for (std::size_t i = 0; i < starts.size(); ++i) {
      const std::uint64_t end = i + 1 < starts.size() ? starts[i + 1] : kNoAddress;
      if (isStringStart(starts[i])) continue;
      addTable(starts[i], end, [start = starts[i]](std::uint64_t) { return start; });
      addTable(starts[i], end, [](std::uint64_t cell) { return cell; });
    }
  }

  bool isData(std::uint64_t address) const {
    const auto after = std::ranges::upper_bound(image_.data, address, {}, &FileRange::start);
    return after != image_.data.begin() && address < std::prev(after)->end;
  }

  /// `baseOf` tells from where the distance in a cell counts.
  template <typename Base>
  void addTable(std::uint64_t start, std::uint64_t end, Base baseOf) {
    std::vector<Reference> found;
    for (std::uint64_t cell = start; cell < end && isData(cell); cell += kDistanceBytes) {
      const auto number = bytes_.number(cell, kDistanceBytes);
      if (!number) break;
      const auto distance = static_cast<std::int32_t>(static_cast<std::uint32_t>(*number));
      const std::uint64_t to = offsetBy(baseOf(cell), distance);
      if (!isStringStart(to) && !analysis_.instructionFrom(to)) break;
      found.push_back({to, cell});
    }
    if (found.size() < kMinDistances) return;
    analysis_.references.insert(analysis_.references.end(), found.begin(), found.end());
  }

  Analysis& analysis_;
  const BinaryImage& image_;
  const MappedBytes& bytes_;
};

}  // namespace

void collectDataReferences(Analysis& analysis, const BinaryImage& image, const MappedBytes& bytes) {
  DataReferences(analysis, image, bytes).collect();
}
