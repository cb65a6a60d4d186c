"""Learns from the built server itself what a peer needs in order to offer the same tools: no name is typed twice."""

import json
import os
import pathlib
import socket
import struct
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests" / "load"))

from server_under_load import service_name  # noqa: E402

REPLY = json.dumps({"success": True, "result": "done"}).encode()

# An argument of each kind. A text carries its own name, which shows where it stands in the request.
KINDS = {"string": lambda name: name, "boolean": lambda name: True, "object": lambda name: {name: name}}


def name_in(value, names):
    """Which of the arguments `names` arrived as `value`."""
    for name, kind in names.items():
        if KINDS[kind](name) == value:
            return name
    raise ValueError(f"the host received {value!r}, which is none of {sorted(names)}")


class _Talk:
    """The server between a client and a host that are both this process."""

    def __init__(self, server, listener, folder):
        self.process = subprocess.Popen([server], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                                        env={**os.environ, "TMPDIR": folder})
        self.host = listener.accept()[0]
        self.requests = self.host.makefile("r", encoding="utf-8")

    def close(self):
        self.process.kill()
        self.process.communicate()
        self.requests.close()
        self.host.close()

    def send(self, method, **params):
        self.process.stdin.write(json.dumps({"jsonrpc": "2.0", "id": 1, "method": method, "params": params}) + "\n")
        self.process.stdin.flush()

    def result(self):
        return json.loads(self.process.stdout.readline())["result"]

    def request_of(self, tool):
        """The selector that `tool` sends, and its arguments' names in the order of the request."""
        kinds = {name: schema["type"] for name, schema in tool["inputSchema"].get("properties", {}).items()}
        self.send("tools/call", name=tool["name"], arguments={name: KINDS[kind](name) for name, kind in kinds.items()})
        request = json.loads(self.requests.readline())
        self.host.sendall(struct.pack("=i", len(REPLY)) + REPLY)
        self.result()
        return {"selector": request["request"], "argumentNames": [name_in(value, kinds) for value in request["args"]]}


def read_catalogue(server):
    """{"service", "tools": as tools/list shows them, "requests": {tool: {"selector", "argumentNames"}}}"""
    service = service_name(server)
    with tempfile.TemporaryDirectory(prefix="orv", dir="/tmp") as folder, socket.socket(socket.AF_UNIX) as listener:
        listener.settimeout(30)
        listener.bind(os.path.join(folder, service))
        listener.listen()
        talk = _Talk(server, listener, folder)
        try:
            talk.send("tools/list")
            tools = talk.result()["tools"]
            return {"service": service, "tools": tools,
                    "requests": {tool["name"]: talk.request_of(tool) for tool in tools}}
        finally:
            talk.close()
