"""What the server is to reach, as ratios to other programs in the same run."""

import dataclasses
import statistics

from measures import C_RELAY, COMPANION, QT_FLOOR, QT_RELAY, REFERENCE, SDK, SERVER

GROWTH_LIMIT = 4.4  # of the time, for four times the size
# Of the server alone: on a busy machine a long wait is interrupted more often than a short one.
GROWTH_FIELD = "processor_us"


@dataclasses.dataclass
class Target:
    """`measure`'s `field` of ours and of another. `faster`: the other's divided by ours, at least `bound`; otherwise
    ours divided by the other's, at most `bound`."""
    what: str
    measure: str
    field: str
    ours: str
    other: str
    faster: bool
    bound: float


@dataclasses.dataclass
class Verdict:
    what: str
    measured: str
    target: str
    reached: str


def json_target(direction, payload, text, other, bound, faster=True):
    return Target(f"{direction} of {text}, against {other}", f"{direction}/{payload}", "cpu_time", "ours", other,
                  faster, bound)


def time_target(what, measure, other, bound, faster=False):
    return Target(f"{what}, against {other}", measure, "p50_us", SERVER, other, faster, bound)


JSON_TARGETS = [
    json_target("parse", "small_call", "the small line", "nlohmann", 2.5),
    json_target("parse", "names_object", "the 3 MB object", "nlohmann", 3.5),
    json_target("parse", "info_array", "the 8 MB array", "nlohmann", 1.6),
    json_target("parse", "long_string", "the long string", "nlohmann", 5),
    json_target("parse", "escapes", "strings with escapes", "nlohmann", 1.7),
    json_target("parse", "numbers", "numbers", "nlohmann", 2),
    json_target("parse", "small_call", "the small line", "qt", 1),
    json_target("parse", "names_object", "the 3 MB object", "qt", 1.3, faster=False),
    json_target("parse", "info_array", "the 8 MB array", "qt", 1),
    json_target("parse", "long_string", "the long string", "qt", 1),
    json_target("parse", "escapes", "strings with escapes", "qt", 1),
    json_target("parse", "numbers", "numbers", "qt", 1),
    json_target("dump", "small_call", "the small line", "nlohmann", 5),
    json_target("dump", "names_object", "the 3 MB object", "nlohmann", 2.5),
    json_target("dump", "info_array", "the 8 MB array", "nlohmann", 1.5),
    json_target("dump", "long_string", "the long string", "nlohmann", 4),
    json_target("dump", "escapes", "strings with escapes", "nlohmann", 3),
    json_target("dump", "numbers", "numbers", "nlohmann", 1),
    json_target("dump", "small_call", "the small line", "rapidjson", 1),
    json_target("dump", "long_string", "the long string", "rapidjson", 1),
    json_target("dump", "escapes", "strings with escapes", "rapidjson", 1),
    json_target("dump", "numbers", "numbers", "rapidjson", 1.2, faster=False),
]

# Printed by bench_reply_way under these names, where that is built.
REPLY_WAY_TARGETS = [
    Target(f"whole way of the {text}, against the Qt floor", f"reply_way/{payload}", "cpu_time", "whole", "qt_floor",
           False, bound)
    for payload, text, bound in [("names_object", "3 MB object", 1.45), ("info_array", "8 MB array", 1.5),
                                 ("long_string", "220 KB string", 1.1)]
]

