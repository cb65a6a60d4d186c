#!/usr/bin/env python3
"""add_debian_files.py FOLDER VERSION CONTACT: puts what Debian wants beside the files of each component in FOLDER.

FOLDER/COMPONENT/usr holds an installation. Man pages are compressed; a changelog in Debian's form and the exceptions
for lintian are added. Nothing depends on the time: dates come from SOURCE_DATE_EPOCH.
"""

import email.utils
import gzip
import os
import sys
from pathlib import Path

PACKAGES = {"server": "orvane-mcp-server", "devhost": "orvane-devhost"}

# What lintian would report although it is meant so.
OVERRIDES = {
    # The programs are also installed beside the application, whose libraries they share.
    "server": ["custom-library-search-path"],
    "devhost": [],
}


def compress(source, target):
    with open(target, "wb") as file, gzip.GzipFile(filename="", mode="wb", fileobj=file, mtime=0) as packed:
        packed.write(source)


def compress_man_pages(folder):
    for page in folder.glob("usr/share/man/man*/*.[0-9]"):
        compress(page.read_bytes(), page.with_name(page.name + ".gz"))
        page.unlink()


def changelog(package, version, contact):
    date = email.utils.formatdate(int(os.environ["SOURCE_DATE_EPOCH"]))
    return (f"{package} ({version}) unstable; urgency=medium\n\n"
            f"  * What users notice is told in CHANGELOG.md.\n\n -- {contact}  {date}\n")


def main():
    if len(sys.argv) != 4 or not Path(sys.argv[1]).is_dir():
        print("add_debian_files.py: takes a folder of components, a version and a contact", file=sys.stderr)
        sys.exit(2)
    folder, version, contact = Path(sys.argv[1]), sys.argv[2], sys.argv[3]
    for component in (path for path in folder.iterdir() if path.name in PACKAGES):
        package = PACKAGES[component.name]
        compress_man_pages(component)
        compress(changelog(package, version, contact).encode(),
                 component / f"usr/share/doc/{package}/changelog.gz")
        if OVERRIDES[component.name]:
            overrides = component / "usr/share/lintian/overrides" / package
            overrides.parent.mkdir(parents=True)
            overrides.write_text("".join(f"{package}: {tag}\n" for tag in OVERRIDES[component.name]))


main()
