#!/usr/bin/env python3
"""crowd.py SERVER DEVHOST: 64 servers at once against one development host. Every answer must be right, and the host
must let go of every descriptor when they have gone."""

import json
import sys
import threading

from server_under_load import (DevelopmentHost, Server, SocketFolder, call_line, text_reply, wait_until)

SERVERS = 64
CALLS = 200


def talk(program, folder, number, address, wrong):
    """Sets and reads back comments that no other server writes."""
    exchanges = []
    with Server(program, folder) as server:
        for i in range(CALLS):
            comment = f"server {number}, call {i}"
            exchanges.append((call_line(2 * i, "set_inline_comment", address=address, comment=comment), None))
            exchanges.append((call_line(2 * i + 1, "inline_comment", address=address), text_reply(2 * i + 1, comment)))
        for (line, expected), reply in zip(exchanges, server.converse([line for line, _ in exchanges])):
            if expected is not None and reply != expected:
                wrong.append(f"{line}\n  expected {expected}\n  received {reply}")


def main():
    program, devhost = sys.argv[1:]
    wrong = []
    with SocketFolder() as folder, DevelopmentHost(devhost, folder, program) as host:
        with Server(program, folder) as server:
            reply = next(server.converse([call_line(1, "list_procedures")]))
            addresses = list(json.loads(json.loads(reply)["result"]["content"][0]["text"]))
        before = host.descriptors()
        threads = [threading.Thread(target=talk, args=(program, folder, n, addresses[n], wrong))
                   for n in range(SERVERS)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        let_go = wait_until(lambda: host.descriptors() <= before)
    for text in wrong[:5]:
        print(f"wrong: {text}", file=sys.stderr)
    print(f"{SERVERS} servers, {SERVERS * CALLS * 2} calls, {len(wrong)} wrong; "
          f"descriptors of the host back to {before}: {let_go}")
    return 1 if wrong or not let_go else 0


if __name__ == "__main__":
    sys.exit(main())
