#!/usr/bin/env python3
"""session_picture.py COMPANION DEVHOST [--write]

docs/images/session.svg: a session at the companion's prompt that finds something in the examples' program. Types CALLS
into `orvane-mcp call --repl` on a terminal, draws what the terminal then shows, and compares the drawing with the
document's, or writes it.
"""

import argparse
import html
import os
import pty
import re
import select
import subprocess
import sys
import termios
import tty

from example_session import DOCS, keep_or_write, make_vault
from server_under_load import DevelopmentHost, SocketFolder

CALLS = [
    "search_strings pattern=denied case_sensitive=false",
    "xrefs address=0x402020",
    "goto_address address=0x40104a",
    "current_procedure",
    "procedure_callees procedure=main",
    "procedure_assembly procedure=check_key",
]
PROMPT = "orvane> "
LIMIT = 20  # seconds for an answer that takes milliseconds

# --- the session ---

# Cursor movements and colours, and the marks by which a line editor redraws its line.
CONTROL = re.compile(r"\x1b\[[0-9;?]*[A-Za-z]|\x1b[=>]|[\r\x07]")


class Terminal:
    """The companion's prompt on a terminal of its own, which echoes nothing."""

    def __init__(self, companion, folder):
        self.end, other = pty.openpty()
        tty.setraw(other)
        termios.tcsetwinsize(other, (50, 200))  # so that no line is wrapped
        environment = dict(os.environ, TMPDIR=folder, HOME=folder, TERM="dumb", LC_ALL="C.UTF-8")
        environment.pop("XDG_STATE_HOME", None)
        self.process = subprocess.Popen([companion, "call", "--repl"], stdin=other, stdout=other, env=environment,
                                        start_new_session=True)
        os.close(other)
        self.read_to_prompt()

    def read_to_prompt(self):
        """What the terminal shows before the next prompt."""
        shown = ""
        while not shown.endswith(PROMPT):
            if not select.select([self.end], [], [], LIMIT)[0]:
                raise TimeoutError(f"no prompt came, only {shown!r}")
            shown = CONTROL.sub("", shown + os.read(self.end, 65536).decode())
        return shown.removesuffix(PROMPT)

    def call(self, line):
        """The lines of the answer. The editor may draw the line that is typed more than once."""
        os.write(self.end, line.encode() + b"\n")
        lines = self.read_to_prompt().rstrip("\n").splitlines()
        while lines and lines[0].endswith(line):
            lines.pop(0)
        return lines

    def close(self):
        self.process.terminate()
        self.process.wait(LIMIT)
        os.close(self.end)


def session(companion, devhost):
    """[(is typed, line)] of the whole session."""
    with SocketFolder() as folder, DevelopmentHost(devhost, folder, make_vault(folder.path)):
        terminal = Terminal(companion, str(folder.path))
        try:
            lines = []
            for call in CALLS:
                lines.append((True, PROMPT + call))
                lines += [(False, line) for line in terminal.call(call)]
            return lines
        finally:
            terminal.close()


# --- the drawing ---

CHARACTER = 8.4  # pixels of a fixed-width letter of the size below
LINE = 19
MARGIN = 16
HEADER = 34
STYLE = """
text { font: 14px ui-monospace, "DejaVu Sans Mono", Menlo, Consolas, monospace; fill: #d4d7dd; white-space: pre }
.typed { fill: #8fd18f } .title { fill: #9aa0aa; text-anchor: middle }
"""


def drawing(lines):
    columns = max(len(line) for _, line in lines)
    width = round(columns * CHARACTER + 2 * MARGIN)
    height = HEADER + LINE * len(lines) + MARGIN
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" height="{height}">',
             "<title>A session at the companion's prompt that finds which code prints a message</title>",
             f"<style>{STYLE}</style>", f'<rect width="{width}" height="{height}" rx="8" fill="#1d2026"/>',
             f'<text class="title" x="{width / 2:g}" y="22">orvane-mcp call --repl</text>']
    for number, (typed, line) in enumerate(lines):
        style = ' class="typed"' if typed else ""
        y = HEADER + LINE * (number + 1) - 5
        parts.append(f'<text{style} x="{MARGIN}" y="{y}" xml:space="preserve">{html.escape(line, quote=False)}</text>')
    return "\n".join(parts + ["</svg>"]) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("companion")
    parser.add_argument("devhost")
    parser.add_argument("--write", action="store_true", help="write the picture into the documents")
    arguments = parser.parse_args()
    picture = drawing(session(arguments.companion, arguments.devhost))
    return keep_or_write(DOCS / "images/session.svg", picture, arguments.write)


if __name__ == "__main__":
    sys.exit(main())
