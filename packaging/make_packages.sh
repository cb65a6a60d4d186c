#!/usr/bin/env bash
# Builds what is shipped and writes the packages into build/package: the Debian package, the self-contained archive,
# the MCP bundle, and SHA256SUMS.
set -euo pipefail

if [ $# -ne 0 ]; then
  echo "make_packages.sh: takes no arguments" >&2
  exit 2
fi
cd "$(dirname "$(readlink -f "$0")")/.."
source_folder=$PWD
package_folder=$PWD/build/package
build_folder=$package_folder/build     # CMake's
tool_folder=$package_folder/mcpb_tool  # npm's
bundle_folder=$package_folder/bundle   # becomes the MCP bundle

# What the tools print is shown only if they fail.
quietly() {
  local log
  log=$(mktemp)
  if ! "$@" >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    exit 1
  fi
  rm -f "$log"
}

build() {
  quietly cmake --preset release -B "$build_folder" -DORVANE_BUILD_TESTS=OFF
  quietly cmake --build "$build_folder"
}

make_archive_and_debian_package() {
  local packed=$package_folder/packed
  rm -rf "$packed"
  quietly cpack --config "$build_folder/CPackConfig.cmake" -B "$packed"
  mv "$packed"/*.tar.gz "$packed"/*.deb "$package_folder"
  rm -rf "$packed"
}

install_bundle_tool() {
  mkdir -p "$tool_folder"
  cp packaging/mcpb/{package.json,package-lock.json,.npmrc} "$tool_folder"
  # npm writes this file when an installation is complete.
  local installed=$tool_folder/node_modules/.package-lock.json
  [ "$installed" -nt "$source_folder/packaging/mcpb/package-lock.json" ] ||
    (cd "$tool_folder" && quietly npm ci --ignore-scripts --no-audit --no-fund)
}

make_bundle() {
  local archive=$1 mcpb=$tool_folder/node_modules/.bin/mcpb version
  version=$(sed -n 's/^set(CPACK_PACKAGE_VERSION "\(.*\)")$/\1/p' "$build_folder/CPackConfig.cmake")
  rm -rf "$bundle_folder"
  mkdir -p "$bundle_folder/server"
  tar -xf "$archive" -C "$bundle_folder/server" --strip-components=1
  packaging/mcpb/make_manifest.py "$bundle_folder" "$version"
  quietly "$mcpb" validate "$bundle_folder/manifest.json"
  quietly "$mcpb" pack "$bundle_folder" "${archive%.tar.gz}.mcpb"
}

mkdir -p "$package_folder"
rm -f "$package_folder"/{*.tar.gz,*.deb,*.mcpb,SHA256SUMS}
build
make_archive_and_debian_package
install_bundle_tool
make_bundle "$package_folder"/*.tar.gz
cd "$package_folder"
sha256sum -- *.deb *.mcpb *.tar.gz >SHA256SUMS
du -h -- *.deb *.mcpb *.tar.gz SHA256SUMS | sed "s|\t|\t${package_folder#"$source_folder"/}/|"
