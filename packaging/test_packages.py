#!/usr/bin/env python3
"""Tests the packages that make_packages.sh left in build/package, each in a system of its own without Qt: a bare root
of the Debian that this machine has.

Needs root, for chroot. The Debian systems are made by mmdebstrap once and kept in ~/.cache/orvane-mcp-server.
Arguments are those of Python's unittest.
"""

import hashlib
import json
import os
import platform
import re
import select
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(SOURCE / "tests/systems"))

from bare_root import BareRoot, system_archive  # noqa: E402

PACKAGES = SOURCE / "build/package"
BUILD = PACKAGES / "build"
VERSION = re.search(r"project\(OrvaneMCPServer VERSION (\S+)", (SOURCE / "CMakeLists.txt").read_text())[1]

HAS_COMPANION = (BUILD / "companion/orvane-mcp").exists()
PROGRAMS = {"OrvaneMCPServer", "orvane-mcp"} if HAS_COMPANION else {"OrvaneMCPServer"}
GLIBC = {"libc.so.6", "libm.so.6", "libresolv.so.2", "libdl.so.2", "libpthread.so.0", "librt.so.1"}
# Compiled into the companion.
COMPILED_IN = {"libtomlplusplus-dev", "nlohmann-json3-dev"}
SUITE = platform.freedesktop_os_release()["VERSION_CODENAME"]
# Without the suffix "t64", which Debian 13 appends to the names of libraries that are built with 64-bit times.
DEPENDENCIES = {"libc6", "libgcc-s1", "libqt6core6", "libqt6network6", "libstdc++6"}
if HAS_COMPANION:
    DEPENDENCIES.add("libedit2")
NOTICES = "share/doc/orvane-mcp-server"

# What a process inside a root gets. Qt wants to hear of a UTF-8 locale; C.UTF-8 is part of glibc.
ENVIRONMENT = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C.UTF-8"}
# Runs a command in the root that follows. The loader asks /proc where a program lies before it can follow a run path
# from there. The mounts are this process's own and end with it.
ENTER = ("unshare", "--mount", "--propagation", "private", "sh", "-ec",
         'mount --bind /proc "$0/proc"; mount --bind /dev "$0/dev"; exec chroot "$0" "$@"')
LIMIT = 60  # seconds for a reply that normally takes milliseconds
DOCUMENT = "/bin/true"


def run(*command, **options):
    """The command's output; its complaints are shown when it fails."""
    process = subprocess.run([str(word) for word in command], capture_output=True, text=True, **options)
    if process.returncode != 0:
        raise AssertionError(f"{command[0]} ends with {process.returncode}:\n{process.stdout}{process.stderr}")
    return process.stdout


def only(pattern):
    """The one file of this pattern in build/package."""
    files = list(PACKAGES.glob(pattern))
    assert len(files) == 1, f"{len(files)} files {pattern} in {PACKAGES}; make_packages.sh makes one"
    return files[0]


class Root(BareRoot):
    """A Debian with its essential packages and those named, in a folder, which close() removes."""

    def __init__(self, packages=()):
        options = ["--variant=essential"] + (["--include=" + ",".join(sorted(packages))] if packages else [])
        name = hashlib.sha256(" ".join(options).encode()).hexdigest()[:16]
        super().__init__(system_archive(f"roots/{SUITE}-{name}.tar", SUITE, *options))

    def run(self, *command):
        return run(*ENTER, self.path, *command, env=ENVIRONMENT)

    def start(self, *command):
        return subprocess.Popen([*ENTER, self.path, *command], env=ENVIRONMENT, stdin=subprocess.PIPE,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)


def read_line(stream):
    """One line, or what came of it within the limit."""
    line = b""
    while not line.endswith(b"\n"):
        if not select.select([stream], [], [], LIMIT)[0]:
            raise AssertionError(f"no whole line within {LIMIT} s, only {line!r}")
        piece = os.read(stream.fileno(), 1)
        if not piece:
            raise AssertionError(f"the stream ended after {line!r}")
        line += piece
    return line.decode()


