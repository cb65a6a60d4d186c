#include "devhost/progress_line.h"

#include <utility>

namespace {

constexpr std::chrono::milliseconds kSilentTime{1000};
constexpr std::chrono::milliseconds kTimeBetween{100};

/// To the line's first column, and everything behind it erased.
constexpr const char* kErase = "\r\x1b[K";

}  // namespace

ProgressLine::ProgressLine(std::FILE* output, const QString& fileName, std::function<Clock::time_point()> now)
    : output_(output), fileName_(fileName), now_(std::move(now)), next_(now_() + kSilentTime) {}

ProgressLine::~ProgressLine() {
  if (!isShown_) return;
  std::fputs(kErase, output_);
  std::fflush(output_);
}

void ProgressLine::show(std::uint64_t decodedBytes, std::uint64_t codeBytes, std::size_t procedures) {
  if (output_ == nullptr || now_() < next_) return;
  next_ = now_() + kTimeBetween;
  isShown_ = true;
  constexpr double kMebibyte = 1 << 20;
  std::fprintf(output_, "%s%s: %.1f of %.1f MiB of code, %zu procedures", kErase, qPrintable(fileName_),
               static_cast<double>(decodedBytes) / kMebibyte, static_cast<double>(codeBytes) / kMebibyte,
               procedures);
  std::fflush(output_);
}
