"""Copies of the project in which faults come and go, and the tests that look for them.

A copy is built once. For a fault, only what depends on the changed file is built again, one test program after the
other, the cheapest first; the first that fails ends the matter.
"""

import concurrent.futures
import dataclasses
import json
import math
import os
import pathlib
import queue
import resource
import shutil
import signal
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
WORK = ROOT / "build" / "mutants"
COPIED = ["CMakeLists.txt", "CMakePresets.json", "cmake", "src", "devhost", "companion", "packaging", "tests", "fuzz",
          "bench"]
# The tests that `./run test` runs, as far as they can see a fault in the folder.
LABELS = {"src": {"unit", "process", "slow", "fuzz-replay"}, "companion": {"companion"}, "devhost": {"devhost"}}
# Labels of programs that start what they test instead of being linked with it.
START_THE_TESTED = {"process", "slow", "companion", "devhost", "load"}
# Also a test of the server whose label is for long runs, though it is short.
ALSO = {"load.memory_given_back"}
FASTER_TO_BUILD = ["-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g0", "-DCMAKE_COMPILE_WARNING_AS_ERROR=OFF",
                   "-DORVANE_HARDENED=OFF"]
LONGEST_SHARD_S = 2
HUNG = ", which hung"
LONG_S = 5  # a program that takes longer waits its turn
MEMORY_LIMIT = 6 * 1024**3  # of each test program: a fault may make it allocate for ever


@dataclasses.dataclass
class TestProgram:
    path: pathlib.Path
    arguments: list
    labels: set
    tests: int = 0
    seconds: float = 0

    def shards(self):
        """How many processes share its tests; only GoogleTest's take their part."""
        return 1 if self.arguments else max(1, min(8, math.ceil(self.seconds / LONGEST_SHARD_S)))

    def limit_s(self):
        return 30 + 6 * self.seconds / self.shards() + (60 if "slow" in self.labels else 0)


def _limit_memory():
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT, MEMORY_LIMIT))


