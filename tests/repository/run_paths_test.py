#!/usr/bin/env python3
"""run_paths_test.py READELF FOLDER...

Looks at every executable and every library below the folders. Each element of their run paths must be an absolute
folder, or one that starts from where the file itself lies; to the loader, an empty one is the working directory.
"""

import os
import re
import subprocess
import sys


def elf_files(folder):
    for place, _, names in os.walk(folder):
        for name in names:
            path = os.path.join(place, name)
            if os.path.islink(path) or not os.access(path, os.X_OK) and ".so" not in name:
                continue
            with open(path, "rb") as file:
                if file.read(4) == b"\x7fELF":
                    yield path


def run_path(readelf, path):
    listing = subprocess.run([readelf, "--wide", "--dynamic", path], capture_output=True, text=True, check=False).stdout
    return re.findall(r"\((?:RPATH|RUNPATH)\)[^\n\[]*\[(.*)\]", listing)


def main():
    readelf, *folders = sys.argv[1:]
    files = [path for folder in folders for path in elf_files(folder)]
    wrong = [f"{path}: {text}" for path in files for text in run_path(readelf, path)
             if not all(element.startswith(("/", "$ORIGIN")) for element in text.split(":"))]
    for line in wrong:
        print(line, file=sys.stderr)
    print(f"{len(files)} executables and libraries, {len(wrong)} with a run path that leads anywhere")
    return 1 if wrong or not files else 0


if __name__ == "__main__":
    sys.exit(main())
