"""Bare Debian systems: mmdebstrap makes each once, a cache keeps it, and every use unpacks it into a folder of its own."""

import os
import subprocess
import tempfile
from pathlib import Path

CACHE = Path(os.environ.get("XDG_CACHE_HOME") or Path.home() / ".cache") / "orvane-mcp-server"


def system_archive(name, suite, *options):
    """The tar file `name` in the cache; mmdebstrap makes it of `suite` with `options` if it is not there."""
    archive = CACHE / name
    if archive.exists():
        return archive
    archive.parent.mkdir(parents=True, exist_ok=True)
    # Under its final name only when complete.
    unfinished = archive.with_suffix(f".{os.getpid()}.tar")
    try:
        subprocess.run(["mmdebstrap", "--quiet", *options, suite, str(unfinished)], check=True)
        unfinished.rename(archive)
    finally:
        unfinished.unlink(missing_ok=True)
    return archive


class BareRoot:
    """What is in `archive`, in the folder `path`, which close() removes. Its path is short, as socket paths must be."""

    def __init__(self, archive):
        self.holder = tempfile.TemporaryDirectory(prefix="orvane-")
        self.path = Path(self.holder.name) / "root"
        self.path.mkdir()
        subprocess.run(["tar", "-xpf", str(archive), "-C", str(self.path), "--exclude=./dev/*"], check=True)

    def close(self):
        self.holder.cleanup()

    def __enter__(self):
        return self.path

    def __exit__(self, *_):
        self.close()
