#pragma once

#include <string>

/// What an executable file is, as far as the file itself tells.
enum class ProgramKind {
  kDynamic,  ///< the dynamic loader brings it its shared libraries
  kStatic,   ///< it needs no shared libraries
  kScript,   ///< text that names its interpreter
  kUnknown,  ///< no program for this machine, or one that cannot be read; see ProgramFile::reason
};

struct ProgramFile {
  ProgramKind kind = ProgramKind::kUnknown;
  std::string loader = {};  ///< path of the loader, for kDynamic
  std::string reason = {};  ///< why the kind is unknown: what the file is or lacks
};

/// Looks into the file at `path`. Nothing of it runs.
ProgramFile inspectProgram(const std::string& path);
