#include "devhost/code/strings.h"

#include <algorithm>
#include <cstdint>
#include <span>

namespace {

using Bytes = std::span<const std::uint8_t>;

bool isPrintable(std::uint32_t character) {
  return (character >= 0x20 && character < 0x7f) || character == '\t' || character == '\n' ||
         character == '\r';
}

/// Letters and signs of western languages.
bool isLatin1(std::uint32_t character) {
  return character >= 0xa0 && character < 0x100;
}

/// How many printable characters `bytes` begin with.
std::size_t narrowLength(Bytes bytes) {
  return static_cast<std::size_t>(std::ranges::find_if_not(bytes, isPrintable) - bytes.begin());
}

/// A run of characters in UTF-16.
struct WideRun {
  std::size_t length = 0;  ///< in characters
  bool isString =
      false;  ///< a zero closes it, and at least half are ASCII: tables of small numbers look much the same
};

WideRun wideRunIn(Bytes bytes) {
  WideRun run;
  std::size_t ascii = 0;
  for (; 2 * run.length + 1 < bytes.size(); ++run.length) {
    const std::size_t at = 2 * run.length;
    const std::uint32_t unit = bytes[at] | static_cast<std::uint32_t>(bytes[at + 1]) << 8U;
    run.isString = unit == 0 && run.length >= kMinStringLength && 2 * ascii >= run.length;
    if (!isPrintable(unit) && !isLatin1(unit)) return run;
    if (isPrintable(unit)) ++ascii;
  }
  run.isString = false;
  return run;
}

}  // namespace

void collectStringsIn(Analysis& analysis, const FileRange& range, const MappedBytes& bytes) {
  const Bytes held = bytes.from(range.start);
  const Bytes all = held.first(std::min<std::size_t>(held.size(), range.end - range.start));
  std::size_t nextWide = 0;  // a run of UTF-16 that is no string is none from within either
  for (std::size_t i = 0; i < all.size();) {
    const Bytes rest = all.subspan(i);
    if (const std::size_t length = narrowLength(rest); length >= kMinStringLength) {
      analysis.strings.push_back({range.start + i, length});
      i += length + 1;
      continue;
    }
    WideRun run;
    if (i >= nextWide && (range.start + i) % 2 == 0) run = wideRunIn(rest);
    if (run.isString) {
      analysis.strings.push_back({range.start + i, 2 * run.length, true});
      i += 2 * run.length + 2;
    } else {
      nextWide = std::max(nextWide, i + 2 * run.length);
      i += 1;
    }
  }
}