PROGRAM_TARGETS = [
    time_target("round trip of the 3 MB object", "3 MB object", QT_FLOOR, 1.45),
    time_target("round trip of the 8 MB array", "8 MB array", QT_FLOOR, 1.5),
    time_target("round trip of the 220 KB string", "220 KB string", QT_FLOOR, 1.1),
    Target("peak memory, 3 MB object, against Qt floor", "memory, 3 MB object", "peak_kib", SERVER, QT_FLOOR, False,
           1.5),
    Target("peak memory, 8 MB array, against Qt floor", "memory, 8 MB array", "peak_kib", SERVER, QT_FLOOR, False,
           1.5),
    Target("peak memory, 220 KB string, against Qt floor", "memory, 220 KB string", "peak_kib", SERVER, QT_FLOOR,
           False, 1.5),
    time_target("small call, p50", "small call", QT_RELAY, 1.2),
    time_target("small call, p50", "small call", C_RELAY, 2),
    time_target("small call, p50", "small call", SDK, 5, faster=True),
    time_target("10,000 calls at once", "10,000 calls at once", QT_RELAY, 1.25),
    time_target("tool list, p50", "tool list", SDK, 3.5, faster=True),
    time_target("tool list, p50", "tool list", REFERENCE, 15, faster=True),
    time_target("start-up", "start-up", QT_RELAY, 1.15),
    time_target("start-up", "start-up", SDK, 50, faster=True),
    Target("resident memory, against Qt relay", "start-up", "resident_kib", SERVER, QT_RELAY, False, 1.15),
    Target("resident memory, against " + SDK, "start-up", "resident_kib", SERVER, SDK, False, 0.2),
    Target("small call through orvane-mcp serve, p50, against the bare server", "small call", "p50_us", COMPANION,
           SERVER, False, 1.5),
]

# Fields of the measure "idle" that are to be 0.
IDLE_TARGETS = [
    ("processor time while idle, in ns", "waiting_ns"),
    ("context switches while idle", "waiting_switches"),
    ("processor time while idle after end of input, in ns", "ended_ns"),
    ("context switches while idle after end of input", "ended_switches"),
]


def median_ratio(figures, measure, field, above, below):
    """The median over all rounds of one subject's figure divided by another's; None where one was not measured."""
    pairs = zip(figures.get((measure, field, above), []), figures.get((measure, field, below), []))
    ratios = [first / second for first, second in pairs]
    return statistics.median(ratios) if ratios else None


def judged(target, figures):
    above, below = (target.other, target.ours) if target.faster else (target.ours, target.other)
    ratio = median_ratio(figures, target.measure, target.field, above, below)
    wanted = f"at least {target.bound:g}× as fast" if target.faster else f"at most {target.bound:g}×"
    if ratio is None:
        return Verdict(target.what, "-", wanted, "not measured")
    good = ratio >= target.bound if target.faster else ratio <= target.bound
    return Verdict(target.what, f"{ratio:.2f}×", wanted, "yes" if good else "no")


def judged_growth(series, measures, figures):
    """The steepest step of four times the size."""
    by_size = {measure.size: figures.get((measure.name, GROWTH_FIELD, SERVER)) for measure in measures}
    steps = []
    for size, times in by_size.items():
        larger = by_size.get(4 * size)
        if times and larger:
            ratio = statistics.median(after / before for before, after in zip(times, larger))
            steps.append((ratio, f"{size:,} to {4 * size:,}"))
    ratio, step = max(steps)
    return Verdict(f"growth of time, {series}, 4× the size (steepest: {step})", f"{ratio:.2f}×",
                   f"at most {GROWTH_LIMIT:g}×", "yes" if ratio <= GROWTH_LIMIT else "no")


def judged_idle(figures):
    for what, field in IDLE_TARGETS:
        worst = max(figures[("idle", field, SERVER)])
        yield Verdict(what, f"{worst:g}", "0", "yes" if worst == 0 else "no")


def verdicts(figures, series):
    """All targets beside what was measured, in the order of the report."""
    measured = {measure for measure, _, _ in figures}
    reply_way = [target for target in REPLY_WAY_TARGETS if target.measure in measured]
    rows = [judged(target, figures) for target in JSON_TARGETS + reply_way + PROGRAM_TARGETS]
    rows += [judged_growth(name, measures, figures) for name, measures in series.items()]
    return rows + list(judged_idle(figures))
