#!/usr/bin/env python3
"""soak.py SERVER DEVHOST [--minutes M] [--requests N] [--seed S]

Asks one server a great many things, valid, malformed, failing and large: half of them beside the development host,
half beside a host that answers with random faults. Checks every reply byte for byte against what was asked. Fails on
a wrong or missing reply, on descriptors or threads that grow, and on memory that grows by more than 1 MiB after the
first tenth.
"""

import argparse
import json
import random
import struct
import sys
import time

from server_under_load import (DevelopmentHost, ScriptedHost, Server, SocketFolder, call_line, error_reply, framed,
                               text_reply)

BATCH = 400
LARGE_TEXT = "0123456789abcdef" * 4096  # 64 KiB
GROWTH_LIMIT_KIB = 1024
DOCUMENT = "OrvaneMCPServer"  # what the development host calls the server's executable

# Lines that never reach the host, and what each is answered.
MALFORMED = [
    ("[1,]", error_reply(None, -32700, "Parse error", data="expected value, got ']' (93)")),
    ("{", error_reply(None, -32700, "Parse error", data="unexpected end of input")),
    ("[]", error_reply(None, -32700, "Parse error")),
    ("\v", error_reply(None, -32700, "Parse error", data="expected value, got (11)")),
    ('{"id": 3, "method": 5}', error_reply(3, -32600, "Invalid Request", data="Missing method")),
    ('{"id": 4.5, "method": "ping"}', error_reply(4.5, -32601, "Method not found", data="ping")),
    ('{"id": "x", "method": "tools/call"}', error_reply("x", -32602, "Invalid params", data="Missing params.name")),
    ('{"id": 5, "method": "tools/call", "params": {"name": "fly"}}', error_reply(5, -32000, "Unknown tool: fly")),
]


# Each fault: what the host sends, and the text or error that the call ends with. All leave the connection in step.
FAULTS = {
    "string": (framed({"success": True, "result": "0x401000"}), "0x401000", None),
    "empty": (framed({"success": True, "result": ""}), "", None),
    "array": (framed({"success": True, "result": [1, "a", None]}), '[1, "a", null]', None),
    "object": (framed({"success": True, "result": {"b": 1, "a": {}}}), '{"a": {}, "b": 1}', None),
    "number": (framed({"success": True, "result": 42}), "{}", None),
    "none": (framed({"success": True}), "{}", None),
    "bracket": (framed({"success": True, "result": "[no json"}), "null", None),
    "large": (framed({"success": True, "result": LARGE_TEXT}), LARGE_TEXT, None),
    "failure": (framed({"success": False, "error": "No such thing."}), None, "No such thing."),
    "mute": (framed({"success": False, "error": 5}), "", None),
    "yes": (framed({"success": "true", "result": "x"}), "", None),
    "garbage": (framed(b"\x00\xffnot json"), "", None),
    "list": (framed(b"[1]"), "", None),
    "nothing": (struct.pack("=i", 0), "", None),
    "negative": (struct.pack("=i", -1), "", None),
    "lowest": (struct.pack("=i", -2**31), "", None),
}


def faulty_answer(_selector, args):
    return FAULTS[args[0]][0]


def faulty_exchange(number, rng):
    kind = rng.choice(list(FAULTS))
    _, text, error = FAULTS[kind]
    expected = error_reply(number, -32000, error) if error else text_reply(number, text)
    return call_line(number, "comment", address=kind), expected


def development_exchange(number, rng, procedures, mains, comments):
    """One call of the development host, which has these procedures (names by address), those of them called "main",
    and comments."""
    address = rng.choice(list(comments))
    choice = rng.randrange(5)
    if choice == 0:
        comments[address] = f"comment {number}" + (LARGE_TEXT if rng.random() < 0.002 else "")
        line = call_line(number, "set_comment", address=address, comment=comments[address])
        return line, text_reply(number, f"Set the comment at {address}.")
    if choice == 1:
        return call_line(number, "comment", address=address), text_reply(number, comments[address])
    if choice == 2:
        return call_line(number, "address_name", address=address), text_reply(number, procedures[address])
    if choice == 3:
        return (call_line(number, "search_procedures", pattern="^main$", case_sensitive=True),
                text_reply(number, json.dumps(mains)))
    return (call_line(number, "goto_address", address="no_such_label"),
            error_reply(number, -32000, '"no_such_label" is neither a hexadecimal address nor a label of the document '
                                        f'"{DOCUMENT}".'))


