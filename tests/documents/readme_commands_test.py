#!/usr/bin/env python3
"""readme_commands_test.py BUILD_FOLDER

Follows README.md: runs the commands of its fenced blocks, in order, against a build of this source tree. Paths are
changed to that build's and to a folder of the test's own. A command that this test does not know fails it, and so does
a question in the excerpt of the demonstration that the demonstration does not ask.
"""

import os
import pathlib
import re
import subprocess
import sys

from example_session import HERE, DevelopmentHost, SocketFolder

ROOT = HERE.parent.parent
PROGRAMS = ["./run", "cmake", "sudo", "orvane-mcp", "orvane-devhost"]
RUN_ELSEWHERE = {
    "cmake -B build && cmake --build build -j2": "the build under test stands for it",
}
FENCE = re.compile(r"^ *```(\w*)\n(.*?)^ *```$", re.MULTILINE | re.DOTALL)


def blocks(document):
    """The lines of each fenced block without a language."""
    for language, text in FENCE.findall(document.read_text()):
        if not language:
            yield [line.strip() for line in text.splitlines()]


class Reader:
    """Someone who follows the README: tries it, installs it, opens a file, connects."""

    def __init__(self, build, folder, shown_questions):
        self.build = build
        self.folder = folder
        self.shown_questions = shown_questions
        self.prefix = pathlib.Path(folder.path) / "usr_local"
        self.host = None
        # The reader's own home, so that no client's file of this machine is touched.
        self.environment = {**folder.environment(), "HOME": folder.path,
                            "PATH": f"{self.prefix}/bin:{os.environ['PATH']}"}
        self.environment.pop("XDG_CONFIG_HOME", None)

    def shell(self, command):
        done = subprocess.run(command, shell=True, cwd=ROOT, env=self.environment, capture_output=True, text=True,
                              check=False)
        if done.returncode != 0:
            raise AssertionError(f"{command} ended with {done.returncode}: {(done.stdout + done.stderr)[-500:]}")
        return done.stdout

    def expect(self, command, *texts):
        output = self.shell(command)
        for text in texts:
            if text not in output:
                raise AssertionError(f"{command} does not print {text!r} but {output[-2000:]!r}")

    def follow(self, command):
        if command in RUN_ELSEWHERE:
            return
        if command == "./run demo /usr/bin/file":
            # What the command runs when it has built it. Not every machine has that file.
            programs = ["devhost/demo/orvane-demo", "src/app/OrvaneMCPServer", "devhost/orvane-devhost",
                        "src/app/OrvaneMCPServer"]
            self.expect(" ".join(f"'{self.build / program}'" for program in programs), *self.shown_questions)
        elif command.startswith("sudo cmake --install build"):
            parts = command.removeprefix("sudo cmake --install build")
            self.shell(f"cmake --install '{self.build}' --prefix '{self.prefix}'{parts}")
        elif command == "orvane-devhost /usr/bin/file":
            self.host = DevelopmentHost(self.prefix / "bin/orvane-devhost", self.folder, "/bin/true")
        elif command == "orvane-mcp config claude-code --write":
            self.shell(command)
            self.expect(f"cat '{self.folder.path}/.claude.json'", f"{self.prefix}/bin/orvane-mcp", "serve")
        elif command == "orvane-mcp doctor":
            self.expect(command, "a host listens", "Claude Code is configured")
        elif command.startswith("orvane-mcp call search_procedures"):
            self.expect(command, "{")
        else:
            raise AssertionError(f"nothing runs '{command}'")


def main():
    shown = list(blocks(ROOT / "README.md"))
    commands = [line for block in shown for line in block if line.split(" ")[0] in PROGRAMS]
    questions = [line for block in shown for line in block if re.match(r"\d+\. |All \d+ answers", line)]
    with SocketFolder() as folder:
        reader = Reader(pathlib.Path(sys.argv[1]).resolve(), folder, questions)
        try:
            for command in commands:
                reader.follow(command)
        finally:
            if reader.host:
                reader.host.__exit__()
    print(f"{len(commands)} commands and {len(questions)} lines of the demonstration, as the README says")
    return 0 if len(commands) >= 8 and len(questions) >= 2 else 1


if __name__ == "__main__":
    sys.exit(main())
