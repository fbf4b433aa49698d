#!/usr/bin/env python3
"""Compares this library with others at the same jobs; bench/compare calls it."""

import argparse
import json
import pathlib
import sys
import time

import facts
import plots
import report
from jobs import CLIENTS, JOBS
from measure import Counter, Runner
from servers import ROOT, World

sys.path.insert(0, str(ROOT / "bench"))
import section  # noqa: E402 (the path stands above)


def chosen(names, all_of_them, what):
    """Those that are named; a name that is none stands for all that begin with it and a dash."""
    if not names:
        return all_of_them
    known = [one.name for one in all_of_them]
    wanted = {name: [one for one in known if one == name] or
                    [one for one in known if one.startswith(name + "-")] for name in names}
    unknown = [name for name, found in wanted.items() if not found]
    if unknown:
        sys.exit(f"no {what} {' '.join(unknown)}; there are: {' '.join(known)}")
    return [one for one in all_of_them if any(one.name in found for found in wanted.values())]


def options(arguments):
    parser = argparse.ArgumentParser(prog="bench/compare", description=__doc__)
    words = lambda text: text.split(",")  # noqa: E731
    parser.add_argument("--rounds", type=int, help="how often everything is run (5; quick: 1)")
    parser.add_argument("--jobs", type=words, help="only these, with commas between them")
    parser.add_argument("--clients", type=words, help="only these, with commas between them")
    parser.add_argument("--quick", action="store_true",
                        help="small bodies and few exchanges: whether it works, no figures")
    parser.add_argument("--no-counts", action="store_true",
                        help="count no system calls and instructions")
    parser.add_argument("--output", type=pathlib.Path,
                        help="the page to write to, plots beside it (bench/RESULTS.md; with "
                             "--quick, --jobs or --clients in the build folder)")
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/compare",
                        help=argparse.SUPPRESS)
    found = parser.parse_args(arguments)
    found.rounds = found.rounds or (1 if found.quick else 5)
    partial = found.quick or found.jobs or found.clients
    found.output = found.output or (
        found.build / "RESULTS.md" if partial else ROOT / "bench/RESULTS.md")
    return found


def say(*words):
    print(*words, file=sys.stderr, flush=True)


def check_clients(runner, clients):
    for client in clients:
        fault = runner.check(client)
        if fault:
            sys.exit(f"{client.name} {fault}: nothing is compared")
    say("all clients refuse what they must: bodies cut short, wrong hosts, unknown issuers")


def run_rounds(runner, pairs, rounds):
    results = {}
    for number in range(1, rounds + 1):
        begin = time.monotonic()
        for client, job in pairs:  # job by job, in each all clients in turn
            found = results.setdefault(job.name, {}).setdefault(client.name, {"runs": []})
            found["runs"].append(runner.measure(client, job))
        say(f"round {number} of {rounds}: {time.monotonic() - begin:.0f} s")
    return results


def add_counts(counter, pairs, results):
    begin = time.monotonic()
    counted = [(client, job) for client, job in pairs if not job.threaded]
    for (client, job), found in counter.all(counted).items():
        results[job][client].update(found)
    say(f"counts: {time.monotonic() - begin:.0f} s")


def main():
    chosen_options = options(sys.argv[1:])
    build = chosen_options.build
    jobs = chosen(chosen_options.jobs, JOBS, "job")
    clients = chosen(chosen_options.clients, CLIENTS, "client")
    if chosen_options.quick:
        jobs = [job.quick() for job in jobs]
    pairs = [(client, job) for job in jobs for client in clients if client.does(job)]
    with World(build / "bench/compare.d") as world:
        runner = Runner(world, build / "apps/nethttp/nethttp")
        check_clients(runner, clients)
        results = run_rounds(runner, pairs, chosen_options.rounds)
        counting = "not counted"
        if not chosen_options.no_counts:
            counter = Counter(runner)
            add_counts(counter, pairs, results)
            counting = f"strace -f -c; {counter.method}"
    known = facts.facts(build, clients, chosen_options.rounds, counting)
    (build / "results.json").write_text(json.dumps({"facts": known, "results": results}, indent=1))
    tell(chosen_options, jobs, known, clients, results)


def tell(chosen_options, jobs, known, clients, results):
    text = report.page(known, jobs, clients, results)
    if chosen_options.quick:
        text = text.replace("## Comparison\n", "## Comparison, quick: no figures to quote\n")
    plots.all_plots(chosen_options.output.parent / "plots", jobs, clients, results)
    section.replace(chosen_options.output, "compare", text)
    print(text)


if __name__ == "__main__":
    main()
