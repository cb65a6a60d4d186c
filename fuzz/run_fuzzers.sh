#!/usr/bin/env bash
# Builds the fuzz targets with libFuzzer (preset "fuzz"; needs clang) and runs each for a while.
#
#   fuzz/run_fuzzers.sh [SECONDS] [TARGET...]
#
# SECONDS is the time for each target, 60 unless given; TARGET is one of those below, all unless given.
# What is learnt is kept in build/fuzz/corpus, what is found in build/fuzz/findings; the corpus that is checked
# in is only read. Exit status: 0 without findings, 1 with, 2 for a bad argument or a failed build.
set -euo pipefail
shopt -s nullglob

cd "$(dirname "$0")/.."
readonly all_targets=(json_parse json_round_trip json_agreement message_lines host_reply)
readonly build=build/fuzz
# The longest host reply that can be announced is 2 GiB, and its storage is allocated in one step.
readonly limits=(-timeout=10 -rss_limit_mb=2048 -malloc_limit_mb=4096)

refuse() {
  echo "run_fuzzers.sh: $1" >&2
  exit 2
}

seconds=60
if [[ ${1-} =~ ^[0-9]+$ ]]; then
  seconds=$1
  shift
fi
[[ $seconds =~ ^[1-9][0-9]{0,5}$ ]] || refuse "SECONDS must be from 1 to 999999, not \"$seconds\""
targets=("${@:-${all_targets[@]}}")
for target in "${targets[@]}"; do
  [[ " ${all_targets[*]} " == *" $target "* ]] || refuse "no target \"$target\" (targets: ${all_targets[*]})"
done

build_targets() {
  cmake --preset fuzz && cmake --build --preset fuzz
}
mkdir -p "$build"
build_targets > "$build/build.log" 2>&1 || { cat "$build/build.log" >&2; refuse "the build failed"; }

# Sockets of the targets; they do not tidy up when libFuzzer ends them.
TMPDIR=$(mktemp -d "${TMPDIR:-/tmp}/orvane-fuzz-XXXXXX")
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT

# The last value of a word such as "cov:" or "stat::average_exec_per_sec:" in a log of libFuzzer.
last_value() {
  awk -v word="$2" '{ for (i = 1; i < NF; ++i) if ($i == word) value = $(i + 1) } END { print value == "" ? "?" : value }' "$1"
}

run_target() {
  local target=$1 log=$build/log/$1.txt
  local learnt=$build/corpus/$1 findings=$build/findings/$1
  local corpus=fuzz/corpus/$1
  # The three targets that read JSON share theirs.
  [[ $target != json_* ]] || corpus=fuzz/corpus/json
  mkdir -p "$build/log" "$learnt" "$findings"
  "$build/fuzz/fuzz_$target" -max_total_time="$seconds" "${limits[@]}" -dict=fuzz/json.dict \
    -artifact_prefix="$findings/" -print_final_stats=1 "$learnt" "$corpus" > "$log" 2>&1
}

row() {
  printf '%-16s %12s %8s %8s %8s  %s\n' "$@"
}

status=0
row target executions exec/s cov ft findings
for target in "${targets[@]}"; do
  outcome=none
  run_target "$target" || outcome="ended badly: $build/log/$target.txt"
  found=("$build/findings/$target"/*)
  [[ ${#found[@]} -eq 0 ]] || outcome="${found[*]}"
  [[ $outcome == none ]] || status=1
  log=$build/log/$target.txt
  row "$target" "$(last_value "$log" stat::number_of_executed_units:)" \
    "$(last_value "$log" stat::average_exec_per_sec:)" "$(last_value "$log" cov:)" "$(last_value "$log" ft:)" "$outcome"
done
exit "$status"
