"""What is compared with what, and the thresholds that guard against regressions.

Every comparison is one figure of ours divided by the same figure of another program, so below 1 is better. A run fails
when even the best of its rounds is above the threshold: then it is no accident of the machine.
"""

import dataclasses

import figures as statistics_of
from measures import C_RELAY, COMPANION, QT_FLOOR, SDK, SERVER

# Of the time of a series over its whole range: 1 is in proportion to the size; caches and page faults cost the rest.
GROWTH_LIMIT = 1.2
# Of the server alone: on a busy machine a long wait is interrupted more often than a short one.
GROWTH_FIELD = "processor_us"

# One second after a reply of 64 MB the process may hold so much more than before it, in KiB.
STAYS_LIMIT_KIB = 32 * 1024


@dataclasses.dataclass
class Comparison:
    """`measure`'s `field` of `ours` as a multiple of `other`'s. `limit` is the threshold, None where a figure is only
    shown; `reason` says where the threshold comes from."""
    group: str
    what: str
    measure: str
    field: str
    ours: str
    other: str
    limit: float | None = None
    reason: str = ""


ABOVE_SHOWN = "a tenth above what the program showed when it was finished"
PROMISED = "promised to users"
BESIDE_FLOOR = "the most that it may cost beside its floor"


def against_floor(what, measure, limit, reason=BESIDE_FLOOR, field="p50_us"):
    return Comparison("floor", what, measure, field, SERVER, QT_FLOOR, limit, reason)


def against_sdk(what, measure, limit=None, field="p50_us"):
    return Comparison("sdk", what, measure, field, SERVER, SDK, limit, ABOVE_SHOWN if limit else "")


PROGRAMS = [
    against_floor("small call", "small call", 1.10),
    Comparison("floor", "small call", "small call", "p50_us", SERVER, C_RELAY),
    against_floor("10,000 calls at once", "10,000 calls at once", 1.10),
    against_floor("start to first reply", "start", 1.20),
    against_floor("memory after start", "start", 1.20, field="resident_kib"),
    against_floor("220 KB of assembly", "220 KB of assembly", 1.10),
    against_floor("3 MB of names", "3 MB of names", 1.50),
    against_floor("8 MB of infos", "8 MB of infos", 1.95),
    against_floor("peak memory, 220 KB of assembly", "peak, 220 KB of assembly", 1.50, field="peak_kib"),
    against_floor("peak memory, 3 MB of names", "peak, 3 MB of names", 1.60, field="peak_kib"),
    against_floor("peak memory, 8 MB of infos", "peak, 8 MB of infos", 1.60, field="peak_kib"),
    against_floor("peak memory, 64 MiB line", "64 MiB line", 1.60, field="peak_kib"),
    against_sdk("small call", "small call", 0.5),
    against_sdk("list of tools", "tool list", 0.62),
    against_sdk("start to first reply", "start", 0.05),
    against_sdk("memory after start", "start", 0.3, field="resident_kib"),
    against_sdk("10,000 calls at once", "10,000 calls at once"),
    against_sdk("220 KB of assembly", "220 KB of assembly"),
    against_sdk("3 MB of names", "3 MB of names"),
    against_sdk("8 MB of infos", "8 MB of infos"),
    Comparison("serve", "small call through `orvane-mcp serve`", "small call", "p50_us", COMPANION, SERVER, 1.5, PROMISED),
    Comparison("serve", "64 MiB line with an escape, through `orvane-mcp serve`", "64 MiB line with an escape",
               "p50_us", COMPANION, SERVER, 1.5, PROMISED),
]

JSON_PEERS = {"nlohmann": "nlohmann/json", "qt": "QJsonDocument", "rapidjson": "RapidJSON"}

# The payloads of bench_json, in the order of the page.
JSON_PAYLOADS = {"small_call": "a small call's line", "names_object": "3 MB of names", "info_array": "8 MB of infos",
                 "long_string": "220 KB of assembly", "json_in_string": "JSON within a string", "numbers": "numbers"}

# {(direction, payload): threshold against nlohmann/json}, the peer that every C++ programmer knows.
JSON_LIMITS = {("parse", "small_call"): 0.6, ("parse", "names_object"): 0.6, ("parse", "info_array"): 1.1,
               ("parse", "long_string"): 0.3, ("parse", "numbers"): 0.6, ("dump", "small_call"): 0.6,
               ("dump", "names_object"): 0.8, ("dump", "info_array"): 0.9, ("dump", "long_string"): 0.6,
               ("dump", "numbers"): 1.4}

# Fields of the measure "idle" that are to be 0.
IDLE_FIELDS = {"waiting_ns": "processor time while idle (ns)", "waiting_switches": "context switches while idle",
               "ended_ns": "processor time after end of input (ns)",
               "ended_switches": "context switches after end of input"}


def json_comparisons():
    return [Comparison(direction, payload, f"{direction}/{payload}", "cpu_time", "ours", peer,
                       JSON_LIMITS.get((direction, payload)) if peer == "nlohmann" else None, ABOVE_SHOWN)
            for direction in ("parse", "dump") for payload in JSON_PAYLOADS for peer in JSON_PEERS]


def regressions(figures, series):
    """One line for each threshold that even the best round passed."""
    for row in PROGRAMS + json_comparisons():
        found = statistics_of.ratio(figures, row.measure, row.field, row.ours, row.other)
        if row.limit is not None and found and found.lowest > row.limit:
            yield (f"{row.what}: {found.median:.2f} times {row.other} ({found.lowest:.2f} to {found.highest:.2f}), "
                   f"at most {row.limit:g} ({row.reason})")
    for name, measures in series.items():
        found = statistics_of.growth(figures, measures, GROWTH_FIELD, SERVER)
        if found and found.lowest > GROWTH_LIMIT:
            yield f"growth of {name}: exponent {found.median:.2f}, at most {GROWTH_LIMIT:g}"
    for (measure, field, subject), values in figures.items():
        if field == "stays_kib" and min(values) > STAYS_LIMIT_KIB:
            yield f"memory {measure} of {subject}: {min(values):.0f} KiB stay, at most {STAYS_LIMIT_KIB}"
        if measure == "idle" and field in IDLE_FIELDS and min(values) > 0:
            yield f"{IDLE_FIELDS[field]}: {min(values):g}, must be 0"
