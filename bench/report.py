"""The report of a benchmark run: a Markdown file, charts by gnuplot, and all figures as JSON."""

import json
import os
import pathlib
import platform
import shutil
import statistics
import subprocess

from measures import SERVER
from targets import GROWTH_FIELD

COLOURS = ["#2f6f4f", "#7f9fbf", "#d9a441", "#b5523b", "#8a6d9e", "#777777"]
PAYLOADS = {"small_call": "small line", "names_object": "3 MB object", "info_array": "8 MB array",
            "long_string": "long string", "escapes": "escapes", "numbers": "numbers"}
READERS = {"ours": "this server", "nlohmann": "nlohmann/json", "rapidjson": "RapidJSON", "qt": "QJsonDocument"}

# Fields of the figures table: how each is shown.
UNITS = {"p50_us": ("p50", 1e-3, "ms"), "p99_us": ("p99", 1e-3, "ms"),
         "processor_us": ("processor time", 1e-3, "ms"), "resident_kib": ("resident", 1 / 1024, "MiB"),
         "peak_kib": ("peak", 1 / 1024, "MiB"), "cpu_time": ("time", 1e-6, "ms")}


def median(figures, measure, field, subject):
    values = figures.get((measure, field, subject))
    return statistics.median(values) if values else None


def machine():
    """One line on the machine and its state, since absolute times mean little without it."""
    model = platform.machine()
    for line in pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines():
        if line.startswith("model name"):
            model = line.split(":", 1)[1].strip()
            break
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    return (f"{model}, {os.cpu_count()} cores, {memory:.0f} GiB, {platform.system()} {platform.release()}, "
            f"load {os.getloadavg()[0]:.1f}")


# --- tables ---


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + " --- |" * len(head)]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows]) + "\n"


def verdict_table(verdicts):
    return table(["what", "measured", "target", "reached"],
                 [[row.what, row.measured, row.target, row.reached] for row in verdicts])


def is_shown(measure, field):
    """Memory peaks are shown where they were measured on their own, times everywhere else."""
    on_memory = measure.startswith("memory")
    return field in UNITS and (field == "peak_kib") == on_memory


def figure_table(figures):
    rows = []
    for measure, field, subject in figures:
        if is_shown(measure, field):
            name, factor, unit = UNITS[field]
            rows.append([measure, subject, name, f"{median(figures, measure, field, subject) * factor:.4g} {unit}"])
    return table(["measure", "program", "figure", "median"], rows)


def memory_table(figures):
    """Peaks as multiples of what was carried: the request and the reply on the program's pipes."""
    rows = []
    for measure, field, subject in figures:
        if field == "peak_kib" and measure.startswith("memory"):
            carried = sum(median(figures, measure, size, subject) for size in ("request_bytes", "reply_bytes"))
            peak = median(figures, measure, field, subject)
            rows.append([measure, subject, f"{peak / 1024:.1f} MiB", f"{peak * 1024 / carried:.2f}×"])
    return table(["measure", "program", "peak", "of the size"], rows)


# --- charts ---

HEAD = """set terminal svg size 900,420 font "sans-serif,12" background "#ffffff"
set output "{file}"
set title "{title}"
set border 3
set tics nomirror
set grid ytics lc rgb "#dddddd"
set key outside right top reverse Left
"""


def quoted(value):
    return f'"{value}"'


def bars(folder, name, title, unit, groups, series, value, logarithmic=False):
    """A chart of grouped bars. `groups` and `series` are {key: label}; value(group, series) may be None."""
    lines = [" ".join(quoted(text) for text in ["group", *series.values()])]
    for group, label in groups.items():
        heights = [value(group, key) for key in series]
        lines.append(" ".join([quoted(label)] + ["NaN" if height is None else f"{height:.6g}" for height in heights]))
    script = HEAD.format(file=folder / f"{name}.svg", title=title) + f"set ylabel {quoted(unit)}\n"
    script += "set style data histogram\nset style histogram clustered gap 1\nset style fill solid noborder\n"
    script += "set logscale y\n" if logarithmic else "set yrange [0:*]\n"
    script += "$data << END\n" + "\n".join(lines) + "\nEND\nplot " + ", ".join(
        f"$data using {column + 2}:xtic(1) title columnheader lc rgb {quoted(COLOURS[column % len(COLOURS)])}"
        for column in range(len(series))) + "\n"
    draw(folder / f"{name}.gnuplot", script)


