#!/usr/bin/env python3
"""Turns the results of the benchmarks into a page of Markdown.

    summary.py COMPILER RESULT.json... -- COMMAND...
"""

import json
import os
import platform
import statistics
import sys


def times(path):
    """Answers {benchmark: {variant: [time of each repetition]}} and the unit of each benchmark."""
    with open(path, encoding="utf-8") as file:
        result = json.load(file)
    found, units = {}, {}
    for run in result["benchmarks"]:
        if run["run_type"] != "iteration":
            continue
        if run.get("error_occurred"):
            sys.exit(f"{run['name']}: {run['error_message']}")
        name, variant = run["name"].split("/")[:2]
        found.setdefault(name, {}).setdefault(variant, []).append(
            (run["real_time"], run["cpu_time"]))
        units[name] = run["time_unit"]
    return found, units, result["context"]["date"]


def processor():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        names = [line.split(":", 1)[1].strip() for line in file if line.startswith("model name")]
    return names[0] if names else platform.machine()


def main():
    separator = sys.argv.index("--")
    compiler, paths, commands = sys.argv[1], sys.argv[2:separator], sys.argv[separator + 1:]
    memory = os.sysconf("SC_PHYS_PAGES") * os.sysconf("SC_PAGE_SIZE") / (1 << 30)
    rows, date = [], ""
    for path in sorted(paths, reverse=True):
        found, units, date = times(path)
        for name, variants in found.items():
            bare, library = (variants[variant] for variant in ("bare", "library"))
            middle = [statistics.median(wall for wall, _ in values) for values in (bare, library)]
            least = [min(wall for wall, _ in values) for values in (bare, library)]
            work = [statistics.median(cpu for _, cpu in values) for values in (bare, library)]
            unit = units[name]
            rows.append(f"| {name} | {middle[0]:.1f} {unit} | {middle[1]:.1f} {unit} "
                        f"| {middle[1] / middle[0]:.2f} | {least[1] / least[0]:.2f} "
                        f"| {work[1] / work[0]:.2f} "
                        f"| {len(bare)} |")
    print(f"""# Benchmark results

Written by `bench/run` on {date[:10]}: {os.cpu_count()} cores ({processor()}),
{memory:.0f} GiB, Linux {platform.release()}, {compiler}.

Wall time of one exchange over loopback, against a server in a process of its own. "Bare" is a
program that makes the system calls alone (socket, connect, send, receive until the server ends the
connection, close); both run in turn, in random order.

| benchmark | bare, median | library, median | ratio of medians | ratio of minima | CPU, ratio of medians | repetitions |
|---|---|---|---|---|---|---|
""" + "\n".join(rows) + """

- `small_get`: a page of 1 KiB, 500 exchanges a repetition. Aim: a ratio of 1.5 at most.
- `tls_small_get`: a page of 1 KiB over TLS from nginx, with the distribution's bundle read into a new
  context each time; "bare" is OpenSSL with `SSL_set_fd` and a buffer of 1 MiB. Aim: 1.05 at most.
- `tls_download`: 1 GiB over TLS from nginx, the same "bare". Aim: 1.10 at most, wall and CPU time.
- `body_memory`: a body of 256 MiB kept in memory; the bare program knows its size beforehand.

```sh
""" + "\n".join(commands) + "\n```")


if __name__ == "__main__":
    main()
