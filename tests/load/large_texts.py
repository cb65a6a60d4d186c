#!/usr/bin/env python3
"""large_texts.py SERVER: a line of 64 MiB and a reply of 64 MiB go through, byte for byte, and the server's peak memory
stays below a multiple of the size."""

import sys

from server_under_load import ScriptedHost, Server, SocketFolder, call_line, framed, text_reply

SIZE = 64 * 1024 * 1024
# Each way from the descriptors to Qt and back holds the text in so many forms, in UTF-8 and UTF-16, at the same time.
MOST_FOR_LINE = 10
MOST_FOR_REPLY = 6
TEXT = ("0123456789abcde\n" * (SIZE // 16))[:SIZE]


def answer(selector, args):
    """A long comment draws its length, a question the long text."""
    if selector.startswith("setComment"):
        return framed({"success": True, "result": str(len(args[0]))})
    return framed({"success": True, "result": TEXT})


def peak_after(program, folder, line, expected):
    with Server(program, folder) as server:
        reply = next(server.converse([line]))
        if reply != expected:
            sys.exit(f"large_texts.py: wrong reply of {len(reply)} characters: {reply[:200]}")
        return server.status("VmHWM") * 1024 / SIZE


def main():
    program = sys.argv[1]
    with SocketFolder() as folder, ScriptedHost(program, folder, answer):
        line = peak_after(program, folder, call_line(1, "set_comment", address="0x1", comment=TEXT),
                          text_reply(1, str(SIZE)))
        reply = peak_after(program, folder, call_line(1, "comment", address="0x1"), text_reply(1, TEXT))
    print(f"peak memory: {line:.1f} times a line of 64 MiB, {reply:.1f} times a reply of 64 MiB")
    return 0 if line < MOST_FOR_LINE and reply < MOST_FOR_REPLY else 1


if __name__ == "__main__":
    sys.exit(main())
