#!/usr/bin/env python3
"""plain_build_test.py SOURCE FOLDER GENERATOR

Configures as someone does who names no preset, for the build program that is there. What can be built is, and the rest
is left out with a word about the packages that bring it; but what is asked for by name and cannot be had is an error.
"""

import pathlib
import re
import shutil
import subprocess
import sys

SOURCE, FOLDER, GENERATOR = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3]
# As on a machine without them.
WITHOUT = ["-DCMAKE_DISABLE_FIND_PACKAGE_Capstone=ON", "-DCMAKE_DISABLE_FIND_PACKAGE_Editline=ON",
           "-DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON"]

# More than these may be missing.
LIST_WITH = "(?:[\\w+-]+ )*"

# What is asked for, how; the exit status, what matches the output, and what the cache holds then.
ROWS = [
    ("nothing by name", [], 0,
     [r"Built \(Release, hardened: ON\): the server",
      f"Not built: the companion orvane-mcp. Missing or too old: Debian's {LIST_WITH}libedit-dev",
      "Not built: the development host, which stands in for Orvane. "
      f"Missing or too old: Debian's {LIST_WITH}libcapstone-dev",
      f"Not built: the tests. Missing or too old: Debian's {LIST_WITH}libgtest-dev",
      "Not built: the fuzz targets, which come with the tests"],
     ["CMAKE_BUILD_TYPE:STRING=Release\n", "ORVANE_HARDENED:BOOL=ON\n"]),
    ("another build type", ["-DCMAKE_BUILD_TYPE=Debug"], 0, [r"Built \(Debug, hardened: OFF\): the server"], []),
    ("the companion", ["-DORVANE_BUILD_COMPANION=ON"], 1,
     [f"ORVANE_BUILD_COMPANION is ON, but what it needs is missing or too old: Debian's {LIST_WITH}libedit-dev"], []),
    ("the fuzz targets", ["-DORVANE_BUILD_FUZZERS=ON"], 1,
     [r"ORVANE_BUILD_FUZZERS is ON, but .*: Debian's .*(libgtest|nlohmann-json3)-dev"], []),
    ("the tests", ["-DORVANE_BUILD_TESTS=ON"], 1, [f"is missing or too old: Debian's {LIST_WITH}libgtest-dev"], []),
]


def faults_of(name, options, status, words, cached):
    shutil.rmtree(FOLDER, ignore_errors=True)
    done = subprocess.run(["cmake", "-G", GENERATOR, "-S", SOURCE, "-B", FOLDER, *WITHOUT, *options],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    output = " ".join(done.stdout.split())
    if done.returncode != status:
        yield f"ends with {done.returncode}: {done.stdout}"
    yield from (f"does not say {text!r}: {done.stdout}" for text in words if not re.search(text, output))
    cache = (FOLDER / "CMakeCache.txt").read_text()
    yield from (f"does not set {text!r}" for text in cached if text not in cache)


def main():
    faults = [f"{row[0]}: {fault}" for row in ROWS for fault in faults_of(*row)]
    for fault in faults:
        print(fault, file=sys.stderr)
    shutil.rmtree(FOLDER, ignore_errors=True)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
