#!/usr/bin/env python3
"""collect_libraries.py FOLDER: makes the installation in FOLDER independent of the system's libraries.

Copies every library that the programs in FOLDER/bin need, and those that these need in turn, into FOLDER/lib,
and their licence notices into FOLDER/share/doc/orvane-mcp-server/licences. Left to the system is glibc alone: its
libraries belong to the kernel interface and the loader of the machine they run on.

A program's run path finds the libraries it names itself, but is not asked for what those name in turn. So each
copied library that needs another gets a run path of its own, its own folder.
"""

import re
import shutil
import subprocess
import sys
from pathlib import Path

# Debian's package of glibc; the loader lies in it too.
SYSTEM_PACKAGE = "libc6"
COMMON_LICENCES = Path("/usr/share/common-licenses")
DOC_FOLDER = "share/doc/orvane-mcp-server/licences"


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def resolved_libraries(program):
    """The whole closure as the loader finds it: name as it is asked for -> file."""
    listing = output_of("ldd", str(program))
    if missing := re.findall(r"^\s*(\S+) => not found", listing, re.MULTILINE):
        sys.exit(f"collect_libraries.py: {program} needs {', '.join(missing)}, not to be found")
    return {name: Path(path) for name, path in re.findall(r"^\s*(\S+) => (/\S+)", listing, re.MULTILINE)}


def package_of(library):
    """The Debian package that brought the library."""
    # Packages of Debian 12 name their files under /lib as often as under /usr/lib; the two are one folder.
    real = library.resolve()
    for path in (real, Path("/", *real.parts[2:])):
        found = subprocess.run(["dpkg-query", "--search", str(path)], capture_output=True, text=True)
        if found.returncode == 0:
            return found.stdout.split(":")[0]
    sys.exit(f"collect_libraries.py: no Debian package brought {library}, so its licence is not known")


def needed_by(library):
    return set(output_of("patchelf", "--print-needed", str(library)).split())


def copy_libraries(libraries, folder):
    folder.mkdir(parents=True, exist_ok=True)
    for name, path in libraries.items():
        copy = folder / name
        shutil.copyfile(path.resolve(), copy)
        copy.chmod(0o644)
    for name in libraries:
        if needed_by(folder / name) & libraries.keys():
            output_of("patchelf", "--set-rpath", "$ORIGIN", str(folder / name))


def copy_notices(packages, folder):
    folder.mkdir(parents=True, exist_ok=True)
    for package in packages:
        notice = folder / f"{package}.copyright"
        shutil.copyfile(f"/usr/share/doc/{package}/copyright", notice)
    # The notices refer to the long licences by their place on a Debian system, which this need not be.
    texts = "".join(path.read_text(errors="replace") for path in folder.glob("*.copyright"))
    for licence in sorted(set(re.findall(rf"{COMMON_LICENCES}/([\w.+-]*\w)", texts))):
        shutil.copyfile(COMMON_LICENCES / licence, folder / licence)


def write_origins(package_by_library, file):
    """Which file came from which package, so that its source can be had."""
    lines = ["library\tDebian package\tversion\tsource package\n"]
    for library, package in sorted(package_by_library.items()):
        columns = output_of("dpkg-query", "--show", "--showformat", r"${Package}\t${Version}\t${source:Package}\n",
                            package).splitlines()[0]
        lines.append(f"{library}\t{columns}\n")
    file.write_text("".join(lines))


def main():
    if len(sys.argv) != 2 or not (Path(sys.argv[1]) / "bin").is_dir():
        print("collect_libraries.py: takes one folder, which has programs in bin", file=sys.stderr)
        sys.exit(2)
    folder = Path(sys.argv[1])
    libraries = {}
    for program in (folder / "bin").iterdir():
        libraries.update(resolved_libraries(program))
    package_by_library = {name: package_of(path) for name, path in libraries.items()}
    bundled = {name: package for name, package in package_by_library.items() if package != SYSTEM_PACKAGE}
    copy_libraries({name: libraries[name] for name in bundled}, folder / "lib")
    notices = folder / DOC_FOLDER
    copy_notices(set(bundled.values()), notices)
    write_origins(bundled, notices / "libraries.tsv")


main()
