#!/usr/bin/env python3
"""version_test.py SOURCE BUILD VERSION: every place that shows a version of the project shows VERSION.

Places that take it from CMake are looked at as they were built, the written ones as they are. The version in the
server's greeting is not among them: it is part of the protocol.
"""

import os
import re
import subprocess
import sys
from pathlib import Path

SOURCE, BUILD, VERSION = Path(sys.argv[1]), Path(sys.argv[2]), sys.argv[3]
VERSION_PATTERN = r"(\d+\.\d+\.\d+)"

# Built files: where, and what stands around the version.
BUILT = [
    ("packaging/man/*.1", rf'^\.TH \S+ 1 "" "OrvaneMCPServer {VERSION_PATTERN}"'),
    ("CPackConfig.cmake", rf'^set\(CPACK_PACKAGE_VERSION "{VERSION_PATTERN}"\)'),
    ("CPackConfig.cmake", rf'^set\(CPACK_PACKAGE_FILE_NAME "OrvaneMCPServer-{VERSION_PATTERN}-'),
]
# Written files that name the package.
QUOTED = [rf"orvane-mcp-server_{VERSION_PATTERN}_"]
QUOTING = ["README.md", "docs", "tests", "bench", "packaging"]
# Folders that others fill.
FOREIGN_FOLDERS = {"node_modules", "__pycache__"}


def files_under(path):
    if path.is_file():
        yield path
    for folder, folders, names in os.walk(path):
        folders[:] = sorted(set(folders) - FOREIGN_FOLDERS)
        yield from (Path(folder, name) for name in sorted(names))


def shown_versions():
    """Pairs of place and version."""
    companion = BUILD / "companion/orvane-mcp"
    if companion.exists():
        said = subprocess.run([companion, "--version"], check=True, capture_output=True, text=True).stdout
        yield "orvane-mcp --version", said.removeprefix("orvane-mcp ").rstrip("\n")
    newest = re.search(r"^## (\S+)", (SOURCE / "CHANGELOG.md").read_text(), re.MULTILINE)
    yield "the newest entry of CHANGELOG.md", newest and newest[1]
    for pattern, words in BUILT:
        files = list(BUILD.glob(pattern))
        if not files:
            yield pattern, "no such file"
        for file in files:
            found = re.search(words, file.read_text(), re.MULTILINE)
            yield str(file), found and found[1]
    for place in QUOTING:
        for file in files_under(SOURCE / place):
            text = file.read_text(errors="replace")
            yield from ((str(file), version) for words in QUOTED for version in re.findall(words, text))


def main():
    places = list(shown_versions())
    wrong = [f"{place} shows {version}" for place, version in places if version != VERSION]
    for line in wrong:
        print(line, file=sys.stderr)
    print(f"{len(places) - len(wrong)} of {len(places)} places show {VERSION}")
    sys.exit(1 if wrong else 0)


main()
