#!/usr/bin/env python3
"""Sees whether the tests notice faults, each put into a copy of the project by itself.

run_mutants.py [--jobs N] [WORD ...]                  the faults listed beside this file; WORDs choose among them
run_mutants.py --check                                only sees whether each of those still fits its source
run_mutants.py --random N [--seed S] [FOLDER]         N faults drawn by chance from all of FOLDER (src)
run_mutants.py --again [FOLDER]                       the survivors of the last random run, once more

Prints every fault that no test noticed, and exits with 1 if there is one. Survivors of which cannot_show.txt says why no
behaviour can show them are counted apart.
"""

import argparse
import itertools
import json
import pathlib
import random
import secrets
import sys
import time

from listed_faults import CANNOT_SHOW, read_all, read_list, reasons
from workbench import ROOT, WORK, Workbench

EXTENSIONS = {".cpp", ".h"}
BATCH = 30  # faults that are drawn, put in order and judged before the next are drawn


def check(faults):
    wrong = [f.title() for f in faults if f.mutated((ROOT / f.file).read_bytes()) is None]
    for title in wrong:
        print(f"does not fit its source exactly once: {title}")
    for fault in read_list(CANNOT_SHOW):
        lines = [line.strip() for line in (ROOT / fault.file).read_text().splitlines()]
        if not all(line.strip() in lines for line in fault.before):
            wrong.append(fault.title())
            print(f"no longer in its source: {fault.title()}")
    sources = {str(p.relative_to(ROOT)) for p in (ROOT / "src").rglob("*.cpp")}
    missing = sorted(sources - {f.file for f in faults} - {"src/server/mcp_server.cpp"})  # one line, no choices
    for name in missing:
        print(f"has no mutant: {name}")
    print(f"{len(faults)} mutants of {len({f.file for f in faults})} files")
    return 1 if wrong or missing else 0


def area_of(folder):
    return pathlib.PurePath(folder).parts[0]


# --- the list ---

def run_listed(faults, jobs):
    survivors = []
    areas = sorted({area_of(f.file) for f in faults})
    number = 0
    for area in areas:
        for fault, verdict in Workbench(area, jobs).judge([f for f in faults if area_of(f.file) == area]):
            number += 1
            print(f"[{number}/{len(faults)}] {fault.title()}: {verdict}", flush=True)
            if not verdict.startswith("noticed"):
                survivors.append(fault)
    print(f"{len(faults) - len(survivors)} of {len(faults)} mutants noticed")
    for fault in survivors:
        print(f"not noticed: {fault.title()}")
    return 1 if survivors else 0


# --- by chance ---

def judge_random(bench, faults, wanted, sources):
    """Judges faults until `wanted` of them could be built into something else, or until it is interrupted; returns
    {fault: verdict}."""
    verdicts = {}
    judged = 0
    faults = iter(faults)
    try:
        while judged < wanted:
            # Neighbours share a file, whose other parts then need not be built again.
            batch = sorted(itertools.islice(faults, min(wanted - judged, BATCH)))
            if not batch:
                break
            for fault, verdict in bench.judge(batch):
                verdicts[fault] = verdict
                judged += verdict == "SURVIVED" or verdict.startswith("noticed")
                print(f"[{judged}/{wanted}] {verdict}: {fault.title(sources[fault.file])}", flush=True)
    except KeyboardInterrupt:
        print("interrupted")
    return verdicts


def report(folder, seed, verdicts, sources):
    known = reasons()
    unseen, hidden = [], []
    for fault in sorted(f for f, verdict in verdicts.items() if verdict == "SURVIVED"):
        source = sources[fault.file]
        reason = known.get((fault.file, fault.function, *fault.change(source)))
        (unseen if reason is None else hidden).append((fault.title(source), reason))
    noticed = sum(verdict.startswith("noticed") for verdict in verdicts.values())
    print(f"\n{folder}, seed {seed}, {time.strftime('%Y-%m-%d')}: {len(verdicts)} faults drawn; "
          f"{sum(v == 'does not build' for v in verdicts.values())} do not build, "
          f"{sum(v == 'compiles to the same' for v in verdicts.values())} compile to the same.")
    for title, reason in hidden:
        print(f"cannot show: {title}\n    {reason}")
    for title, _ in unseen:
        print(f"not noticed: {title}")
    can_show = noticed + len(unseen)
    print(f"{noticed} of {can_show} that can show are noticed: {100 * noticed / max(can_show, 1):.1f} %; "
          f"{len(hidden)} more cannot show.")
    return 1 if unseen else 0


def read_sources(bench, faults):
    """The copies' sources, as they are while none has a fault in it; the project's own may change meanwhile."""
    return {file: (bench.build.parent / file).read_bytes() for file in {fault.file for fault in faults}}


def run_random(folder, wanted, seed, jobs):
    from random_faults import drawn, faults_of

    bench = Workbench(area_of(folder), jobs)
    copy = bench.build.parent
    names = sorted(str(path.relative_to(copy)) for path in (copy / folder).rglob("*") if path.suffix in EXTENSIONS)
    faults = faults_of(copy, bench.build, names)
    sources = read_sources(bench, faults)
    print(f"{len(faults)} faults fit {folder}; {wanted} are drawn with seed {seed}", flush=True)
    verdicts = judge_random(bench, drawn(faults, random.Random(seed)), wanted, sources)
    survivors = [[f.file, f.start, f.end, f.replacement.decode(), f.kind, f.function, list(f.change(sources[f.file]))]
                 for f, verdict in verdicts.items() if verdict == "SURVIVED"]
    last_run(folder).write_text(json.dumps({"seed": seed, "survivors": survivors}))
    return report(folder, seed, verdicts, sources)


def last_run(folder):
    return WORK / f"last_run_{folder.replace('/', '_')}.json"


def run_again(folder, jobs):
    from random_faults import Fault

    last = json.loads(last_run(folder).read_text())
    bench = Workbench(area_of(folder), jobs)
    faults = []
    for file, start, end, replacement, kind, function, change in last["survivors"]:
        fault = Fault(file, start, end, replacement.encode(), kind, function)
        now = [list(lines) for lines in fault.change((bench.build.parent / file).read_bytes())]
        if now == change:
            faults.append(fault)
        else:
            print(f"no longer fits: {file}, {function}: {' '.join(change[1])}")
    sources = read_sources(bench, faults)
    return report(folder, last["seed"], judge_random(bench, faults, len(faults), sources), sources)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--check", action="store_true")
    parser.add_argument("--random", type=int, metavar="N")
    parser.add_argument("--seed", type=int)
    parser.add_argument("--again", action="store_true")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("words", nargs="*", metavar="WORD or FOLDER")
    options = parser.parse_args()
    if options.random is not None or options.again:
        folder = options.words[0].rstrip("/") if options.words else "src"
        if len(options.words) > 1 or not (ROOT / folder).is_dir() or area_of(folder) not in ("src", "companion", "devhost"):
            parser.error("one folder of src, companion or devhost, please")
        if options.again:
            return run_again(folder, options.jobs)
        seed = secrets.randbelow(1_000_000) if options.seed is None else options.seed
        return run_random(folder, options.random, seed, options.jobs)
    faults = read_all()
    if options.check:
        return check(faults)
    if options.words:
        faults = [f for f in faults if any(word in f.title() for word in options.words)]
        if not faults:
            parser.error("no mutant has such a title")
    return run_listed(faults, options.jobs)


if __name__ == "__main__":
    sys.exit(main())
