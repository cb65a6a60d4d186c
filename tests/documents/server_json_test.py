#!/usr/bin/env python3
"""server_json_test.py ROOT VERSION

packaging/server.json, with and without a bundle, is what the registry of MCP servers takes, and has the project's
version. The schema refuses what is wrong.
"""

import copy
import json
import os
import pathlib
import subprocess
import sys
import tempfile

try:
    import jsonschema
except ImportError:
    # Debian's package is for the system's Python, which need not be the first on PATH.
    if sys.executable == "/usr/bin/python3":
        sys.exit("server_json_test.py: Debian's python3-jsonschema is missing")
    os.execv("/usr/bin/python3", ["/usr/bin/python3", *sys.argv])

PACKAGING = pathlib.Path(sys.argv[1]) / "packaging"
SCHEMA = json.loads((PACKAGING / "server.schema.json").read_text())
URL = "https://downloads.example/orvane.mcpb"


def mistakes(value):
    return [error.message for error in jsonschema.Draft7Validator(SCHEMA).iter_errors(value)]


def changed(value, path, new):
    """A copy with one member set, or taken out when `new` is None."""
    copied = copy.deepcopy(value)
    holder = copied
    for key in path[:-1]:
        holder = holder[key]
    if new is None:
        del holder[path[-1]]
    else:
        holder[path[-1]] = new
    return copied


def main():
    server = json.loads((PACKAGING / "server.json").read_text())
    with tempfile.NamedTemporaryFile() as bundle:
        offer = json.loads(subprocess.run([PACKAGING / "offer_bundle.py", URL, bundle.name], check=True,
                                          capture_output=True, text=True).stdout)
    jsonschema.Draft7Validator.check_schema(SCHEMA)
    faults = [f"server.json: {mistake}" for mistake in mistakes(server)]
    faults += [f"with a bundle: {mistake}" for mistake in mistakes(offer)]
    if server["version"] != sys.argv[2]:
        faults.append(f"server.json has version {server['version']}, the project {sys.argv[2]}")
    wrong = [(["description"], "x" * 101), (["name"], "no namespace"), (["version"], "newest"), (["version"], None),
             (["packages", 0, "fileSha256"], None), (["packages", 0, "transport"], {"type": "pigeon"}),
             (["packages", 0, "identifier"], "/home/me/orvane.mcpb")]
    faults += [f"the schema takes {new!r} at {path}" for path, new in wrong if not mistakes(changed(offer, path, new))]
    print("\n".join(faults) if faults else "server.json is what the registry takes.")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
