#!/usr/bin/env python3
"""run_mutants.py [--check] [--jobs N] [WORD ...]

Puts each listed fault into a copy of the project and runs the tests until one fails; prints the faults that no test
noticed and exits with 1 if there is one. --check only sees whether every fault still fits its source, and whether
each source file has one. WORDs choose the mutants whose title or file holds one of them.
"""

import argparse
import concurrent.futures
import pathlib
import queue
import shutil
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
WORK = ROOT / "build" / "mutants"
COPIED = ["CMakeLists.txt", "CMakePresets.json", "cmake", "src", "devhost", "companion", "packaging", "tests", "fuzz",
          "bench"]
# A folder's own tests come first: they notice most of its faults, and only they have to be linked for it.
OWN_TESTS = {"src/json": ["json_tests"], "src/mcp": ["mcp_tests"], "src/server": ["server_tests", "server_call_tests"],
             "src/ipc": ["ipc_tests"], "src/tools": ["tools_tests"]}
OWN_TESTS_LIMIT_S = 120
# Then all tests, cheap ones first; the last are those with waits of half a minute.
STAGES = [["-L", "unit"], ["-L", "process|fuzz-replay", "-LE", "slow"], ["-L", "slow"],
          ["-R", "^load.memory_given_back$"]]
TARGETS_OF_NO_INTEREST = ["-DORVANE_BUILD_DEVHOST=OFF", "-DORVANE_BUILD_COMPANION=OFF"]


class Mutant:
    def __init__(self, file, title):
        self.file = file
        self.title = title
        self.before = []
        self.after = []

    def name(self):
        return f"{self.file}: {self.title}"

    def mutated(self, source):
        """The source with the fault in it; None if the fault does not fit exactly once."""
        before = "\n".join(self.before) + "\n"
        lines = "\n" + source
        if lines.count("\n" + before) != 1:
            return None
        return lines.replace("\n" + before, "\n" + "\n".join(self.after) + "\n")[1:]


def read_list(path):
    mutants = []
    file = None
    for line in path.read_text().splitlines():
        if line.startswith("file: "):
            file = line[len("file: "):]
        elif line.startswith("== "):
            mutants.append(Mutant(file, line[3:]))
        elif line.startswith("- "):
            mutants[-1].before.append(line[2:])
        elif line.startswith("+ "):
            mutants[-1].after.append(line[2:])
        elif line.strip():
            sys.exit(f"run_mutants.py: {path.name}: what is '{line}'?")
    return mutants


def read_all():
    mutants = []
    for path in sorted(HERE.glob("*.txt")):
        mutants += read_list(path)
    return mutants


def check(mutants):
    wrong = [m.name() for m in mutants if m.mutated((ROOT / m.file).read_text()) is None]
    for name in wrong:
        print(f"does not fit its source exactly once: {name}")
    sources = {str(p.relative_to(ROOT)) for p in (ROOT / "src").rglob("*.cpp")}
    missing = sorted(sources - {m.file for m in mutants} - {"src/server/mcp_server.cpp"})  # one line, no choices
    for name in missing:
        print(f"has no mutant: {name}")
    print(f"{len(mutants)} mutants of {len({m.file for m in mutants})} files")
    return 1 if wrong or missing else 0


class Copy:
    """A copy of the project, built once, in which faults come and go."""

    def __init__(self, number):
        self.root = WORK / f"copy{number}"
        self.build = self.root / "build"

    def quietly(self, *command):
        return subprocess.run(command, cwd=self.root, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              stdin=subprocess.DEVNULL).returncode == 0

    def prepare(self):
        self.root.mkdir(parents=True, exist_ok=True)
        for name in COPIED:
            target = self.root / name
            if (ROOT / name).is_dir():
                # Files that did not change keep their time, so that a second run builds little; the others must not
                # take on the original's, or what was built of a mutant would count as newer.
                subprocess.run(["rsync", "-a", "--no-times", "--delete", "--checksum", "--exclude=node_modules",
                                f"{ROOT / name}/", str(target)], check=True)
            elif (ROOT / name).exists():
                shutil.copy2(ROOT / name, target)
        if not self.quietly("cmake", "--preset", "dev", "-B", str(self.build), *TARGETS_OF_NO_INTEREST):
            sys.exit("run_mutants.py: the copy does not configure")
        if not self.builds() or self.killed_by_stage() is not None:
            sys.exit("run_mutants.py: the project fails its tests without any mutant")

    def builds(self, *targets):
        return self.quietly("cmake", "--build", str(self.build), *(["--target", *targets] if targets else []))

    def killed_by_own_tests(self, folder):
        """The first of the folder's own test programs that fails or does not end; None if all pass."""
        for program in OWN_TESTS.get(folder, []):
            path = self.build / "tests" / pathlib.Path(folder).name / program
            try:
                done = subprocess.run([path, "--gtest_fail_fast"], cwd=path.parent, stdin=subprocess.DEVNULL,
                                      stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=OWN_TESTS_LIMIT_S,
                                      check=False)
            except subprocess.TimeoutExpired:
                return program
            if done.returncode != 0:
                return program
        return None

    def killed_by_stage(self):
        for stage in STAGES:
            if not self.quietly("ctest", "--test-dir", str(self.build), "--stop-on-failure", "-j32", *stage):
                return " ".join(stage)
        return None

    def verdict(self, mutant):
        source = self.root / mutant.file
        original = source.read_text()
        try:
            source.write_text(mutant.mutated(original))
            folder = str(pathlib.Path(mutant.file).parent)
            if not self.builds(*OWN_TESTS.get(folder, [])):
                return "does not build"
            stage = self.killed_by_own_tests(folder)
            if stage is None and not self.builds():
                return "does not build"
            stage = stage or self.killed_by_stage()
            return "SURVIVED" if stage is None else f"killed by {stage}"
        finally:
            source.write_text(original)


def run(mutants, jobs):
    copies = queue.Queue()
    for number in range(jobs):
        copy = Copy(number)
        copy.prepare()
        copies.put(copy)

    def judge(mutant):
        copy = copies.get()
        try:
            return mutant, copy.verdict(mutant)
        finally:
            copies.put(copy)

    survivors = []
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        for number, (mutant, verdict) in enumerate(pool.map(judge, mutants), 1):
            print(f"[{number}/{len(mutants)}] {mutant.name()}: {verdict}", flush=True)
            if not verdict.startswith("killed"):
                survivors.append(mutant)
    print(f"{len(mutants) - len(survivors)} of {len(mutants)} mutants killed")
    for mutant in survivors:
        print(f"not noticed: {mutant.name()}")
    return 1 if survivors else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--check", action="store_true")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("words", nargs="*")
    options = parser.parse_args()
    mutants = read_all()
    if options.check:
        return check(mutants)
    if options.words:
        mutants = [m for m in mutants if any(word in m.name() for word in options.words)]
        if not mutants:
            parser.error("no mutant has such a title")
    return run(mutants, options.jobs)


if __name__ == "__main__":
    sys.exit(main())
