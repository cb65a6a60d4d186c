#!/usr/bin/env bash
# hardening_test.sh READELF SERVER COMPILE_COMMANDS: the executable carries every defence it is built with.
set -euo pipefail
readelf=$1 server=$2 compile_commands=$3
missing=0

# holds WHAT PATTERN TEXT
holds() {
  grep -Eq -- "$2" <<<"$3" && return
  echo "missing: $1" >&2
  missing=1
}

header=$("$readelf" --wide --file-header "$server")
segments=$("$readelf" --wide --program-headers "$server")
dynamic=$("$readelf" --wide --dynamic "$server")
symbols=$("$readelf" --wide --dyn-syms "$server")
notes=$("$readelf" --wide --notes "$server")

holds "position independence" 'Type: +DYN' "$header"
holds "position independent executable" 'FLAGS_1.* PIE' "$dynamic"
holds "relocations made read-only" 'GNU_RELRO' "$segments"
holds "immediate binding" 'FLAGS_1.* NOW' "$dynamic"
holds "a stack that is not executable" 'GNU_STACK .* RW +0x' "$segments"
holds "stack protector" '__stack_chk_fail' "$symbols"
holds "checked library calls" '__[a-z]+_chk@' "$symbols"
if grep -q X86-64 <<<"$header"; then
  holds "control-flow protection: the shadow stack" 'x86 feature: .*SHSTK' "$notes"
fi

# These leave no mark of their own in the executable, or not one for all of it: what every file of src/ was compiled
# with.
python3 - "$compile_commands" $(grep -q X86-64 <<<"$header" && echo -fcf-protection=full) <<'PYTHON' || missing=1
import json, sys
missing = False
for entry in json.load(open(sys.argv[1])):
    if "/src/" in entry["file"]:
        for flag in ("-D_FORTIFY_SOURCE=3", "-fstack-clash-protection", "-fstack-protector-strong", *sys.argv[2:]):
            if flag not in entry["command"].split():
                print(f"missing: {flag} for {entry['file']}", file=sys.stderr)
                missing = True
sys.exit(missing)
PYTHON
exit $missing
