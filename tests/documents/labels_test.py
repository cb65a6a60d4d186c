#!/usr/bin/env python3
"""labels_test.py BUILD_FOLDER

tests/README.md describes every label that the build's tests have, and names every folder of tests/.
"""

import re
import subprocess
import sys

from example_session import HERE

ROOT = HERE.parent.parent


def main():
    printed = subprocess.run(["ctest", "--test-dir", sys.argv[1], "--print-labels"], check=True, capture_output=True,
                             text=True).stdout
    labels = re.findall(r"^  (\S+)$", printed, re.MULTILINE)
    page = (ROOT / "tests/README.md").read_text()
    unknown = [label for label in labels if f"\n| `{label}` |" not in page]
    for label in unknown:
        print(f"tests/README.md does not have the label {label}", file=sys.stderr)
    folders = {path.relative_to(ROOT / "tests").parts[0] for path in (ROOT / "tests").glob("*/CMakeLists.txt")}
    folders |= {path.parent.name for path in (ROOT / "tests").glob("*/run_*")}
    unnamed = [folder for folder in sorted(folders) if f"`{folder}`" not in page]
    for folder in unnamed:
        print(f"tests/README.md does not name the folder {folder}", file=sys.stderr)
    print(f"{len(labels) - len(unknown)} of {len(labels)} labels, {len(folders) - len(unnamed)} of {len(folders)} folders")
    return 1 if unknown or unnamed or not labels else 0


if __name__ == "__main__":
    sys.exit(main())
