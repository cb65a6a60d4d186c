#!/usr/bin/env bash
# allocator_test.sh SERVER: mimalloc serves the allocations of the server and of the libraries behind it.
set -euo pipefail
server=$1
missing=0
# The loader resolves every name as for a start, says to which library, and does not run the program.
bindings=$(LD_TRACE_LOADED_OBJECTS=1 LD_BIND_NOW=1 LD_WARN=1 LD_DEBUG=bindings "$server" 2>&1)

# is_served FILE SYMBOL
is_served() {
  grep -Eq "binding file $1 .* to .*/libmimalloc\.so[^ ]* .* symbol .$2'" <<<"$bindings" && return
  echo "$2 of $1 is not mimalloc's" >&2
  missing=1
}

for symbol in _Znwm _ZdlPvm; do is_served "$server" $symbol; done
for symbol in malloc realloc free; do is_served '[^ ]*/libQt6Core\.so\.6' $symbol; done
is_served '[^ ]*/libstdc\+\+\.so\.6' malloc
exit $missing
