#!/usr/bin/env python3
"""building_page_test.py ROOT

docs/building.md has a row for each option of the build and no others, and names each Debian package that
cmake/parts.cmake and the "build" and "companion" rows of ./run ask for.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1])
PARTS = (ROOT / "cmake/parts.cmake").read_text()


def options():
    for part in re.findall(r'^  "([A-Z]+) +\w.* (?:AUTO|ON|OFF)"', PARTS, re.MULTILINE):
        yield f"ORVANE_BUILD_{part}"
    for folder in ["cmake", "fuzz", "packaging", "tests"]:
        for file in [*(ROOT / folder).glob("**/*.cmake"), *(ROOT / folder).glob("**/CMakeLists.txt")]:
            yield from re.findall(r"^(?:option|set)\((ORVANE_\w+) (?:\"|[^)]* CACHE )", file.read_text(), re.MULTILINE)


def packages():
    yield from re.findall(r'^  "\w+ +(?:package|header|program) .* (\S+)"', PARTS, re.MULTILINE)
    for package, needed_by in re.findall(r'^  "([^|"]+)\|([^|"]+)\|', (ROOT / "run").read_text(), re.MULTILINE):
        if {"build", "companion"} & set(needed_by.split()):
            yield package


def main():
    page = (ROOT / "docs/building.md").read_text()
    rows = "\n".join(line for line in page.splitlines() if line.startswith("|"))
    named = set(re.findall(r"^\| `(ORVANE_\w+)`", rows, re.MULTILINE))
    known, wanted = set(options()), sorted(set(packages()))
    faults = [f"has no row for the option {name}" for name in sorted(known - named)]
    faults += [f"has a row for {name}, which is no option" for name in sorted(named - known)]
    faults += [f"does not name the package {name}" for name in wanted if f"`{name}`" not in rows]
    for fault in faults:
        print(f"docs/building.md {fault}", file=sys.stderr)
    print(f"{len(known)} options, {len(wanted)} packages")
    return 1 if faults or len(wanted) < 10 else 0


if __name__ == "__main__":
    sys.exit(main())
