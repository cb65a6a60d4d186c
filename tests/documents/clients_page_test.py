#!/usr/bin/env python3
"""clients_page_test.py ROOT

docs/clients.md, as far as it can be checked without running the assistants, which takes 1.6 GB: its table has the
clients that orvane-mcp knows, in the versions that ./run assistants runs, and below it what each needs beside its entry.
"""

import json
import pathlib
import sys


def read(path):
    return json.loads(path.read_text())


def expected_lines(root):
    """The beginnings that lines of the page must have, in this order."""
    known = read(root / "companion/clients/clients.json")
    packages = {row["id"]: row["package"] for row in read(root / "tests/assistants/assistants.json")["assistants"]}
    locked = read(root / "tests/assistants/package-lock.json")["packages"]
    for client in known:
        package = packages.get(client["id"])
        version = locked[f"node_modules/{package}"]["version"].removesuffix("-linux-x64") if package else "not run"
        yield f"| {client['name']} | `{client['id']}` | {version} |"
    yield from (f"- {client['needs']}" for client in known if "needs" in client)


def main():
    root = pathlib.Path(sys.argv[1])
    lines = iter((root / "docs/clients.md").read_text().splitlines())
    for expected in expected_lines(root):
        if not any(line.startswith(expected) for line in lines):
            print(f"docs/clients.md lacks, or has elsewhere: {expected}", file=sys.stderr)
            return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
