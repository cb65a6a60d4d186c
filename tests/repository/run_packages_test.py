#!/usr/bin/env python3
"""run_packages_test.py RUN

Runs a copy of ./run on machines that have little: a folder of stand-ins is all of its PATH. What it needs it installs
if it can; if not, one line names what is missing, and it ends with 2. Where nothing is missing, it asks no one.
"""

import os
import pathlib
import pty
import shutil
import subprocess
import sys
import tempfile
import unittest

RUN = pathlib.Path(sys.argv.pop(1)).resolve()
ORDINARY_TOOLS = ["bash", "cat", "chmod", "dirname", "env", "grep", "mkdir", "mktemp", "readlink", "realpath", "rm"]
TOOLS_OF_THE_BUILD = ["c++", "ninja", "qmake6"]
PACKAGES_OF_THE_BUILD = ["g++", "cmake", "ninja-build", "qt6-base-dev"]

# Leaves the demonstration behind, as a build would.
CMAKE = r"""
mkdir -p build/demo/devhost/demo
echo 'echo talked' >build/demo/devhost/demo/orvane-demo
chmod +x build/demo/devhost/demo/orvane-demo
"""
# Lets one become root only after asking, which needs a terminal.
SUDO = '[ "$1" != -n ] && echo "$*" >>asked && "$@"'
APT_GET = '[ "$1" != install ] || : >"${0%/*}/installed"'
# What is there once it is installed.
LATER = '[ -e "${0%/*}/installed" ]'


class Machine:
    def __init__(self, case):
        holder = tempfile.TemporaryDirectory(prefix="orvane-")
        case.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)
        self.bin = self.folder / "bin"
        self.bin.mkdir()
        shutil.copy(RUN, self.folder / "run")
        for tool in ORDINARY_TOOLS:
            (self.bin / tool).symlink_to(shutil.which(tool))
        self.has("id", "echo 1000")

    def has(self, name, script=""):
        (self.bin / name).write_text(f"#!{shutil.which('bash')}\n{script}\n")
        (self.bin / name).chmod(0o755)

    def run(self, stdin=subprocess.DEVNULL):
        return subprocess.run([self.folder / "run", "demo"], env={"PATH": str(self.bin), "TMPDIR": str(self.folder)},
                              stdin=stdin, capture_output=True, text=True, check=False)


class MissingPackages(unittest.TestCase):
    def assertNamedInOneLine(self, machine, reason):
        done = machine.run()
        self.assertEqual((done.returncode, done.stdout, done.stderr.count("\n")), (2, "", 1), done.stderr)
        self.assertIn(reason, done.stderr)
        self.assertTrue(set(PACKAGES_OF_THE_BUILD) <= set(done.stderr.split()), done.stderr)

    def test_are_named_where_there_is_no_apt(self):
        self.assertNamedInOneLine(Machine(self), "there is no apt-get")

    def test_are_named_without_root_and_sudo(self):
        machine = Machine(self)
        machine.has("apt-get")
        self.assertNamedInOneLine(machine, "there is no sudo")

    def test_are_named_where_sudo_would_ask_without_a_terminal(self):
        machine = Machine(self)
        machine.has("apt-get")
        machine.has("sudo", SUDO)
        self.assertNamedInOneLine(machine, "no terminal")

    def test_are_installed_after_sudo_has_asked_on_a_terminal(self):
        machine = Machine(self)
        machine.has("apt-get", APT_GET)
        machine.has("sudo", SUDO)
        machine.has("cmake", CMAKE)
        machine.has("c++", LATER)
        person, terminal = pty.openpty()
        self.addCleanup(os.close, person)
        done = machine.run(stdin=terminal)
        os.close(terminal)
        self.assertEqual((done.returncode, done.stdout), (0, "talked\n"), done.stderr)
        installing, building = done.stderr.splitlines()
        self.assertIn("Installing", installing)
        self.assertIn("ninja-build qt6-base-dev", installing)
        self.assertIn("Building", building)
        self.assertIn("ninja-build qt6-base-dev", (machine.folder / "asked").read_text())


class NothingMissing(unittest.TestCase):
    def test_goes_on_where_neither_apt_nor_dpkg_is(self):
        machine = Machine(self)
        machine.has("cmake", CMAKE)
        for tool in TOOLS_OF_THE_BUILD:
            machine.has(tool)
        done = machine.run()
        self.assertEqual((done.returncode, done.stdout), (0, "talked\n"), done.stderr)
        self.assertEqual(done.stderr.count("\n"), 1)
        self.assertIn("Building", done.stderr)


if __name__ == "__main__":
    unittest.main()
