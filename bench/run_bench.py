#!/usr/bin/env python3
"""run_bench.py [quick] [--build FOLDER] [--write-document]

Runs every benchmark of a build folder (build/bench) in rounds, all programs once a round, so that a slow moment of
the machine meets all of them. Writes the figures, the page that they make and its charts to FOLDER/report, prints the
page, and ends with status 1 if a threshold of targets.py was passed beyond the spread. With --write-document the
figures, the page and the charts also replace those in docs/. A full run takes about 10 minutes, a quick one about one.
"""

import argparse
import json
import os
import pathlib
import platform
import shutil
import subprocess
import sys
import tempfile
import time

import charts
import document
import figures as statistics_of
import measures
import targets
from measures import SERVER
from read_catalogue import read_catalogue

FULL_ROUNDS = 5
QUICK_ROUNDS = 2
# Least time for each JSON benchmark in a round, in seconds.
FULL_JSON_TIME = 0.2
QUICK_JSON_TIME = 0.01

TOP = pathlib.Path(__file__).parents[1]
DOCS = TOP / "docs"
FIGURES = "performance_figures.json"
CHARTS = pathlib.Path("images/performance")

JSON_BENCHMARKS = ["bench_json", "bench_reply_way"]


class Parser(argparse.ArgumentParser):
    def error(self, message):
        print(f"run_bench.py: {message}", file=sys.stderr)
        sys.exit(2)


def read_options():
    parser = Parser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("extent", nargs="?", choices=["full", "quick"], default="full")
    parser.add_argument("--build", type=pathlib.Path, default=TOP / "build/bench")
    parser.add_argument("--write-document", action="store_true")
    options = parser.parse_args()
    options.build = options.build.resolve()
    if options.write_document and options.extent == "quick":
        parser.error("the document is written from a full run only")
    driver = options.build / "bench/bench_round_trips"
    if not driver.exists():
        parser.error(f"there are no benchmarks in {options.build}")
    return options


def last_core():
    return {max(os.sched_getaffinity(0))}


class Run:
    """One run of everything. `figures` collects a value a round: {(measure, field, subject): [values]}."""

    def __init__(self, build, quick, folder):
        self.build = build
        self.quick = quick
        self.figures = {}
        catalogue = read_catalogue(str(build / "src/app/OrvaneMCPServer"))
        catalogue_file = folder / "catalogue.json"
        catalogue_file.write_text(json.dumps(catalogue), encoding="utf-8")
        self.requests = catalogue["requests"]
        self.subjects, self.missing = measures.find_subjects(build, catalogue_file)
        self.series = {name: self._wanted(row) for name, row in measures.growth_series().items()}

    def _wanted(self, row):
        return [measure for measure in row if not self.quick or measure.quick is not None]

    def round(self):
        for benchmark in JSON_BENCHMARKS:
            self._run_json(self.build / "bench" / benchmark)
        for row in [self._wanted(measures.ROUND_TRIPS), *self.series.values()]:
            for measure in row:
                for subject in measure.subjects + ([] if self.quick else measure.extra):
                    if subject in self.subjects:
                        self._drive(measure, subject)

    def _add(self, measure, field, subject, value):
        self.figures.setdefault((measure, field, subject), []).append(value)

    def _run_json(self, program):
        """Google Benchmark; its names end in the subject: "parse/numbers/ours"."""
        if not program.exists():
            return
        least = QUICK_JSON_TIME if self.quick else FULL_JSON_TIME
        done = subprocess.run([str(program), "--benchmark_format=json", f"--benchmark_min_time={least}"], check=True,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                              preexec_fn=lambda: os.sched_setaffinity(0, last_core()))
        for row in json.loads(done.stdout)["benchmarks"]:
            measure, subject = row["name"].rsplit("/", 1)
            scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[row["time_unit"]]
            self._add(measure, "cpu_time", subject, row["cpu_time"] * scale)

    def _command(self, measure, subject):
        program = self.subjects[subject]
        command = [str(self.build / "bench/bench_round_trips"), measure.kind,
                   "--host", str(self.build / "bench/bench_host"), *measures.greeting_options(program.dialect)]
        if measure.question:
            command += ["--ask", measures.line_for(measure.question, program.dialect, self.requests)]
        options = {**measure.options, **(measure.quick if self.quick else {})}
        for name, value in options.items():
            command += [f"--{name}", str(value)]
        return command + ["--", *program.command]

    def _drive(self, measure, subject):
        done = subprocess.run(self._command(measure, subject), text=True, capture_output=True, check=False)
        if done.returncode == 0:
            for field, value in json.loads(done.stdout).items():
                self._add(measure.name, field, subject, value)
        elif subject == SERVER:
            sys.exit(f"run_bench.py: {measure.name}: {done.stderr.strip() or 'took too long'}")
        else:
            self.missing[subject] = f"it failed at the measure '{measure.name}'"
            del self.subjects[subject]


def machine():
    """The processor's model, the cores and the memory: absolute times mean little without them."""
    model = platform.machine()
    for line in pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines():
        if line.startswith("model name"):
            model = line.split(":", 1)[1].strip()
            break
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    return f"{model}, {os.cpu_count()} cores, {memory:.0f} GiB"


def write_page(folder, run, facts):
    """The figures, the page and the charts, into `folder` as they lie in docs/. Returns the page."""
    statistics_of.save(folder / FIGURES, run.figures, facts)
    kept, _ = statistics_of.load(folder / FIGURES)
    template = (pathlib.Path(__file__).parent / "performance_template.md").read_text(encoding="utf-8")
    page = document.rendered(template, kept, facts)
    (folder / "performance.md").write_text(page, encoding="utf-8")
    if shutil.which("gnuplot"):
        charts.draw_all(folder / CHARTS, kept, run.series)
    else:
        print("No charts: gnuplot is not installed.", file=sys.stderr)
    return page


def main():
    options = read_options()
    quick = options.extent == "quick"
    start = time.monotonic()
    rounds = QUICK_ROUNDS if quick else FULL_ROUNDS
    with tempfile.TemporaryDirectory(prefix="orv", dir="/tmp") as sockets:
        os.environ["TMPDIR"] = sockets
        run = Run(options.build, quick, pathlib.Path(sockets))
        for number in range(rounds):
            print(f"round {number + 1} of {rounds}, {time.monotonic() - start:.0f} s", file=sys.stderr, flush=True)
            run.round()
    for name, reason in run.missing.items():
        print(f"{name}: not measured, since {reason}.", file=sys.stderr)
    facts = {"machine": machine(), "rounds": rounds}
    report = options.build / "report"
    report.mkdir(exist_ok=True)
    print(write_page(report, run, facts))
    if options.write_document:
        write_page(DOCS, run, facts)
    passed = list(targets.regressions(run.figures, run.series))
    for line in passed:
        print(f"run_bench.py: {line}", file=sys.stderr)
    sys.exit(1 if passed else 0)


if __name__ == "__main__":
    main()