class Checker:
    """Sends batches to one server, counts, and compares."""

    def __init__(self, name, server):
        self.name = name
        self.server = server
        self.asked = 0

    def batch(self, exchanges):
        lines = [line for line, _ in exchanges]
        for (line, expected), reply in zip(exchanges, self.server.converse(lines)):
            if reply != expected:
                sys.exit(f"soak.py: {self.name}: wrong reply\n asked    {line[:500]}\n expected {expected[:500]}\n "
                         f"received {reply[:500]}")
        self.asked += len(lines)


def soak(name, server, next_exchange, rng, seconds, requests):
    checker = Checker(name, server)
    start = time.monotonic()

    def progress():
        shares = [(time.monotonic() - start) / seconds] if seconds else []
        return min(shares + ([checker.asked / requests] if requests else []), default=1)

    first = early = None
    while progress() < 1:
        checker.batch([rng.choice(MALFORMED) if rng.random() < 0.1 else next_exchange(checker.asked + i)
                       for i in range(BATCH)])
        first = first or Reading(server)
        if early is None and progress() >= 0.1:
            early = Reading(server)
    return report(checker, time.monotonic() - start, first, early or Reading(server))


class Reading:
    """What a server uses at one moment."""

    def __init__(self, server):
        self.memory_kib = server.status("VmRSS")
        self.descriptors = server.descriptors()
        self.threads = server.status("Threads")


def report(checker, elapsed, first, early):
    server = checker.server
    final = Reading(server)
    print(f"{checker.name}: {checker.asked} requests, {checker.asked / elapsed:.0f} a second; "
          f"memory {early.memory_kib} KiB early, {final.memory_kib} KiB at the end, {server.status('VmHWM')} KiB at "
          f"most; descriptors {first.descriptors} and {final.descriptors}; threads {first.threads} and "
          f"{final.threads}", flush=True)
    failures = []
    if final.memory_kib - early.memory_kib > GROWTH_LIMIT_KIB:
        failures.append("memory grows")
    if final.descriptors > first.descriptors:
        failures.append("descriptors grow")
    if final.threads > first.threads:
        failures.append("threads grow")
    for failure in failures:
        print(f"soak.py: {checker.name}: {failure}", file=sys.stderr)
    return not failures


def soak_with_development_host(options, rng):
    with SocketFolder() as folder, DevelopmentHost(options.devhost, folder, options.server) as _:
        with Server(options.server, folder) as server:
            answers = server.converse([call_line(1, "list_procedures")])
            procedures = json.loads(json.loads(next(answers))["result"]["content"][0]["text"])
            mains = {address: name for address, name in procedures.items() if name == "main"}
            comments = {address: "" for address in list(procedures)[:200]}
            return soak("development host", server,
                        lambda n: development_exchange(n, rng, procedures, mains, comments), rng,
                        options.minutes * 30, options.requests // 2)


def soak_with_faults(options, rng):
    with SocketFolder() as folder, ScriptedHost(options.server, folder, faulty_answer):
        with Server(options.server, folder) as server:
            return soak("host with faults", server, lambda n: faulty_exchange(n, rng), rng, options.minutes * 30,
                        options.requests // 2)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("server")
    parser.add_argument("devhost")
    parser.add_argument("--minutes", type=float, default=1)
    parser.add_argument("--requests", type=int, default=0, help="at least this many, however long it takes")
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(2**32))
    options = parser.parse_args()
    print(f"seed {options.seed}", flush=True)
    rng = random.Random(options.seed)
    good = soak_with_development_host(options, rng)
    good = soak_with_faults(options, rng) and good
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
