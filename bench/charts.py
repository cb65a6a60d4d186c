"""The charts of docs/performance.md, drawn by gnuplot from the kept figures."""

import subprocess
import tempfile

import figures as statistics_of
from measures import QT_FLOOR, SDK, SERVER
from targets import GROWTH_FIELD, JSON_PAYLOADS, JSON_PEERS

COLOURS = ["#2f6f4f", "#d9a441", "#7f9fbf", "#b5523b"]

HEAD = """set terminal svg size 900,360 font "sans-serif,13" background "#ffffff"
set title "{title}"
set border 3
set tics nomirror
set grid ytics lc rgb "#dddddd"
set key outside top right horizontal
"""


def quoted(text):
    return f'"{text}"'


def draw(file, title, script):
    text = HEAD.format(title=title) + f"set output {quoted(file)}\n" + script
    with tempfile.NamedTemporaryFile("w", suffix=".gnuplot", encoding="utf-8") as commands:
        commands.write(text)
        commands.flush()
        subprocess.run(["gnuplot", commands.name], check=True)
    # The program puts its own name where readers expect the chart's.
    drawn = file.read_text(encoding="utf-8").replace("<title>Gnuplot</title>", f"<title>{title}</title>")
    file.write_text(drawn, encoding="utf-8")


def bars(file, title, unit, groups, series, ratio):
    """Grouped bars of ratios with their spread; ratio(group, series) may be None. A line at 1 is the other's time."""
    blocks = []
    for key in series:
        rows = []
        for place, group in enumerate(groups):
            found = ratio(group, key)
            if found:
                rows.append(f"{place} {found.median:.4g} {found.lowest:.4g} {found.highest:.4g}")
        blocks.append(rows)
    width = 0.8 / max(1, len(blocks))
    script = f"set ylabel {quoted(unit)}\nset yrange [0:*]\nset style fill solid noborder\nset boxwidth {width * 0.9:.3f}\n"
    script += "set xtics (" + ", ".join(f"{quoted(text)} {place}" for place, text in enumerate(groups.values())) + ")\n"
    script += f"set xrange [-0.6:{len(groups) - 0.4}]\nset arrow from -0.6,1 to {len(groups) - 0.4},1 nohead dt 2\n"
    plots = []
    for index, (rows, label) in enumerate(zip(blocks, series.values())):
        if not rows:
            continue
        shift = (index - (len(blocks) - 1) / 2) * width
        script += f"$d{index} << END\n" + "\n".join(rows) + "\nEND\n"
        colour = quoted(COLOURS[index])
        plots.append(f"$d{index} using ($1+{shift:.3f}):2 with boxes lc rgb {colour} title {quoted(label)}")
        plots.append(f"$d{index} using ($1+{shift:.3f}):2:3:4 with yerrorbars pt -1 lc rgb \"#444444\" notitle")
        plots.append(f"$d{index} using ($1+{shift:.3f}):4:(sprintf(\"%.2f\",$2)) with labels offset 0,0.7 notitle")
    draw(file, title, script + "plot " + ", ".join(plots) + "\n")


def replies_chart(file, figures):
    groups = {name: name for name in ("small call", "220 KB of assembly", "3 MB of names", "8 MB of infos")}
    bars(file, "Round trips of the server", "times the other's", groups,
         {QT_FLOOR: "beside the Qt floor", SDK: "beside the official SDK"},
         lambda measure, other: statistics_of.ratio(figures, measure, "p50_us", SERVER, other))


def json_chart(file, title, direction, figures):
    bars(file, title, "times the other's", JSON_PAYLOADS,
         {peer: f"beside {label}" for peer, label in JSON_PEERS.items()},
         lambda payload, peer: statistics_of.ratio(figures, f"{direction}/{payload}", "cpu_time", "ours", peer))


def growth_chart(file, figures, series):
    script = 'set logscale xy\nset xlabel "size, as a multiple of the smallest"\nset ylabel "processor time, ms"\n'
    plots = []
    for index, (name, measures) in enumerate(series.items()):
        points = [(measure.size, statistics_of.median(figures, measure.name, GROWTH_FIELD, SERVER))
                  for measure in measures]
        points = [(size, time / 1000) for size, time in points if time]
        script += f"$s{index} << END\n"
        script += "".join(f"{size / points[0][0]:.6g} {time:.6g}\n" for size, time in points) + "END\n"
        colour = quoted(COLOURS[index])
        plots.append(f"$s{index} with linespoints pt 7 lw 2 lc rgb {colour} title {quoted(name)}")
        plots.append(f"[1:{points[-1][0] / points[0][0]:.6g}] {points[0][1]:.6g}*x dt 2 lc rgb {colour} notitle")
    draw(file, "Processor time against size (dashed: in proportion)", script + "plot " + ", ".join(plots) + "\n")


def draw_all(folder, figures, series):
    folder.mkdir(parents=True, exist_ok=True)
    for old in folder.glob("*.svg"):
        old.unlink()
    replies_chart(folder / "round_trips.svg", figures)
    json_chart(folder / "json_parse.svg", "Reading JSON", "parse", figures)
    json_chart(folder / "json_dump.svg", "Printing JSON", "dump", figures)
    growth_chart(folder / "growth.svg", figures, series)
