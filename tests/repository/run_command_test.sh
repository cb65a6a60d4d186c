#!/usr/bin/env bash
# run_command_test.sh RUN: without arguments it lists its commands; an unknown one is refused.
set -euo pipefail
run=$1

fail() {
  echo "$1" >&2
  exit 1
}

listing=$("$run")
for command in demo test; do
  grep -Eq "^  $command " <<<"$listing" || fail "'$command' is not listed"
done

status=0
message=$("$run" no-such-command 2>&1 >/dev/null) || status=$?
[ "$status" -eq 2 ] || fail "an unknown command ends with $status"
[ "$(wc -l <<<"$message")" -eq 1 ] || fail "an unknown command draws more than one line"
status=0
"$run" test too many >/dev/null 2>&1 || status=$?
[ "$status" -eq 2 ] || fail "arguments too many end with $status"
