#!/usr/bin/env python3
"""memory_given_back.py SERVER: how much memory the server keeps between two messages.

After a large message, whichever way it went, at most 32 MiB more than it had when it was idle; after smaller ones
what it has freed, so that the next one finds it at hand."""

import json
import sys
import time

from server_under_load import ScriptedHost, Server, SocketFolder, call_line, framed

MIB = 1024 * 1024
ALLOWED_MIB = 32
SETTLING_S = 1
LARGE_REPLIES = 6
LARGE_LINES = 3  # of 20 MB: together more than is allowed


def descriptions(size):
    """A host's reply of about `size` bytes: descriptions of procedures, which take the most memory for their size."""
    procedure = {"basicblock_count": 5, "basicblocks": [{"from": "0x401000", "to": "0x40100c"}] * 5,
                 "entrypoint": "0x401000", "length": 96, "locals": [{"displacement": -8, "name": "var_8"}] * 3,
                 "name": "sub_401000", "signature": "int64_t sub_401000(int64_t, int64_t)"}
    text = json.dumps(procedure, separators=(",", ":"))
    return framed(b'{"success":true,"result":[' + ",".join([text] * (size // len(text))).encode() + b"]}")


REPLIES = {"procedureInfoListWithReply:": descriptions(64 * MIB),
           "procedureSizeListWithReply:": descriptions(8 * MIB)}


def answer(selector, _):
    return REPLIES.get(selector) or framed({"success": True, "result": "done"})


class Watched:
    """A server, and the memory that it had when it was idle."""

    def __init__(self, server):
        self.server = server
        self.ask("current_address")
        self.idle = server.status("VmRSS")

    def ask(self, tool, **arguments):
        return len(next(self.server.converse([call_line(1, tool, **arguments)])))

    def kept(self):
        """In MiB, beyond the idle server's."""
        return (self.server.status("VmRSS") - self.idle) / 1024

    def settled(self):
        """What is kept when it is little enough, or when the time for that is over."""
        end = time.monotonic() + SETTLING_S
        while self.kept() > ALLOWED_MIB and time.monotonic() < end:
            time.sleep(0.01)
        return self.kept()


def after_large_replies(watched):
    for number in range(LARGE_REPLIES):
        watched.ask("list_procedure_info")
        yield f"large reply {number + 1}", watched.settled()


def after_large_lines(watched):
    for number in range(LARGE_LINES):
        watched.ask("set_addresses_names", names={f"{address:#x}": "name" for address in range(1_000_000)})
        yield f"large line {number + 1}", watched.settled()


def main():
    program = sys.argv[1]
    wrong = 0
    with SocketFolder() as folder, ScriptedHost(program, folder, answer):
        for messages in (after_large_replies, after_large_lines):
            with Server(program, folder) as server:
                for what, kept in messages(Watched(server)):
                    print(f"after {what}: {kept:.1f} MiB more than idle")
                    wrong += kept > ALLOWED_MIB
        with Server(program, folder) as server:
            watched = Watched(server)
            size = watched.ask("list_procedure_size")
            kept = watched.settled()
            print(f"after a reply of {size / MIB:.1f} MiB: {kept:.1f} MiB more than idle")
            wrong += kept <= ALLOWED_MIB
    if wrong:
        print(f"memory_given_back.py: {wrong} of these are wrong", file=sys.stderr)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
