#!/usr/bin/env python3
"""readme_commands_test.py BUILD_FOLDER

Runs the commands of README.md's fenced blocks, in order, against a build of this source tree, with paths changed to
that build's and to a folder of the test's own. A command that this test does not know fails it.
"""

import os
import pathlib
import subprocess
import sys

from example_session import HERE, DevelopmentHost, SocketFolder

ROOT = HERE.parent.parent
PROGRAMS = ["./run", "cmake", "export", "orvane-mcp", "build/demo/devhost/orvane-devhost"]
RUN_ELSEWHERE = {
    "./run test": "this test is part of it",
    "./run check": "takes too long; .ci/run runs it",
    "./run package": "its own last step tries what it made; the build under test stands for it",
}


def commands_of(document):
    """What stands in fenced blocks without a language and begins with a program; comments behind it are dropped."""
    fence = None
    for line in (line.strip() for line in document.read_text().splitlines()):
        if line.startswith("```"):
            fence = line if fence is None else None
        elif fence == "```" and line.split(" ")[0] in PROGRAMS:
            yield line.split("   ")[0]


class Reader:
    """Someone who follows the README: installs, starts the host, connects."""

    def __init__(self, build, folder):
        self.build = build
        self.folder = folder
        self.prefix = pathlib.Path(folder.path) / "opt"
        self.host = None
        # The reader's own home, so that no client's file of this machine is touched.
        self.environment = {**folder.environment(), "HOME": folder.path, "PATH": os.environ["PATH"]}
        self.environment.pop("XDG_CONFIG_HOME", None)

    def shell(self, command):
        done = subprocess.run(command, shell=True, cwd=ROOT, env=self.environment, capture_output=True, text=True,
                              check=False)
        if done.returncode != 0:
            raise AssertionError(f"{command} ended with {done.returncode}: {done.stderr[-500:]}")
        return done.stdout

    def expect(self, command, text):
        if text not in (output := self.shell(command)):
            raise AssertionError(f"{command} does not print {text!r} but {output[-500:]!r}")

    def follow(self, command):
        if command in RUN_ELSEWHERE:
            return
        if command.startswith("./run demo"):
            # What the command runs when it has built it.
            programs = ["devhost/demo/orvane-demo", "src/app/OrvaneMCPServer", "devhost/orvane-devhost",
                        "src/app/OrvaneMCPServer"]
            self.expect(" ".join(f"'{self.build / program}'" for program in programs), "answers are as they should be.")
        elif command == "build/demo/devhost/orvane-devhost /bin/true":
            self.host = DevelopmentHost(self.build / "devhost/orvane-devhost", self.folder, "/bin/true")
        elif command == "cmake --install build/package/build --prefix /opt/orvane":
            self.shell(f"cmake --install '{self.build}' --prefix '{self.prefix}'")
        elif command == 'export PATH="/opt/orvane/bin:$PATH"':
            self.environment["PATH"] = f"{self.prefix}/bin:{self.environment['PATH']}"
        elif command == "orvane-mcp config --list":
            self.expect(command, "claude-desktop")
        elif command == "orvane-mcp config claude-desktop --write":
            self.shell(command)
            self.expect(f"cat '{self.folder.path}/.config/Claude/claude_desktop_config.json'", str(self.prefix))
        elif command.startswith("orvane-mcp call search_procedures"):
            self.expect(command, "{")
        else:
            raise AssertionError(f"nothing runs '{command}'")


def main():
    commands = list(commands_of(ROOT / "README.md"))
    with SocketFolder() as folder:
        reader = Reader(pathlib.Path(sys.argv[1]).resolve(), folder)
        try:
            for command in commands:
                reader.follow(command)
        finally:
            if reader.host:
                reader.host.__exit__()
    print(f"{len(commands)} commands, as the README says")
    return 0 if len(commands) >= 8 else 1


if __name__ == "__main__":
    sys.exit(main())
