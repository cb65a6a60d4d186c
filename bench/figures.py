"""What the collected figures say: medians, ratios within a round, growth.

`figures` is {(measure, field, subject): [a value a round]}.
"""

import dataclasses
import json
import math
import statistics


@dataclasses.dataclass
class Ratio:
    """One subject's figure divided by another's, round by round: both met the same state of the machine."""
    median: float
    lowest: float
    highest: float


def median(figures, measure, field, subject):
    """None where it was not measured."""
    values = figures.get((measure, field, subject))
    return statistics.median(values) if values else None


def ratio(figures, measure, field, ours, other):
    """None where one of the two was not measured."""
    return ratio_of(figures.get((measure, field, ours), []), figures.get((measure, field, other), []))


def ratio_of(ours, others):
    """Of two lists with a value a round; None where one is empty."""
    ratios = [first / second for first, second in zip(ours, others)]
    return Ratio(statistics.median(ratios), min(ratios), max(ratios)) if ratios else None


def growth_exponent(points):
    """The exponent e for which time ~ size^e fits all `points` (size, time) best: 1 is in proportion."""
    sizes = [math.log(size) for size, _ in points]
    times = [math.log(time) for _, time in points]
    return statistics.linear_regression(sizes, times).slope


def growth(figures, measures, field, subject):
    """The exponent of a series of measures, a value a round: its Ratio's fields are exponents."""
    rounds = zip(*(figures.get((measure.name, field, subject), []) for measure in measures))
    sizes = [measure.size for measure in measures]
    exponents = [growth_exponent(list(zip(sizes, times))) for times in rounds]
    return Ratio(statistics.median(exponents), min(exponents), max(exponents)) if exponents else None


def load(file):
    """The figures of a kept file, and what it says of the run: (figures, run)."""
    kept = json.loads(file.read_text(encoding="utf-8"))
    return {(row["measure"], row["field"], row["program"]): row["values"] for row in kept["figures"]}, kept["run"]


def save(file, figures, run):
    rows = [json.dumps({"measure": measure, "field": field, "program": program,
                        "values": [float(f"{value:.5g}") for value in values]})
            for (measure, field, program), values in figures.items()]
    file.write_text('{"run": ' + json.dumps(run) + ',\n "figures": [\n  ' + ",\n  ".join(rows) + "\n]}\n",
                    encoding="utf-8")
