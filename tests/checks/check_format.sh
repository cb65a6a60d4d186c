#!/usr/bin/env bash
# All C++ of the repository has the format of .clang-format.
set -euo pipefail
find src devhost companion tests fuzz bench -name node_modules -prune -o \( -name '*.h' -o -name '*.cpp' \) -print0 |
  xargs -0 clang-format --dry-run -Werror
