"""Faults that are written down: the lists in this folder, and the survivors that cannot show.

A list begins with the source it changes. A fault is a title and two blocks of lines; the first must stand exactly once
in the source.
"""

import pathlib
import sys

HERE = pathlib.Path(__file__).resolve().parent
CANNOT_SHOW = HERE / "cannot_show.txt"


class ListedFault:
    def __init__(self, file, title):
        self.file = file
        self.heading = title
        self.before = []
        self.after = []

    def title(self, _source=None):
        return f"{self.file}: {self.heading}"

    def mutated(self, source):
        """The source with the fault in it; None if the fault does not fit exactly once."""
        before = "\n".join(self.before) + "\n"
        lines = "\n" + source.decode()
        if lines.count("\n" + before) != 1:
            return None
        return lines.replace("\n" + before, "\n" + "\n".join(self.after) + "\n")[1:].encode()


def read_list(path):
    faults = []
    file = None
    for line in path.read_text().splitlines():
        if line.startswith("file: "):
            file = line[len("file: "):]
        elif line.startswith("== "):
            faults.append(ListedFault(file, line[3:]))
        elif line.startswith("- "):
            faults[-1].before.append(line[2:])
        elif line.startswith("+ ") or line == "+":
            faults[-1].after.append(line[2:])
        elif line.strip() and not line.startswith("#"):
            sys.exit(f"run_mutants.py: {path.name}: what is '{line}'?")
    return faults


def read_all():
    return [fault for path in sorted(HERE.glob("*.txt")) if path != CANNOT_SHOW for fault in read_list(path)]


def reasons():
    """{(file, function, lines before, lines after): why no behaviour can show it}. A title of that list is the function's
    name, a colon and the reason."""
    found = {}
    for fault in read_list(CANNOT_SHOW) if CANNOT_SHOW.exists() else []:
        function, reason = fault.heading.split(": ", 1)
        before = tuple(line.strip() for line in fault.before)
        after = tuple(line.strip() for line in fault.after)
        found[fault.file, function, before, after] = reason
    return found
