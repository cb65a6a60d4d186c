#!/usr/bin/env python3
"""tidy_together.py COMPILE_COMMANDS SOURCE...

Lets clang-tidy read the sources, which are named from the top of the repository, as one translation unit: their
headers, which are most of what it reads, are then read once. So names that a source keeps to itself must be unique
among them.
"""

import json
import pathlib
import shlex
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
# What makes the analyzer look into the included sources as into the one that includes them. Its deep mode takes four
# times as long and has found nothing more here.
ANALYZER = ["-analyzer-opt-analyze-headers", "-analyzer-config", "mode=shallow"]


def flags_by_source(compile_commands):
    """For each source that is compiled, what its compiler is told about definitions, folders of headers, the language."""
    flags = {}
    for entry in json.loads(compile_commands.read_text()):
        source = pathlib.Path(entry["file"])
        words = shlex.split(entry["command"])
        made = ROOT / words[words.index("-o") + 1]
        # Tests may build a source once more, in a way of their own.
        if made.is_relative_to(source.parent):
            flags[source] = [word for word in words if word.startswith(("-D", "-I", "-std="))]
            flags[source] += [f"-isystem{folder}" for word, folder in zip(words, words[1:]) if word == "-isystem"]
    return flags


def main():
    compile_commands = pathlib.Path(sys.argv[1])
    sources = [ROOT / name for name in sys.argv[2:]]
    flags = flags_by_source(compile_commands)
    if left_out := [str(source) for source in sources if source not in flags]:
        sys.exit(f"tidy_together.py: not compiled: {', '.join(left_out)}")
    all_flags = dict.fromkeys(flag for source in sources for flag in flags[source])
    analyzer = [word for option in ANALYZER for word in ("-Xclang", option)]
    with tempfile.NamedTemporaryFile("w", prefix="orvane-", suffix=".cpp") as unit:
        unit.write("".join(f'#include "{source}"\n' for source in sources))
        unit.flush()
        # Including sources is what this unit is for.
        done = subprocess.run(["clang-tidy", "--quiet", "--checks=-bugprone-suspicious-include",
                               f"--config-file={ROOT / '.clang-tidy'}", unit.name, "--", *all_flags, *analyzer],
                              check=False)
    return done.returncode


if __name__ == "__main__":
    sys.exit(main())
