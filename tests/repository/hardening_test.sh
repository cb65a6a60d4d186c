#!/usr/bin/env bash
# hardening_test.sh READELF PROGRAM SOURCES COMPILE_COMMANDS [OPTION...]: the executable carries every defence it is
# built with, and every file of the folder SOURCES was compiled with them and with each OPTION, which not every compiler
# has.
set -euo pipefail
readelf=$1 program=$2 sources=$3 compile_commands=$4
shift 4
missing=0

# holds WHAT PATTERN TEXT
holds() {
  grep -Eq -- "$2" <<<"$3" && return
  echo "missing: $1" >&2
  missing=1
}

header=$("$readelf" --wide --file-header "$program")
segments=$("$readelf" --wide --program-headers "$program")
dynamic=$("$readelf" --wide --dynamic "$program")
symbols=$("$readelf" --wide --dyn-syms "$program")
notes=$("$readelf" --wide --notes "$program")

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

# These leave no mark of their own in the executable, or not one for all of it: what every file was compiled with.
options=(-D_FORTIFY_SOURCE=3 -fstack-protector-strong "$@")
case $header in
  *X86-64*) options+=(-fcf-protection=full -fstack-clash-protection) ;;
  *AArch64*) options+=(-mbranch-protection=standard) ;;
esac
python3 - "$compile_commands" "$sources" "${options[@]}" <<'PYTHON' || missing=1
import json, sys
found = missing = False
for entry in json.load(open(sys.argv[1])):
    if entry["file"].startswith(sys.argv[2] + "/"):
        found = True
        for flag in sys.argv[3:]:
            if flag not in entry["command"].split():
                print(f"missing: {flag} for {entry['file']}", file=sys.stderr)
                missing = True
sys.exit(missing or not found)
PYTHON
exit $missing
