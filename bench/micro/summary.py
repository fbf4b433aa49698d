#!/usr/bin/env python3
"""Writes the results of the micro-benchmarks as Markdown.

    summary.py RESULT.json COMMAND

Ends with status 1 when something grows faster than it may.
"""

import json
import math
import os
import platform
import statistics
import sys

# Of the time over the bound, as an exponent: 1 is the bound itself. Caches account for what lies
# between; a factor of the size too many comes out near 2.
MOST_GROWTH = 1.4
SPAN = 16  # the growth is that over the largest sizes, where the fixed costs are small
BOUNDS = {"N": ("n", lambda n: n), "NlgN": ("n log n", lambda n: n * math.log2(n))}


def read(path):
    """Answers the times and fits of a run, and its context.

    The times are {benchmark: [ns of each repetition]}, the fits {family: (bound, ns, RMS)}.
    """
    with open(path, encoding="utf-8") as file:
        result = json.load(file)
    times, bounds, errors = {}, {}, {}
    for run in result["benchmarks"]:
        if run.get("label"):
            sys.exit(f"{run['name']}: {run['label']}")
        if run["run_type"] == "iteration":
            times.setdefault(run["run_name"], []).append(run["cpu_time"])
        elif run["aggregate_name"] == "BigO":
            bounds[run["run_name"]] = (run["big_o"], run["cpu_coefficient"])
        elif run["aggregate_name"] == "RMS":
            errors[run["run_name"]] = run["rms"]
    fits = {name: (*bound, errors[name]) for name, bound in bounds.items()}
    return times, fits, result["context"]


def growth(sizes, bound):
    """Answers by which power of the bound the time grows over the largest sizes.

    The least time of a size counts: it is the one that other programs have disturbed least.
    """
    points = [(math.log(bound(n)), math.log(min(values)))
              for n, values in sizes.items() if n * SPAN >= max(sizes)]
    return statistics.linear_regression(*zip(*points)).slope


def duration(nanoseconds):
    for unit, size in (("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def table(times, fits):
    """Answers the rows, and the names of what grows too fast."""
    rows, faults, families = [], [], {}
    for name, values in times.items():
        family, _, size = name.rpartition("/")
        if family in fits:
            families.setdefault(family, {})[int(size)] = values
        else:
            rows.append(f"| {name} | | {duration(statistics.median(values))} | | | |")
    for family, sizes in families.items():
        kind, factor, error = fits[family]
        text, bound = BOUNDS[kind]
        time = statistics.median(sizes[max(sizes)])
        grown = growth(sizes, bound)
        if grown > MOST_GROWTH:
            faults.append(f"{family}: grows as ({text})^{grown:.2f}")
        rows.append(f"| {family} | {min(sizes)} to {max(sizes)} | {duration(time)} "
                    f"| {factor:.3g} ns * {text} | {100 * error:.0f} % | {grown:.2f} |")
    return sorted(rows), faults


def section(rows, context, command):
    return f"""## Micro-benchmarks

Written by `bench/micro/run` on {context["date"][:10]}: {os.cpu_count()} cores, Linux {platform.release()},
load average {context["load_avg"][0]:.1f} before the run.

CPU time, the median of the repetitions; where there are several sizes n, that of the largest one. The
fit is that of the framework over all sizes, with its relative error (RMS). The growth is taken from
the least times of the sizes within a factor of {SPAN} of the largest: the power of the bound with which
the time grows, 1.0 being the bound itself. Above {MOST_GROWTH} the run fails.

| benchmark | n | time | fit | RMS | growth |
|---|---|---|---|---|---|
""" + "\n".join(rows) + f"""

```sh
{command}
```
"""


def main():
    path, command = sys.argv[1:]
    times, fits, context = read(path)
    rows, faults = table(times, fits)
    print(section(rows, context, command), end="")
    if not rows or faults:
        sys.exit("\n".join(faults) or "no result")


if __name__ == "__main__":
    main()
