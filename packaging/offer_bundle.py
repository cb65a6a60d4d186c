#!/usr/bin/env python3
"""offer_bundle.py URL BUNDLE: prints packaging/server.json with the MCP bundle BUNDLE, which is published at URL.

The output is what the public registry of MCP servers is sent. A bundle's checksum and address are known only after it
has been made, so server.json itself does not hold them.
"""

import hashlib
import json
import sys
from pathlib import Path

SERVER = Path(__file__).resolve().parent / "server.json"


def with_bundle(server, url, bundle):
    package = {
        "registryType": "mcpb",
        "identifier": url,
        "version": server["version"],
        "fileSha256": hashlib.sha256(bundle).hexdigest(),
        "transport": {"type": "stdio"},
    }
    return {**server, "packages": [package]}


def main():
    if len(sys.argv) != 3 or not sys.argv[1].startswith("https://"):
        print("offer_bundle.py: takes an https:// address and the bundle that is published there", file=sys.stderr)
        return 2
    try:
        bundle = Path(sys.argv[2]).read_bytes()
    except OSError as failure:
        print(f"offer_bundle.py: {failure}", file=sys.stderr)
        return 2
    print(json.dumps(with_bundle(json.loads(SERVER.read_text()), sys.argv[1], bundle), indent=2))
    return 0


if __name__ == "__main__":
    sys.exit(main())
