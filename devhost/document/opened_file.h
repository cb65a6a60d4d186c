#pragma once

#include "devhost/code/analysis.h"
#include "devhost/image/binary_image.h"

#include <QString>

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

/// An executable file with all that was found out about it.
struct OpenedFile {
  std::vector<std::uint8_t> bytes;
  BinaryImage image;
  Analysis analysis;
};

/// Largest file that is opened, in bytes. Analysis needs several times the size in memory.
inline constexpr std::int64_t kMaxFileBytes = std::int64_t{512} << 20;

/// Longest time that parsing and analysing one file may take. Ordinary libraries need a second or two.
struct OpenTimeLimits {
  /// Of the processor: how busy the machine is with other things does not matter.
  std::chrono::milliseconds processor = std::chrono::seconds(60);
  /// By the clock, for what waits without end and uses no processor.
  std::chrono::milliseconds clock = std::chrono::minutes(10);
};

/// Most memory that reading and analysing one file may take, in bytes.
inline constexpr std::uint64_t kOpenMemoryLimit = std::uint64_t{8} << 30;

/// Opens the executable at `path`.
///
/// Parsing and analysis run in a child process of this file alone, which hands back plain data: a file that
/// makes a parser crash, loop or exhaust memory is refused, and nothing else happens. The child ends with
/// this process, also when that is killed, and at either of `limits`. Returns nothing for a file that is
/// refused; `error` is then one line that begins with the path. Blocks; `progress`, if there is any, is told
/// ten times a second how far the analysis is. Must be called while the process has one thread.
std::optional<OpenedFile> openFile(const QString& path, QString& error,
                                   const AnalysisProgress& progress = nullptr,
                                   const OpenTimeLimits& limits = {});
