#pragma once

#include <QString>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>

/// One line that shows on a terminal how far the analysis of a file is, and goes away with this object. Work
/// that is done within a second shows nothing.
class ProgressLine {
 public:
  using Clock = std::chrono::steady_clock;

  /// Writes to `output`, or nothing if that is null. `now` tells the time.
  ProgressLine(std::FILE* output, const QString& fileName,
               std::function<Clock::time_point()> now = Clock::now);
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  void show(std::uint64_t decodedBytes, std::uint64_t codeBytes, std::size_t procedures);

 private:
  std::FILE* output_;
  const QString fileName_;
  const std::function<Clock::time_point()> now_;
  Clock::time_point next_;  ///< when it is written again
  bool isShown_ = false;
};
