#!/usr/bin/env bash
# Builds what is shipped and writes the packages into build/package: the Debian packages, the self-contained archive,
# the MCP bundle (but with --without-bundle), and SHA256SUMS.
set -euo pipefail

if [ $# -gt 1 ] || [ "${1:---without-bundle}" != --without-bundle ]; then
  echo "make_packages.sh: takes nothing or --without-bundle" >&2
  exit 2
fi
cd "$(dirname "$(readlink -f "$0")")/.."
source_folder=$PWD
package_folder=$PWD/build/package
# Two builds of one commit give the same bytes: every date is the commit's.
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)}
export SOURCE_DATE_EPOCH
umask 022
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
  quietly cmake --preset release -B "$build_folder" -DORVANE_BUILD_TESTS=OFF \
    ${ORVANE_PACKAGE_CONTACT:+"-DORVANE_PACKAGE_CONTACT=$ORVANE_PACKAGE_CONTACT"}
  quietly cmake --build "$build_folder"
}

make_archive_and_debian_packages() {
  local packed=$package_folder/packed
  rm -rf "$packed"
  quietly cpack --config "$build_folder/CPackConfig.cmake" -B "$packed"
  quietly lintian --allow-root --fail-on error "$packed"/*.deb
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
make_archive_and_debian_packages
if [ $# -eq 0 ]; then
  install_bundle_tool
  make_bundle "$package_folder"/*.tar.gz
fi
cd "$package_folder"
shopt -s nullglob
made=(*.deb *.mcpb *.tar.gz)
sha256sum -- "${made[@]}" >SHA256SUMS
du -h -- "${made[@]}" SHA256SUMS | sed "s|\t|\t${package_folder#"$source_folder"/}/|"