class DevelopmentHost:
    """A development host outside whose socket lies in the temporary folder of a root."""

    def __init__(self, root):
        environment = dict(os.environ, TMPDIR=str(root.path / "tmp"), LC_ALL="C.UTF-8")
        self.process = subprocess.Popen([BUILD / "devhost/orvane-devhost", DOCUMENT], env=environment,
                                        stdout=subprocess.PIPE)
        self.announcement = read_line(self.process.stdout)

    def close(self):
        self.process.terminate()
        self.process.communicate(timeout=LIMIT)


def converse(root, command):
    """What the command answers to a greeting and a tool call beside a development host: both lines, and stderr."""
    host = DevelopmentHost(root)
    server = root.start(*command)
    try:
        lines = []
        for message in (
            {"jsonrpc": "2.0", "id": 1, "method": "initialize"},
            {"jsonrpc": "2.0", "id": 2, "method": "tools/call", "params": {"name": "list_documents", "arguments": {}}},
        ):
            server.stdin.write(json.dumps(message).encode() + b"\n")
            server.stdin.flush()
            lines.append(read_line(server.stdout))
    except (AssertionError, BrokenPipeError) as failure:
        server.kill()
        raise AssertionError(f"{failure}; its complaints: {server.stderr.read().decode()}") from failure
    finally:
        # The bare server stays until it is ended; the companion would end its own on SIGTERM.
        server.terminate()
        complaints = server.communicate(timeout=LIMIT)[1].decode()
        host.close()
    return lines, complaints


EXPECTED_LINES = [
    '{"id": 1, "jsonrpc": "2.0", "result": {"capabilities": {"tools": {"listChanged": false}}, "protocolVersion": '
    '"2025-03-26", "serverInfo": {"name": "OrvaneMCPServer", "version": "1.0.0"}}}\n',
    '{"id": 2, "jsonrpc": "2.0", "result": {"content": [{"text": "[\\"true\\"]", "type": "text"}]}}\n',
]


class PackageTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def new_root(cls, packages=()):
        root = Root(packages)
        cls.addClassCleanup(root.close)
        return root

    def assertAnswers(self, root, *command):
        lines, complaints = converse(root, command)
        self.assertEqual(lines, EXPECTED_LINES)
        self.assertEqual(complaints, "")

    def assertOwnLibrariesOnly(self, root, folder):
        """The programs load all that is in `folder`/lib, and nothing else but glibc."""
        loaded = {}
        for program in PROGRAMS:
            listing = root.run("ldd", f"{folder}/bin/{program}")
            self.assertNotIn("not found", listing)
            loaded.update(re.findall(r"(\S+) => (\S+)", listing))
        own = {name for name, path in loaded.items() if os.path.normpath(path) == f"{folder}/lib/{name}"}
        self.assertEqual(own, {path.name for path in (root.path / folder[1:] / "lib").iterdir()})
        self.assertLessEqual(loaded.keys() - own, GLIBC)


