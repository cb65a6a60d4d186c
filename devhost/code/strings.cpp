#include "devhost/code/strings.h"

#include <algorithm>
#include <cstdint>
#include <span>

namespace {

bool isPrintable(std::uint8_t byte) {
  return (byte >= 0x20 && byte < 0x7f) || byte == '\t' || byte == '\n' || byte == '\r';
}

}  // namespace

void collectStringsIn(Analysis& analysis, const FileRange& range, const MappedBytes& bytes) {
  const std::span<const std::uint8_t> all = bytes.from(range.start);
  const std::size_t size = std::min<std::size_t>(all.size(), range.end - range.start);
  std::size_t start = 0;
  for (std::size_t i = 0; i <= size; ++i) {
    if (i < size && isPrintable(all[i])) continue;
    if (i - start >= kMinStringLength) analysis.strings.push_back({range.start + start, i - start});
    start = i + 1;
  }
}
