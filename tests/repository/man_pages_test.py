#!/usr/bin/env python3
"""man_pages_test.py BUILD: each man page formats without a warning, names every option and command of --help, and
refers only to pages that are installed with it."""

import re
import subprocess
import sys
from pathlib import Path

BUILD = Path(sys.argv[1])
# A program's man page must name what these help texts name.
HELP = {
    "OrvaneMCPServer": [],
    "orvane-devhost": [["devhost/orvane-devhost", "--help"]],
    "orvane-mcp": [["companion/orvane-mcp", "--help"],
                   ["companion/orvane-mcp", "doctor", "--help"],
                   ["companion/orvane-mcp", "config", "--help"],
                   ["companion/orvane-mcp", "serve", "--help"],
                   ["companion/orvane-mcp", "tools", "--help"],
                   ["companion/orvane-mcp", "call", "--help"]],
}


# The pages that are installed together, as components.
INSTALLED_TOGETHER = [{"OrvaneMCPServer", "orvane-mcp"}, {"orvane-devhost"}]


def formatted(page):
    """The page as a terminal shows it, without its highlighting; and the formatter's warnings."""
    groff = subprocess.run(["groff", "-man", "-ww", "-Tascii", "-P-cbou", page], capture_output=True, text=True)
    return groff.stdout, groff.stderr


def help_words(command):
    """Options, and commands as they are typed: the program and a name at the beginning of a list entry."""
    program, *arguments = command
    text = subprocess.run([BUILD / program, *arguments], check=True, capture_output=True, text=True).stdout
    options = re.findall(r"(?<![\w-])(--?[a-z][a-z-]*)", text)
    commands = re.findall(r"^  ([a-z]+)  ", text, re.MULTILINE)
    return {*options, *(f"{Path(program).name} {name}" for name in commands)}


def faults_of(page):
    text, warnings = formatted(page)
    if warnings:
        yield warnings.strip()
    (companions,) = (group for group in INSTALLED_TOGETHER if page.stem in group)
    for name in re.findall(r"([\w-]+) ?\(1\)", text):
        if name.lower() not in {companion.lower() for companion in companions}:  # heads are in capitals
            yield f"refers to {name}(1), which another package holds"
    for command in HELP[page.stem]:
        for word in sorted(help_words(command)):
            if not re.search(rf"(?<![\w-]){re.escape(word)}(?![\w-])", text):
                yield f"'{word}' of '{' '.join(command)}' is missing"


def main():
    pages = list((BUILD / "packaging/man").glob("*.1"))
    faults = [f"{page.name}: {fault}" for page in pages for fault in faults_of(page)]
    if not pages:
        faults.append("there are no man pages")
    for fault in faults:
        print(fault, file=sys.stderr)
    sys.exit(1 if faults else 0)


main()
