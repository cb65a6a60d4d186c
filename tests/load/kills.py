#!/usr/bin/env python3
"""kills.py SERVER DEVHOST [SEED]: starts a server 1,000 times beside one development host and kills it at a random
moment. Afterwards the host must still answer, and hold no descriptor too many."""

import random
import subprocess
import sys
import time

from server_under_load import DevelopmentHost, Server, SocketFolder, call_line, text_reply, wait_until

STARTS = 1000
LONGEST_LIFE_S = 0.03  # start-up and a few calls fall into it


def start_and_kill(program, folder, rng):
    process = subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                               env=folder.environment())
    process.stdin.write("".join(call_line(i, "list_names") + "\n" for i in range(20)).encode())
    process.stdin.flush()
    time.sleep(rng.random() * LONGEST_LIFE_S)  # the random moment itself
    process.kill()
    process.wait()
    process.stdin.close()


def main():
    program, devhost = sys.argv[1:3]
    seed = int(sys.argv[3]) if len(sys.argv) > 3 else random.SystemRandom().randrange(2**32)
    print(f"seed {seed}", flush=True)
    rng = random.Random(seed)
    with SocketFolder() as folder, DevelopmentHost(devhost, folder, program) as host:
        before = host.descriptors()
        for _ in range(STARTS):
            start_and_kill(program, folder, rng)
        let_go = wait_until(lambda: host.descriptors() <= before)
        with Server(program, folder) as server:
            reply = next(server.converse([call_line(1, "current_document")]))
    answers = reply == text_reply(1, program.rsplit("/", 1)[-1])
    print(f"{STARTS} starts and kills; the host answers: {answers}; descriptors back to {before}: {let_go}")
    return 0 if answers and let_go else 1


if __name__ == "__main__":
    sys.exit(main())