class Archive(PackageTest):
    FOLDER = f"/opt/OrvaneMCPServer-{VERSION}-Linux-{os.uname().machine}"

    @classmethod
    def setUpClass(cls):
        cls.root = cls.new_root()
        run("tar", "-xf", only("*.tar.gz"), "-C", cls.root.path / "opt")
        cls.folder = cls.root.path / cls.FOLDER[1:]

    def test_holds_the_programs_and_no_development_host(self):
        self.assertEqual({path.name for path in (self.folder / "bin").iterdir()}, PROGRAMS)
        pages = {path.name for path in (self.folder / "share/man/man1").iterdir()}
        self.assertEqual(pages, {f"{program}.1" for program in PROGRAMS})

    def test_holds_exactly_the_libraries_that_are_loaded(self):
        self.assertOwnLibrariesOnly(self.root, self.FOLDER)

    def test_answers_in_a_system_without_qt(self):
        self.assertAnswers(self.root, f"{self.FOLDER}/bin/OrvaneMCPServer")

    def test_answers_wherever_it_is_moved(self):
        elsewhere = self.root.path / "home/a folder of mine"
        self.folder.rename(elsewhere)
        self.addCleanup(elsewhere.rename, self.folder)
        self.assertAnswers(self.root, "/home/a folder of mine/bin/OrvaneMCPServer")

    @unittest.skipUnless(HAS_COMPANION, "built without the companion")
    def test_companion_answers_through_the_server_beside_it(self):
        self.assertAnswers(self.root, f"{self.FOLDER}/bin/orvane-mcp", "serve")

    def test_has_a_notice_for_every_library(self):
        licences = self.folder / NOTICES / "licences"
        rows = [line.split("\t") for line in (licences / "libraries.tsv").read_text().splitlines()[1:]]
        self.assertEqual({row[0] for row in rows}, {path.name for path in (self.folder / "lib").iterdir()})
        for _, package, version, source in rows:
            self.assertTrue(version and source)
            self.assertGreater((licences / f"{package}.copyright").stat().st_size, 0)

    def test_has_the_text_of_every_licence_that_a_notice_refers_to(self):
        licences = self.folder / NOTICES / "licences"
        texts = "".join(path.read_text(errors="replace") for path in licences.glob("*.copyright"))
        referred = set(re.findall(r"/usr/share/common-licenses/([\w.+-]*\w)", texts))
        self.assertIn("LGPL-3", referred)
        self.assertLessEqual(referred, {path.name for path in licences.iterdir()})
        if HAS_COMPANION:
            for package in COMPILED_IN:
                self.assertIn("MIT", (licences / f"{package}.copyright").read_text())


class DebianPackages(PackageTest):
    SERVER = f"orvane-mcp-server_{VERSION}_*.deb"
    DEVHOST = f"orvane-devhost_{VERSION}_*.deb"

    def dependencies(self, package):
        stated = run("dpkg-deb", "--field", only(package), "Depends").strip()
        return {dependency.split()[0] for dependency in stated.split(",")}

    def files(self, package):
        listing = run("dpkg-deb", "--contents", only(package)).splitlines()
        return {line.split()[5].removeprefix("./") for line in listing if not line.startswith("d")}

    def test_server_depends_on_debians_qt_and_no_more(self):
        stated = {name.removesuffix("t64") for name in self.dependencies(self.SERVER)}
        self.assertEqual(stated, DEPENDENCIES)

    def test_server_comes_with_the_companion_man_pages_and_notices(self):
        expected = {f"usr/bin/{program}" for program in PROGRAMS}
        expected |= {f"usr/share/man/man1/{program}.1.gz" for program in PROGRAMS}
        expected |= {f"usr/{NOTICES}/{name}" for name in ("copyright", "CHANGELOG.md", "changelog.gz")}
        expected.add("usr/share/lintian/overrides/orvane-mcp-server")
        if HAS_COMPANION:
            expected |= {f"usr/{NOTICES}/licences/{package}.copyright" for package in COMPILED_IN}
        self.assertEqual(self.files(self.SERVER), expected)

    def test_development_host_is_a_package_of_its_own(self):
        documents = "usr/share/doc/orvane-devhost"
        self.assertEqual(self.files(self.DEVHOST), {"usr/bin/orvane-devhost", "usr/share/man/man1/orvane-devhost.1.gz",
                                                    f"{documents}/copyright", f"{documents}/changelog.gz"})

    def test_see_also_of_each_page_is_in_one_of_the_packages(self):
        pages = {Path(name).name.removesuffix(".1.gz") for package in (self.SERVER, self.DEVHOST)
                 for name in self.files(package) if "/man1/" in name}
        for page in (BUILD / "packaging/man").glob("*.1"):
            see_also = page.read_text().partition(".SH SEE ALSO")[2].replace("\\-", "-")
            self.assertLessEqual(set(re.findall(r"^\.BR (\S+) \(1\)", see_also, re.MULTILINE)), pages, page.name)

    def test_both_answer_where_they_are_installed(self):
        dependencies = self.dependencies(self.SERVER) | self.dependencies(self.DEVHOST)
        root = self.new_root(dependencies)
        for package in (self.SERVER, self.DEVHOST):
            shutil.copy(only(package), root.path / "tmp")
        root.run("sh", "-c", "dpkg --install /tmp/*.deb")
        for name in ("orvane-mcp-server", "orvane-devhost"):
            self.assertEqual(root.run("dpkg-query", "--show", "--showformat", "${Status} ${Version}", name),
                             f"install ok installed {VERSION}")
        self.assertAnswers(root, "/usr/bin/OrvaneMCPServer")
        host = root.start("/usr/bin/orvane-devhost", DOCUMENT)
        try:
            read_line(host.stdout)
            self.assertNotIn("wrong", root.run("orvane-mcp", "doctor", "--call"))
        finally:
            host.terminate()
            host.communicate(timeout=LIMIT)
        root.run("dpkg", "--purge", "orvane-mcp-server", "orvane-devhost")
        self.assertEqual(list((root.path / "usr/bin").glob("[Oo]rvane*")), [])


