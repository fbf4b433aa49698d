"""Draws the rates by gnuplot: bars for each job, lines for the threads."""

import re
import subprocess

from report import lines

COLOURS = {"floor": "#888888", "ours": "#c0392b", "peer": "#2c6fbb", "unranked": "#b9cfe6"}


def draw(path, title, height, script):
    head = f"""set terminal svg size 860,{height} font "sans-serif,12" background "white"
set output "{path}"
set title "{title}"
"""
    subprocess.run(["gnuplot"], input=head + script, text=True, check=True)
    # Half of what gnuplot writes are groups with nothing in them.
    path.write_text(re.sub(r"<g [^>]*>\s*</g>\n", "", path.read_text()))


def unit_of(job):
    if job.name == "start":
        return "milliseconds: less is better", lambda rate: 1000 / rate
    if job.large:
        return "MB/s", lambda rate: rate / 1e6
    return "exchanges per second", lambda rate: rate


def bars(path, job, found):
    """The median as a bar, the slowest and the fastest round as a line on it."""
    unit, scale = unit_of(job)
    found = sorted(found, key=lambda line: scale(line.rate))
    rows = [f"{place} {scale(line.rate)} {scale(min(line.rates))} {scale(max(line.rates))} "
            f'{int(COLOURS[line.client.role][1:], 16)} "{line.client.title}"'
            for place, line in enumerate(found)]
    draw(path, job.title, 110 + 26 * len(found), f"""
set grid xtics
set xlabel "{unit}"
set style fill solid
unset key
set xrange [0:*]
set yrange [-0.6:{len(found) - 0.4}]
$rows << END
""" + "\n".join(rows) + """
END
plot $rows using (0):1:(0):2:($1-0.35):($1+0.35):5:ytic(6) with boxxyerror lc rgb variable, \\
     $rows using 2:1:3:4 with xerrorbars pt 0 lc rgb "black"
""")


def threads(path, jobs, clients, results):
    blocks, curves = [], []
    for client in clients:
        points = [(job.threads, line.rate) for job in jobs
                  for line in lines(job, [client], results)]
        if points:
            name = f"$c{len(blocks)}"
            blocks.append(f"{name} << END\n" + "\n".join(f"{x} {y}" for x, y in points) + "\nEND")
            style = "lw 1" if client.role == "peer" else f'lw 3 lc rgb "{COLOURS[client.role]}"'
            curves.append(f'{name} with linespoints {style} title "{client.title}"')
    draw(path, "Threads that ask for pages of 1 KiB", 420, """
set grid
set logscale x 2
set xlabel "threads"
set ylabel "exchanges per second"
set yrange [0:*]
set key outside right
""" + "\n".join(blocks) + "\nplot " + ", ".join(curves) + "\n")


def all_plots(folder, jobs, clients, results):
    folder.mkdir(parents=True, exist_ok=True)
    for job in jobs:
        if not job.threaded:
            bars(folder / f"{job.name}.svg", job, lines(job, clients, results))
    threaded = [job for job in jobs if job.threaded]
    if threaded:
        threads(folder / "threads.svg", threaded, clients, results)
