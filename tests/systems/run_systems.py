#!/usr/bin/env python3
"""run_systems.py [--packages] [NAME...]: does what a newcomer does, on each system that the project is for.

Each system is a bare Debian root of its own, with git, an ordinary user who may use sudo, and a fresh clone of what is
committed here; the commands of its row run there. With --packages the commands are those that make the packages, which
then lie in build/package/NAME, and each is installed in another bare root of that system and tried there.

Prints a table of what passed and how long it took, and ends with status 1 if anything failed. What the commands print
goes to build/systems/NAME.log. Needs root, for chroot; roots are made by mmdebstrap once and kept in
~/.cache/orvane-mcp-server.
"""

import dataclasses
import os
import shutil
import subprocess
import sys
import time
from pathlib import Path

from bare_root import BareRoot, system_archive

SOURCE = Path(__file__).resolve().parents[2]
LOGS = SOURCE / "build/systems"

USER = "newcomer"
CLONE = f"/home/{USER}/clone"
PACKAGES = "ca-certificates,git,sudo"
INSTALL = "./run install"
HANDED_IN = ["ORVANE_PACKAGE_CONTACT"]  # variables that the commands see
# The emulator of another processor is slow, so tests of the repository and those that wait for long are left out there.
# It keeps no limit of memory, has little room for the heap, starts threads of its own, and refuses the way in which
# QProcess starts programs; the tests of those are left out too, and so is the demo, which starts the development host
# with it.
NOT_EMULATED = "freed_memory|AllocationFails|OneThreadBeside|FreedInOneArena|CheckLibraries|FindsNothingWrongWhenAll|" \
               "FindsMissingLibraries|PrintsJsonForPrograms|readme_commands|" \
               "devhost_tests[.].*(ReadingProcess|ServedSample|Server|Starting|StopSignal)[.]"
EMULATED_TESTS = ("cmake --preset dev && cmake --build --preset dev && "
                  "ctest --preset dev -L \"^(unit|process|companion|devhost|documents)$\" "
                  f"-E \"{NOT_EMULATED}\" --timeout 1200")

BUILD_WITH_CLANG = (f"{INSTALL} fuzz && CC=clang CXX=clang++ cmake --preset dev -B build/clang && "
                    "cmake --build build/clang")


@dataclasses.dataclass
class System:
    """`commands`, each under a short name, are run one after another in the clone, by the user's shell; the first to
    fail is the last."""
    suite: str
    architecture: str
    commands: dict
    emulated: bool = False


NEWCOMER = {"demo": "./run demo", "test": "./run test", "build with clang": BUILD_WITH_CLANG}
EMULATED = {"install": f"{INSTALL} build companion test", "build and test": EMULATED_TESTS}
SYSTEMS = {
    "debian-12": System("bookworm", "amd64", NEWCOMER),
    "debian-13": System("trixie", "amd64", NEWCOMER),
    "debian-12-arm64": System("bookworm", "arm64", EMULATED, emulated=True),
}

MAKE_PACKAGES = {"install": f"{INSTALL} build companion package",
                 "make the packages": "packaging/make_packages.sh --without-bundle"}

# Installs the Debian packages as root, then asks as the user: doctor must be content, and a call must answer.
TRY_PACKAGES = f"""
apt-get update -qq
DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends /packages/*.deb
runuser -u {USER} -- sh -ec '
  orvane-devhost /bin/true >/tmp/announcement &
  until grep -q . /tmp/announcement; do sleep 0.1; done
  orvane-mcp doctor --call
  test "$(orvane-mcp call list_documents)" = "[\\"true\\"]"'
"""
# The archive brings its libraries along, so it is tried before anything is installed.
TRY_ARCHIVE = """
tar -xzf /packages/*.tar.gz -C /opt
test "$(/opt/*/bin/orvane-mcp tools | wc -l)" -ge 34
"""

# Runs a command in the root that follows. The mounts are this process's own and end with it.
ENTER = ("unshare", "--mount", "--pid", "--fork", "--kill-child", "--propagation", "private", "sh", "-ec",
         'mount -t proc proc "$0/proc"; mount --rbind /dev "$0/dev"; mount --bind /etc/resolv.conf "$0/etc/resolv.conf"; '
         'exec chroot "$0" "$@"')