class Bundle(PackageTest):
    @classmethod
    def setUpClass(cls):
        cls.root = cls.new_root()
        run(PACKAGES / "mcpb_tool/node_modules/.bin/mcpb", "unpack", only("*.mcpb"), cls.root.path / "opt/bundle")
        cls.manifest = json.loads((cls.root.path / "opt/bundle/manifest.json").read_text())

    def test_is_a_binary_of_manifest_0_3(self):
        stated = (self.manifest["manifest_version"], self.manifest["server"]["type"], self.manifest["version"])
        self.assertEqual(stated, ("0.3", "binary", VERSION))

    def test_names_every_tool_in_order(self):
        catalogue = json.loads((SOURCE / "tests/tools/tools_list.json").read_text())
        expected = [(tool["name"], tool["description"]) for tool in catalogue.get("result", catalogue)["tools"]]
        self.assertEqual([(tool["name"], tool["description"]) for tool in self.manifest["tools"]], expected)

    def test_answers_as_its_manifest_starts_it(self):
        start = self.manifest["server"]["mcp_config"]
        words = [word.replace("${__dirname}", "/opt/bundle") for word in (start["command"], *start["args"])]
        self.assertEqual(words[0], "/opt/bundle/" + self.manifest["server"]["entry_point"])
        self.assertAnswers(self.root, *words)

    def test_holds_exactly_the_libraries_that_are_loaded(self):
        self.assertOwnLibrariesOnly(self.root, "/opt/bundle/server")


class RunPaths(unittest.TestCase):
    def test_lead_to_named_folders_in_every_package(self):
        with tempfile.TemporaryDirectory(prefix="orvane-") as folder:
            for archive in PACKAGES.glob("*.tar.gz"):
                run("tar", "-xf", archive, "-C", folder)
            for package in PACKAGES.glob("*.deb"):
                run("dpkg-deb", "--extract", package, folder)
            run(SOURCE / "tests/repository/run_paths_test.py", "readelf", folder)


class Checksums(unittest.TestCase):
    def test_hold_for_every_package(self):
        lines = (PACKAGES / "SHA256SUMS").read_text().splitlines()
        stated = dict(reversed(line.split("  ")) for line in lines)
        packages = [*PACKAGES.glob("*.deb"), only("*.tar.gz"), only("*.mcpb")]
        self.assertEqual(len(packages), 4)
        self.assertEqual(stated, {path.name: hashlib.sha256(path.read_bytes()).hexdigest() for path in packages})

    def test_every_package_bears_the_version(self):
        machine = os.uname().machine
        architecture = run("dpkg", "--print-architecture").strip()
        self.assertEqual({path.name for path in PACKAGES.glob("*.deb")},
                         {f"{name}_{VERSION}_{architecture}.deb" for name in ("orvane-mcp-server", "orvane-devhost")})
        self.assertEqual(only("*.tar.gz").name, f"OrvaneMCPServer-{VERSION}-Linux-{machine}.tar.gz")
        self.assertEqual(only("*.mcpb").name, f"OrvaneMCPServer-{VERSION}-Linux-{machine}.mcpb")


if __name__ == "__main__":
    if os.geteuid() != 0:
        print("test_packages.py: needs root, for chroot", file=sys.stderr)
        sys.exit(2)
    unittest.main()