def draw(file, script):
    file.write_text(script, encoding="utf-8")
    subprocess.run(["gnuplot", str(file)], check=True)
    file.unlink()


def json_chart(folder, figures, direction, title):
    def times_as_fast(payload, reader):
        ours, base = (median(figures, f"{direction}/{payload}", "cpu_time", who) for who in (reader, "nlohmann"))
        return base / ours if ours and base else None
    present = {who: label for who, label in READERS.items() if times_as_fast("small_call", who)}
    if present:
        bars(folder, f"json_{direction}", title, "times as fast as nlohmann/json", PAYLOADS, present, times_as_fast)


def program_chart(folder, figures, name, title, unit, measures, field, factor):
    subjects = {subject: subject for measure, _, subject in figures if measure in measures}
    bars(folder, name, title, unit, {measure: measure for measure in measures}, subjects,
         lambda measure, subject: (median(figures, measure, field, subject) or float("nan")) * factor, True)


def growth_chart(folder, figures, series):
    script = HEAD.format(file=folder / "growth.svg", title="Processor time against size (dashed: in proportion)")
    script += 'set logscale xy\nset xlabel "size, as a multiple of the smallest"\nset ylabel "time in ms"\n'
    plots = []
    for index, (name, measures) in enumerate(series.items()):
        points = [(measure.size, median(figures, measure.name, GROWTH_FIELD, SERVER)) for measure in measures]
        points = [(size, time / 1000) for size, time in points if time]
        script += f"$s{index} << END\n"
        script += "".join(f"{size / points[0][0]:.6g} {time:.6g}\n" for size, time in points) + "END\n"
        colour = quoted(COLOURS[index])
        plots.append(f"$s{index} with linespoints pt 7 lw 2 lc rgb {colour} title {quoted(name)}")
        plots.append(f"[1:{points[-1][0] / points[0][0]:.6g}] {points[-1][1] / points[-1][0] * points[0][0]:.6g}*x "
                     f"dt 2 lc rgb {colour} notitle")
    draw(folder / "growth.gnuplot", script + "plot " + ", ".join(plots) + "\n")


def charts(folder, figures, series):
    """Draws all charts; returns their names."""
    for old in folder.glob("*.svg"):
        old.unlink()
    json_chart(folder, figures, "parse", "Reading JSON")
    json_chart(folder, figures, "dump", "Printing JSON")
    program_chart(folder, figures, "round_trips", "Round trips, median", "µs", ["small call", "tool list"], "p50_us", 1)
    program_chart(folder, figures, "large_replies", "Round trips of large replies, median", "ms",
                  ["220 KB string", "3 MB object", "8 MB array"], "p50_us", 1e-3)
    program_chart(folder, figures, "start_up", "From the start of the program to its first reply", "ms", ["start-up"],
                  "p50_us", 1e-3)
    program_chart(folder, figures, "resident_memory", "Resident memory after start", "MiB", ["start-up"],
                  "resident_kib", 1 / 1024)
    growth_chart(folder, figures, series)
    return sorted(file.name for file in folder.glob("*.svg"))


# --- the whole ---


def write_report(folder, figures, verdicts, series, missing, remark):
    """Writes report.md, figures.json and the charts. Returns the table of verdicts and the notes under it."""
    notes = [f"{name}: not measured, since {reason}." for name, reason in missing.items()]
    drawn = []
    if shutil.which("gnuplot"):
        drawn = charts(folder, figures, series)
    else:
        notes.append("No charts: gnuplot is not installed.")
    judged = [row for row in verdicts if row.reached != "not measured"]
    reached = sum(row.reached == "yes" for row in judged)
    notes.append(f"{reached} of {len(judged)} targets reached.")
    summary = verdict_table(verdicts) + "\n" + "\n\n".join(notes) + "\n"
    text = (f"# Benchmark report\n\n{machine()}. {remark}\n\n{summary}\n"
            + "".join(f"![{name}]({name})\n" for name in drawn)
            + "\n## Figures\n\n" + figure_table(figures) + "\n## Peak memory\n\n" + memory_table(figures))
    (folder / "report.md").write_text(text, encoding="utf-8")
    rows = [{"measure": measure, "field": field, "program": subject, "values": values}
            for (measure, field, subject), values in figures.items()]
    (folder / "figures.json").write_text(json.dumps(rows, indent=1), encoding="utf-8")
    return summary
