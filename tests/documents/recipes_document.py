#!/usr/bin/env python3
"""recipes_document.py SERVER DEVHOST [--write]

docs/recipes.md: conversations that really run. In each fenced block, a line "> TOOL ARGUMENTS" is a call and what
follows it is the answer. Runs every call, each section in a session of its own, and compares the answers with the
document's, or writes them into it.
"""

import argparse
import contextlib
import json
import sys

from example_session import DOCS, example_session, keep_or_write, shown

FENCE = "```"
CALL = "> "


class Rerun:
    """Goes through the document's lines and puts the answers of today behind the calls."""

    def __init__(self, new_session):
        self.new_session = new_session
        self.session = None
        self.sessions = contextlib.ExitStack()
        self.inside_block = False
        self.lines = []

    def take(self, line):
        if line.startswith("## "):
            self.sessions.close()
            self.session = self.sessions.enter_context(self.new_session())
        if line.startswith(FENCE):
            self.inside_block = not self.inside_block
        elif self.inside_block:
            self._take_in_block(line)
            return
        self.lines.append(line)

    def _take_in_block(self, line):
        if not line.startswith(CALL):
            return  # an answer of an earlier run
        tool, _, arguments = line.removeprefix(CALL).partition(" ")
        self.lines += [line, shown(self.session.call(tool, json.loads(arguments or "{}"))).rstrip("\n")]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("server")
    parser.add_argument("devhost")
    parser.add_argument("--write", action="store_true", help="write the answers into the document")
    arguments = parser.parse_args()

    document = DOCS / "recipes.md"
    rerun = Rerun(lambda: example_session(arguments.server, arguments.devhost))
    with rerun.sessions:
        for line in document.read_text().splitlines():
            rerun.take(line)
    return keep_or_write(document, "\n".join(rerun.lines) + "\n", arguments.write)


if __name__ == "__main__":
    sys.exit(main())
