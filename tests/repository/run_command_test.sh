#!/usr/bin/env bash
# run_command_test.sh RUN: it lists its commands without arguments and when asked for help; what it does not know is
# refused.
set -euo pipefail
run=$1

fail() {
  echo "$1" >&2
  exit 1
}

listing=$("$run")
[ "$("$run" --help)" = "$listing" ] || fail "--help does not list the commands"
for command in demo test check clients; do
  grep -Eq "^  $command " <<<"$listing" || fail "'$command' is not listed"
done

status=0
message=$("$run" no-such-command 2>&1 >/dev/null) || status=$?
[ "$status" -eq 2 ] || fail "an unknown command ends with $status"
[ "$(wc -l <<<"$message")" -eq 1 ] || fail "an unknown command draws more than one line"
status=0
"$run" check no-such-part >/dev/null 2>&1 || status=$?
[ "$status" -eq 2 ] || fail "an unknown part of check ends with $status"
status=0
"$run" test too many >/dev/null 2>&1 || status=$?
[ "$status" -eq 2 ] || fail "arguments too many end with $status"
