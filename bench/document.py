#!/usr/bin/env python3
"""document.py FIGURES TEMPLATE [PAGE]: prints docs/performance.md, made from a kept file of figures.

The page says nothing that is not in the figures: its tables and numbers replace the marks {{...}} of the template. With
PAGE, prints nothing and ends with status 1 if that file is another page.
"""

import pathlib
import re
import statistics
import sys

import figures as statistics_of
from measures import C_RELAY, SDK, SERVER, growth_series
from targets import GROWTH_FIELD, GROWTH_LIMIT, IDLE_FIELDS, JSON_PAYLOADS, JSON_PEERS, PROGRAMS, regressions

STAGES = {"1_document": "Qt parses the document", "2_compact": "Qt prints the result compactly",
          "3_decode": "decoded to UTF-16", "4_encode": "encoded to UTF-8", "5_parse": "`Json::parse`",
          "6_dump": "`dump` of the result", "8_quote_and_write": "quoted into the reply and written"}
STAGED_REPLIES = {"long_string": "220 KB of assembly", "names_object": "3 MB of names", "info_array": "8 MB of infos"}


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows])


def shown(ratio):
    return f"{ratio.median:.2f} ({ratio.lowest:.2f}–{ratio.highest:.2f})" if ratio else "–"


class Page:
    """What the marks of the template stand for."""

    def __init__(self, figures, run):
        self.figures = figures
        self.run = run

    def _absolute(self, measure, field, subject, factor, unit):
        value = statistics_of.median(self.figures, measure, field, subject)
        return "–" if value is None else f"{value * factor:.3g} {unit}"

    def four_numbers(self):
        rows = [("start, until the first reply", "start", "p50_us", 1e-3, "ms"),
                ("memory after start", "start", "resident_kib", 1 / 1024, "MiB"),
                ("a small call, there and back", "small call", "p50_us", 1, "µs"),
                ("the list of tools", "tool list", "p50_us", 1, "µs")]
        return table(["", "OrvaneMCPServer", "official TypeScript SDK", "smallest possible program"],
                     [[what] + [self._absolute(measure, field, subject, factor, unit)
                                for subject in (SERVER, SDK, C_RELAY)]
                      for what, measure, field, factor, unit in rows])

    def programs(self):
        rows = [[row.what, row.other, shown(self._ratio(row))] for row in PROGRAMS]
        return table(["what", "beside", "times the other's: median (spread)"], rows)

    def _ratio(self, row):
        return statistics_of.ratio(self.figures, row.measure, row.field, row.ours, row.other)

    def json(self):
        rows = [[f"{verb} {label}"] + [shown(statistics_of.ratio(self.figures, f"{direction}/{payload}", "cpu_time",
                                                                  "ours", peer)) for peer in JSON_PEERS]
                for direction, verb in (("parse", "read"), ("dump", "print"))
                for payload, label in JSON_PAYLOADS.items()]
        return table(["times the other's: median (spread)", *JSON_PEERS.values()], rows)

    def _stage(self, payload, stage):
        """A value a round, in nanoseconds; empty where the stage is left out."""
        return self.figures.get((f"reply_way/{payload}", "cpu_time", stage), [])

    def _sum_over_whole(self, payload):
        sums = [sum(stages) for stages in zip(*filter(None, (self._stage(payload, stage) for stage in STAGES)))]
        return statistics_of.ratio_of(sums, self._stage(payload, "whole"))

    def stages(self):
        def cell(values):
            return f"{statistics.median(values) / 1e6:.3g}" if values else "–"
        rows = [[what] + [cell(self._stage(payload, stage)) for payload in STAGED_REPLIES]
                for stage, what in {**STAGES, "whole": "**the whole way, measured as one**"}.items()]
        rows.append(["**sum of the stages, times the whole: median (spread)**"] +
                    [shown(self._sum_over_whole(payload)) for payload in STAGED_REPLIES])
        return table(["milliseconds", *STAGED_REPLIES.values()], rows)

    def growth(self):
        rows = []
        for name, measures in growth_series().items():
            found = statistics_of.growth(self.figures, measures, GROWTH_FIELD, SERVER)
            rows.append([name, f"{measures[0].size:,} to {measures[-1].size:,}", shown(found)])
        return table(["series", "range", "exponent: median (spread)"], rows)

    def growth_limit(self):
        return f"{GROWTH_LIMIT:g}"

    def memory(self):
        rows = []
        for (measure, field, subject), values in self.figures.items():
            if field == "stays_kib" and subject == SERVER:
                rows.append([measure, self._absolute(measure, "before_kib", subject, 1 / 1024, "MiB"),
                             f"{max(values) / 1024:.1f} MiB"])
        return table(["one second", "before", "more than before, at most"], rows)

    def idle(self):
        return ", ".join(f"{text}: {max(self.figures[('idle', field, SERVER)]):g}"
                         for field, text in IDLE_FIELDS.items() if ("idle", field, SERVER) in self.figures)

    def above_thresholds(self):
        lines = [f"- {line}" for line in regressions(self.figures, growth_series())]
        return "\n".join(lines) if lines else "None."

    def machine(self):
        return self.run["machine"]

    def rounds(self):
        return str(self.run["rounds"])


def rendered(template, figures, run):
    page = Page(figures, run)
    return re.sub(r"\{\{(\w+)\}\}", lambda mark: getattr(page, mark.group(1))(), template)


def main():
    if len(sys.argv) not in (3, 4):
        print("document.py: takes a file of figures, a template, and a page to compare at the most", file=sys.stderr)
        sys.exit(2)
    figures, run = statistics_of.load(pathlib.Path(sys.argv[1]))
    template = pathlib.Path(sys.argv[2]).read_text(encoding="utf-8")
    page = rendered(template, figures, run)
    if len(sys.argv) == 3:
        print(page, end="")
    elif pathlib.Path(sys.argv[3]).read_text(encoding="utf-8") != page:
        sys.exit(f"{sys.argv[3]} is not what its figures make: run ./run bench --write-document")


if __name__ == "__main__":
    main()