class Copy:
    def __init__(self, area, number):
        self.area = area
        self.root = WORK / f"{area}{number}"
        self.build = self.root / "build"
        self.programs = []
        self.objects = {}
        self.original_objects = {}

    def _quietly(self, *command):
        return subprocess.run(command, cwd=self.root, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              stdin=subprocess.DEVNULL).returncode == 0

    # --- making it ---

    def prepare(self, timed=None):
        """Builds the copy, and sees that its tests pass without a fault. `timed` is a copy of which that is known: how
        long they take is taken over from it."""
        self.root.mkdir(parents=True, exist_ok=True)
        for name in COPIED:
            target = self.root / name
            if (ROOT / name).is_dir():
                # Files that did not change keep their time, so that a second run builds little; the others must not
                # take on the original's, or what was built of a mutant would count as newer.
                subprocess.run(["rsync", "-a", "--no-times", "--delete", "--checksum", "--exclude=node_modules",
                                "--exclude=__pycache__", f"{ROOT / name}/", str(target)], check=True)
            elif (ROOT / name).exists():
                shutil.copy2(ROOT / name, target)
        parts = [f"-DORVANE_BUILD_{part.upper()}={'ON' if self.area == part else 'OFF'}"
                 for part in ("devhost", "companion")]
        linker = ["-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld"] if shutil.which("ld.lld") else []
        if not self._quietly("cmake", "--preset", "dev", "-B", str(self.build), *parts, *linker, *FASTER_TO_BUILD):
            sys.exit("run_mutants.py: the copy does not configure")
        if not self.builds():
            sys.exit("run_mutants.py: the copy does not build")
        self._find_programs()
        if timed:
            for program, same in zip(self.programs, timed.programs, strict=True):
                program.seconds = same.seconds
        else:
            self._time_programs()
        for command in json.loads((self.build / "compile_commands.json").read_text()):
            file = os.path.relpath(command["file"], self.root)
            if "output" in command and "_verify_interface" not in command["output"]:
                self.objects.setdefault(file, self.build / command["output"])
        self.original_objects = {file: path.read_bytes() for file, path in self.objects.items()
                                 if file.startswith(self.area) and path.exists()}

    def _find_programs(self):
        listing = subprocess.run(["ctest", "--test-dir", str(self.build), "--show-only=json-v1"], check=True,
                                 capture_output=True, text=True).stdout
        found = {}
        for test in json.loads(listing)["tests"]:
            labels = set(next((p["value"] for p in test["properties"] if p["name"] == "LABELS"), []))
            also = self.area == "src" and test["name"] in ALSO
            if "command" not in test or not (also or labels & LABELS[self.area]):
                continue
            path, *arguments = test["command"]
            arguments = [word for word in arguments if not word.startswith("--gtest")]
            if also or pathlib.Path(path).is_relative_to(self.build):
                program = found.setdefault((path, *arguments), TestProgram(pathlib.Path(path), arguments, labels))
                program.tests += 1
        self.programs = list(found.values())

    def _time_programs(self):
        for program in self.programs:
            started = time.monotonic()
            if self._failure(program, 600):
                sys.exit(f"run_mutants.py: {program.path.name} fails without any fault")
            program.seconds = time.monotonic() - started

    # --- using it ---

    def builds(self, *targets):
        return self._quietly("ninja", "-C", str(self.build), "-j2", *(str(t) for t in targets))

    def _failure(self, program, limit_s):
        """Why the program does not pass; None if it does."""
        shards = program.shards()
        running = []
        for shard in range(shards):
            environment = {**os.environ, "GTEST_TOTAL_SHARDS": str(shards), "GTEST_SHARD_INDEX": str(shard),
                           "GTEST_FAIL_FAST": "1"}
            running.append(subprocess.Popen([program.path, *program.arguments], cwd=program.path.parent,
                                            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                            stderr=subprocess.DEVNULL, env=environment, start_new_session=True,
                                            preexec_fn=_limit_memory))
        end = time.monotonic() + limit_s
        failure = None
        while running and failure is None:
            for process in [p for p in running if p.poll() is not None]:
                running.remove(process)
                _end(process)  # what it started may be left, alive
                if process.returncode != 0:
                    failure = program.path.name
            if time.monotonic() > end:
                failure = program.path.name + HUNG
            time.sleep(0.02)
        for process in running:
            _end(process)
            process.wait()
        return failure

    def _target(self, program):
        """What must be built for the program; a script tests the server."""
        if program.path.is_relative_to(self.build):
            return program.path.relative_to(self.build)
        return "OrvaneMCPServer"

    def _in_order(self, file):
        """The programs that can see a fault in `file`: first its own folder's, with the most tests first, then the cheap
        ones."""
        folder = f"/tests/{pathlib.PurePath(file).parent.name}/"
        own = [program for program in self.programs if folder in str(program.path) and program.seconds < LONG_S]
        others = [program for program in self.programs if program not in own]
        return sorted(own, key=lambda program: -program.tests) + sorted(others, key=lambda program: program.seconds)

    def verdict(self, fault):
        """"noticed by ...", "SURVIVED", "does not build" or "compiles to the same"."""
        source = self.root / fault.file
        original = source.read_bytes()
        built = self.objects.get(fault.file)
        try:
            source.write_bytes(fault.mutated(original))
            if built is not None and built.exists():
                if not self.builds(os.path.relpath(built, self.build)):
                    return "does not build"
                if built.read_bytes() == self.original_objects[fault.file]:
                    return "compiles to the same"
            for program in self._in_order(fault.file):
                modified = program.path.stat().st_mtime_ns
                if not self.builds(self._target(program)):
                    return "does not build"
                if program.path.stat().st_mtime_ns == modified and not program.labels & START_THE_TESTED:
                    continue  # it does not hold the changed file
                failure = self._failure(program, program.limit_s())
                if failure is not None and failure.endswith(HUNG):
                    failure = self._failure(program, program.limit_s())  # or was it the machine?
                if failure is not None:
                    return f"noticed by {failure}"
            return "SURVIVED"
        finally:
            source.write_bytes(original)


def _end(process):
    """Ends the process and what it has started."""
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass


class Workbench:
    """Several copies of one area ("src", "companion", "devhost")."""

    def __init__(self, area, jobs):
        first, *others = [Copy(area, number) for number in range(jobs)]
        first.prepare()
        for copy in others:
            copy.prepare(timed=first)
        self.copies = queue.Queue()
        for copy in (first, *others):
            self.copies.put(copy)
        self.jobs = jobs
        self.build = first.build

    def judge(self, faults):
        """Yields (fault, verdict) in the order of `faults`."""
        def one(fault):
            copy = self.copies.get()
            try:
                return fault, copy.verdict(fault)
            finally:
                self.copies.put(copy)

        with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
            yield from pool.map(one, faults)
