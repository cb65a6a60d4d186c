#include "devhost/progress_line.h"

#include <sys/ioctl.h>

#include <limits>
#include <utility>

namespace {

constexpr std::chrono::milliseconds kSilentTime{1000};
constexpr std::chrono::milliseconds kTimeBetween{100};

/// To the line's first column, and everything behind it erased.
constexpr const char* kErase = "\r\x1b[K";

/// How many columns a line may have that does not run on in the next one, which would not be erased.
int columnsOf(std::FILE* terminal) {
  winsize size{};
  if (ioctl(fileno(terminal), TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
    return std::numeric_limits<int>::max();
  }
  // In the last column some terminals run on already.
  return size.ws_col - 1;
}

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
  const QString text =
      QStringLiteral("%1: %2 of %3 MiB of code, %4 procedures")
          .arg(fileName_, QString::number(static_cast<double>(decodedBytes) / kMebibyte, 'f', 1),
               QString::number(static_cast<double>(codeBytes) / kMebibyte, 'f', 1),
               QString::number(procedures));
  std::fprintf(output_, "%s%s", kErase, qPrintable(text.left(columnsOf(output_))));
  std::fflush(output_);
}