def new_root(system):
    """A bare root of the system, with the user in it."""
    add_user = (f'chroot "$1" useradd --create-home --shell /bin/bash {USER}; '
                f'echo "{USER} ALL=(ALL) NOPASSWD: ALL" >"$1/etc/sudoers.d/{USER}"; '
                'touch "$1/etc/resolv.conf"')
    return BareRoot(system_archive(f"systems/{system.suite}-{system.architecture}.tar", system.suite,
                                   "--variant=minbase", f"--architectures={system.architecture}",
                                   f"--include={PACKAGES}", f"--customize-hook={add_user}"))


def in_root(root, command, log):
    """The exit status of the command, run by root's shell in `root`."""
    environment = {"PATH": "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C.UTF-8",
                   "HOME": "/root"}
    environment |= {name: os.environ[name] for name in HANDED_IN if name in os.environ}
    return subprocess.run([*ENTER, str(root), "bash", "-ec", command], env=environment, stdin=subprocess.DEVNULL,
                          stdout=log, stderr=log, check=False).returncode


def in_clone(root, system, command, log):
    """The exit status of the command, run by the user's shell in the clone."""
    # Programs that an emulator runs gain no rights, sudo among them: there, root installs what the user needs.
    if system.emulated and command.startswith(INSTALL):
        return in_root(root, f"cd {CLONE} && {command}", log)
    return in_root(root, f"exec runuser -u {USER} -- env HOME=/home/{USER} bash -c 'cd {CLONE} && {command}'", log)


def install_clone(root):
    subprocess.run(["git", "clone", "--quiet", str(SOURCE), f"{root}{CLONE}"], check=True)
    subprocess.run([*ENTER, str(root), "chown", "-R", f"{USER}:", CLONE], check=True)


def timed(name, work):
    """(name, outcome, duration) and whether it passed."""
    start = time.monotonic()
    status = work()
    duration = f"{time.monotonic() - start:.0f} s"
    return (name, "passed" if status == 0 else f"failed with {status}", duration), status == 0


def run_commands(system, commands, log, keep=None):
    """A row for each command, up to the first that fails. `keep(root)` is called when all passed."""
    with new_root(system) as root:
        install_clone(root)
        for name, command in commands.items():
            row, passed = timed(name, lambda command=command: in_clone(root, system, command, log))
            yield row
            if not passed:
                return
        if keep:
            keep(root)


def make_and_try_packages(name, system, log):
    folder = SOURCE / "build/package" / name
    shutil.rmtree(folder, ignore_errors=True)

    def keep(root):
        folder.mkdir(parents=True)
        for file in [*(root / CLONE[1:] / "build/package").glob("*.deb"),
                     *(root / CLONE[1:] / "build/package").glob("*.tar.gz")]:
            shutil.copy(file, folder)

    yield from run_commands(system, MAKE_PACKAGES, log, keep)
    if not folder.exists():
        return
    for what, script in (("try the archive", TRY_ARCHIVE), ("install and try the packages", TRY_PACKAGES)):
        with new_root(system) as root:
            shutil.copytree(folder, root / "packages")
            yield timed(what, lambda root=root, script=script: in_root(root, script, log))[0]


def refuse(reason):
    print(f"run_systems.py: {reason}", file=sys.stderr)
    sys.exit(2)


def main():
    names = [name for name in sys.argv[1:] if name != "--packages"] or list(SYSTEMS)
    packages = "--packages" in sys.argv[1:]
    for name in names:
        if name not in SYSTEMS:
            refuse(f"there is no system '{name}'; there are {', '.join(SYSTEMS)}")
    LOGS.mkdir(parents=True, exist_ok=True)
    rows = []
    for name in names:
        log_file = LOGS / f"{name}.log"
        print(f"{name}: what its commands print is in {log_file.relative_to(SOURCE)}", file=sys.stderr, flush=True)
        with open(log_file, "wb") as log:
            system = SYSTEMS[name]
            done = make_and_try_packages(name, system, log) if packages else run_commands(system, system.commands, log)
            for row in done:
                rows.append((name, *row))
                print("  " + ", ".join(row), file=sys.stderr, flush=True)
    widths = [max(len(row[column]) for row in rows) for column in range(4)]
    for row in rows:
        print("  ".join(text.ljust(width) for text, width in zip(row, widths)).rstrip())
    sys.exit(0 if all(row[2] == "passed" for row in rows) else 1)


if __name__ == "__main__":
    main()
