"""A session about the examples' program: vault.s, made and opened in the development host, beside the server."""

import contextlib
import json
import pathlib
import platform
import shutil
import subprocess
import sys

SKIPPED = 77  # the exit status for ctest

HERE = pathlib.Path(__file__).resolve().parent
DOCS = HERE.parent.parent / "docs"
sys.path.insert(0, str(HERE.parent / "load"))

from server_under_load import DevelopmentHost, Server, SocketFolder  # noqa: E402


class Session:
    """One client's conversation. Requests are numbered from 1 on."""

    def __init__(self, server):
        self.server = server
        self.number = 0

    def ask(self, method, params):
        """Sends a request; returns its line and the reply's line."""
        self.number += 1
        request = json.dumps({"jsonrpc": "2.0", "id": self.number, "method": method, "params": params})
        (reply,) = self.server.converse([request])
        return request, reply

    def call(self, tool, arguments):
        """Calls a tool; returns its text, or "Error: " and the message."""
        reply = json.loads(self.ask("tools/call", {"name": tool, "arguments": arguments})[1])
        if "error" in reply:
            return "Error: " + reply["error"]["message"]
        return reply["result"]["content"][0]["text"]


def binutil(name):
    """The tool of binutils for x86-64, the processor that vault is written for."""
    prefixed = f"x86_64-linux-gnu-{name}"
    if shutil.which(prefixed):
        return prefixed
    if platform.machine() == "x86_64":
        return name
    print(f"Skipped: there is no {prefixed} (Debian: binutils-x86-64-linux-gnu).")
    sys.exit(SKIPPED)


def make_vault(folder):
    program = pathlib.Path(folder) / "vault"
    unlinked = program.with_suffix(".o")
    subprocess.run([binutil("as"), "--64", "-o", unlinked, HERE / "vault.s"], check=True)
    subprocess.run([binutil("ld"), "-m", "elf_x86_64", "-o", program, unlinked], check=True)
    return program


@contextlib.contextmanager
def example_session(server_program, devhost_program):
    """A fresh host and a fresh server, with vault open."""
    with SocketFolder() as folder:
        vault = make_vault(folder.path)
        with DevelopmentHost(devhost_program, folder, vault), Server(server_program, folder) as server:
            yield Session(server)


def shown(text):
    """An answer as a document shows it: JSON over several lines, but short things on one."""
    try:
        value = json.loads(text)
    except ValueError:
        return text
    return _laid_out(value, 0) if isinstance(value, (dict, list)) else text


def _laid_out(value, indent):
    line = json.dumps(value, ensure_ascii=False)
    if len(line) + indent <= 100 or not isinstance(value, (dict, list)):
        return line
    inner = " " * (indent + 2)
    if isinstance(value, dict):
        items = [f"{json.dumps(key)}: {_laid_out(item, indent + 2)}" for key, item in value.items()]
        opening, closing = "{", "}"
    else:
        items = [_laid_out(item, indent + 2) for item in value]
        opening, closing = "[", "]"
    return f"{opening}\n{inner}" + f",\n{inner}".join(items) + f"\n{' ' * indent}{closing}"


def keep_or_write(document, text, write):
    """Writes the document, or compares it; returns the program's exit status."""
    if write:
        document.write_text(text)
        return 0
    if document.exists() and document.read_text() == text:
        return 0
    print(f"{document.name} is stale: run ./run documents", file=sys.stderr)
    return 1
