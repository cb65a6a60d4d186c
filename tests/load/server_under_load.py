"""The built server as a child process, and what the load tests ask and measure of it."""

import json
import os
import pathlib
import re
import shutil
import signal
import socket
import struct
import subprocess
import tempfile
import threading
import time

REPLY_LIMIT_S = 120


def service_name(program):
    """The name under which a program of a build looks for the host, as the build was configured."""
    for folder in pathlib.Path(program).resolve().parents:
        cache = folder / "CMakeCache.txt"
        if cache.exists():
            return re.search("^ORVANE_EXTERNAL_API_SERVICE_NAME:STRING=(.*)$", cache.read_text(), re.MULTILINE)[1]
    raise FileNotFoundError(f"{program} is in no build folder")


def reply_text(value):
    """A value as the server prints it. Texts here hold no U+2028 or U+2029, which it would escape."""
    return json.dumps(value, sort_keys=True, ensure_ascii=False)


def call_line(number, tool, **arguments):
    return json.dumps({"jsonrpc": "2.0", "id": number, "method": "tools/call",
                       "params": {"name": tool, "arguments": arguments}})


def text_reply(number, text):
    return reply_text({"id": number, "jsonrpc": "2.0", "result": {"content": [{"text": text, "type": "text"}]}})


def error_reply(number, code, message, **data):
    return reply_text({"error": {"code": code, "message": message, **data}, "id": number, "jsonrpc": "2.0"})


def wait_until(condition):
    """Asks until `condition` holds; False if it does not within a generous limit."""
    limit = time.monotonic() + REPLY_LIMIT_S
    while not condition():
        if time.monotonic() > limit:
            return False
        time.sleep(0.01)
    return True


class SocketFolder:
    """A folder for one test's sockets. Short, because socket paths are."""

    def __enter__(self):
        self.path = tempfile.mkdtemp(prefix="orv", dir="/tmp")
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.path, ignore_errors=True)

    def environment(self):
        return {**os.environ, "TMPDIR": self.path}

    def socket_path(self, program):
        """Where `program`, a server or host of a build, expects the socket."""
        return os.path.join(self.path, service_name(program))


class Server:
    """OrvaneMCPServer with pipes on its streams. Lines are written by a thread of their own, so that a large batch
    cannot block on replies that nobody reads."""

    def __init__(self, program, folder):
        self.process = subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, env=folder.environment())

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()
        self.process.stdin.close()
        self.process.stdout.close()

    def converse(self, lines):
        """Sends all lines and yields one reply for each expected one, in order."""
        writer = threading.Thread(target=self._write, args=(lines,), daemon=True)
        writer.start()
        for _ in lines:
            yield self.read_line()
        writer.join()

    def _write(self, lines):
        self.process.stdin.write("".join(line + "\n" for line in lines).encode())
        self.process.stdin.flush()

    def read_line(self):
        line = self.process.stdout.readline()
        if not line.endswith(b"\n"):
            raise AssertionError("the server's output ended")
        return line[:-1].decode()

    def status(self, field):
        """A number of /proc/PID/status, such as VmRSS (in KiB) or Threads."""
        for line in pathlib.Path(f"/proc/{self.process.pid}/status").read_text().splitlines():
            if line.startswith(field + ":"):
                return int(line.split()[1])
        raise KeyError(field)

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.process.pid}/fd"))


class DevelopmentHost:
    """orvane-devhost with one file open, ready to serve."""

    def __init__(self, program, folder, file):
        self.process = subprocess.Popen([program, file], stdout=subprocess.PIPE, env=folder.environment())
        self.process.stdout.readline()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()
        self.process.stdout.close()

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.process.pid}/fd"))


class ScriptedHost:
    """A host for the server `program`, in a process of its own, that answers each request with
    `answer(selector, args)`: the bytes to send, or None to close the connection."""

    def __init__(self, program, folder, answer):
        self.listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.listener.bind(folder.socket_path(program))
        self.listener.listen(128)
        self.pid = os.fork()
        if self.pid == 0:
            try:
                self._serve(answer)
            finally:
                os._exit(0)
        self.listener.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        os.kill(self.pid, signal.SIGKILL)
        os.waitpid(self.pid, 0)

    def _serve(self, answer):
        while True:
            connection, _ = self.listener.accept()
            with connection, connection.makefile("rb") as requests:
                for line in requests:
                    request = json.loads(line)
                    reply = answer(request["request"], request["args"])
                    if reply is None:
                        connection.shutdown(socket.SHUT_RDWR)
                        break
                    try:
                        connection.sendall(reply)
                    except OSError:
                        break


def framed(body):
    """A reply as the host sends it: its length, then its bytes."""
    data = body if isinstance(body, bytes) else json.dumps(body).encode()
    return struct.pack("=i", len(data)) + data
