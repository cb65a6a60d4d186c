#!/usr/bin/env python3
"""make_manifest.py FOLDER VERSION: writes FOLDER/manifest.json, the manifest of the MCP bundle that FOLDER becomes.

FOLDER/server holds an unpacked archive. Its server is asked for its tools, so the manifest cannot say anything
else than the server does.
"""

import json
import os
import subprocess
import sys
import tempfile
from pathlib import Path

REQUEST = {"jsonrpc": "2.0", "id": 1, "method": "tools/list"}


def ask(server):
    """The result of REQUEST, from a server without a host."""
    with tempfile.TemporaryDirectory() as empty_folder:
        environment = dict(os.environ, TMPDIR=empty_folder)
        process = subprocess.Popen([server], env=environment, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        try:
            process.stdin.write(json.dumps(REQUEST) + "\n")
            process.stdin.flush()
            return json.loads(process.stdout.readline())["result"]
        finally:
            # The server stays until it is ended.
            process.kill()
            process.communicate()


def launch(folder):
    """What the client starts: the companion where it is there, since it ends the server with its client."""
    if (folder / "server/bin/orvane-mcp").exists():
        return "server/bin/orvane-mcp", ["serve"]
    return "server/bin/OrvaneMCPServer", []


def manifest_for(folder, version):
    catalogue = ask(folder / "server/bin/OrvaneMCPServer")
    program, arguments = launch(folder)
    return {
        "manifest_version": "0.3",
        "name": "orvane-mcp-server",
        "display_name": "Orvane",
        "version": version,
        "description": "Lets an assistant work inside the running disassembler Orvane.",
        "long_description": "Lists and searches procedures, strings and names, reads assembly and pseudo-code, "
                            "follows callers, callees and references, and sets names, comments and bookmarks in "
                            "what is open in Orvane. Orvane may be started before or after the client.",
        "author": {"name": "OrvaneMCPServer maintainers"},
        "server": {
            "type": "binary",
            "entry_point": program,
            "mcp_config": {"command": "${__dirname}/" + program, "args": arguments, "env": {}},
        },
        "tools": [{"name": tool["name"], "description": tool["description"]} for tool in catalogue["tools"]],
        "keywords": ["disassembler", "reverse engineering"],
        "compatibility": {"platforms": ["linux"]},
    }


def main():
    if len(sys.argv) != 3 or not (Path(sys.argv[1]) / "server/bin").is_dir():
        print("make_manifest.py: takes a folder, which has an unpacked archive in server, and a version",
              file=sys.stderr)
        sys.exit(2)
    folder = Path(sys.argv[1])
    (folder / "manifest.json").write_text(json.dumps(manifest_for(folder, sys.argv[2]), indent=2) + "\n")


main()
