"""Tells the results as Markdown."""

import dataclasses
import statistics

from jobs import GIB

COLUMNS = ("client", "rate", "from – to", "CPU", "peak memory", "system calls", "instructions",
           "rate / floor", "CPU / floor", "rate / best peer")


@dataclasses.dataclass
class Line:
    """What the runs of a client at a job come to; rates are exchanges or bytes per second."""
    client: object
    rates: list
    rate: float
    cpu: float  # seconds for each exchange, or for each GiB
    peak: float  # MiB
    calls: float = None
    instructions: float = None


def make_line(client, job, found):
    runs = found["runs"]
    work = job.size if job.large else 1
    rates = [run["exchanges"] * work / run["seconds"] for run in runs]
    each = GIB / job.size if job.large else 1
    cpu = statistics.median(
        (run["user"] + run["system"]) / run["exchanges"] * each for run in runs)
    peak = statistics.median(run["peak_kib"] for run in runs) / 1024
    return Line(client, rates, statistics.median(rates), cpu, peak, found.get("calls"),
                found.get("instructions"))


def lines(job, clients, results):
    return [make_line(client, job, results[job.name][client.name]) for client in clients
            if client.name in results.get(job.name, {})]


def best_peer(found):
    peers = [line for line in found if line.client.role == "peer"]
    return max(peers, key=lambda line: line.rate) if peers else None


def in_role(found, role):
    return next((line for line in found if line.client.role == role), None)


def show_rate(job, rate):
    if job.name == "start":
        return f"{1000 / rate:.2f} ms"
    if job.large:
        return f"{rate / 1e6:,.0f} MB/s"
    return f"{rate:,.0f}/s" if rate >= 1000 else f"{rate:.1f}/s"


def show_cpu(job, cpu):
    if job.large:
        return f"{cpu:.2f} s/GiB"
    return f"{cpu * 1e6:.1f} µs" if cpu < 1e-3 else f"{cpu * 1e3:.2f} ms"


def show_count(count):
    if count is None:
        return ""
    for unit, name in ((1e9, " G"), (1e6, " M"), (1e3, " k")):
        if count >= 10 * unit:
            return f"{count / unit:.1f}{name}"
    return f"{count:.0f}" if count >= 100 or abs(count - round(count)) < 0.05 else f"{count:.1f}"


def show_ratio(value, other):
    return f"{value / other:.2f}" if other else ""


def row(job, line, floor, best):
    edges = [show_rate(job, rate) for rate in (min(line.rates), max(line.rates))]
    cells = [line.client.title, show_rate(job, line.rate), " – ".join(edges),
             show_cpu(job, line.cpu), f"{line.peak:.1f} MiB", show_count(line.calls),
             show_count(line.instructions), show_ratio(line.rate, floor and floor.rate),
             show_ratio(line.cpu, floor and floor.cpu),
             show_ratio(line.rate, best and best.rate)]
    return "| " + " | ".join(cells) + " |"


def table(header, rows):
    return "\n".join(["| " + " | ".join(header) + " |", "|" + "---|" * len(header), *rows])


def job_section(job, clients, results):
    found = lines(job, clients, results)
    floor, best = in_role(found, "floor"), best_peer(found)
    ordered = sorted(found, key=lambda line: -line.rate)
    text = [f"### {job.title}", f"![{job.title}](plots/{job.name}.svg)",
            table(COLUMNS, [row(job, line, floor, best) for line in ordered])]
    remarks = [job.note] if job.note else []
    remarks += [f"{client.title}: {client.without[job.name]}" for client in clients
                if job.name in client.without]
    if remarks:
        text.append("\n".join("- " + remark for remark in remarks))
    return "\n\n".join(text)


def overview(jobs, clients, results):
    """This library alone, at every job beside the floor and the best of the others."""
    rows = []
    for job in jobs:
        found = lines(job, clients, results)
        floor, ours, best = in_role(found, "floor"), in_role(found, "ours"), best_peer(found)
        if floor and ours:
            cells = [job.title, show_rate(job, ours.rate), show_ratio(ours.rate, floor.rate),
                     show_ratio(ours.cpu, floor.cpu), best.client.title if best else "",
                     show_ratio(ours.rate, best and best.rate)]
            rows.append("| " + " | ".join(cells) + " |")
    header = ("job", "nethttp", "rate / floor", "CPU / floor", "best peer", "rate / best peer")
    return ["### Overview\n\n" + table(header, rows)] if rows else []


def threads_section(jobs, clients, results):
    rates = {client: [make_line(client, job, results[job.name][client.name]).rate
                      for job in jobs] for client in clients if all(
                          client.name in results[job.name] for job in jobs)}
    floor = next((found for client, found in rates.items() if client.role == "floor"), None)
    rows = []
    for client, found in rates.items():
        cells = [f"{rate:,.0f}/s ({rate / found[0]:.2f})" for rate in found]
        if floor:
            cells += [f"{rate / found[0] / (bare / floor[0]):.2f}"
                      for rate, bare in list(zip(found, floor))[1:]]
        rows.append("| " + " | ".join([client.title, *cells]) + " |")
    header = ["client", *(str(job.threads) for job in jobs)]
    if floor:
        header += [f"gain at {job.threads} / floor's" for job in jobs[1:]]
    return "\n\n".join(["### Threads that ask for pages of 1 KiB",
                        "![Threads](plots/threads.svg)",
                        "In brackets: the gain, as a multiple of the rate of one thread.",
                        table(header, rows)])


def sections(jobs, clients, results):
    found = overview(jobs, clients, results)
    found += [job_section(job, clients, results) for job in jobs if not job.threaded]
    threaded = [job for job in jobs if job.threaded]
    if threaded:
        found.append(threads_section(threaded, clients, results))
    return "\n\n".join(found)


def page(facts, jobs, clients, results):
    """All of the comparison's part of the page of results."""
    versions = "\n".join(f"- {name}: {version}" for name, version in facts["versions"].items())
    return f"""## Comparison

Written by `bench/compare` on {facts["date"]}: {facts["machine"]}, {facts["kernel"]},
{facts["compiler"]}. {facts["rounds"]} rounds; in each, all clients in turn at every job.

{versions}

How to read the tables: rates, CPU time and peak memory are medians over the rounds. CPU time is that
of the client alone, user and system. System calls and instructions are per exchange, or per GiB
where the body is large, from short runs of their own ({facts["counting"]});
counted as a difference, so that a program's start falls out. "Rate / floor" and "rate / best peer" are above 1
where the client is faster. Every exchange has a connection of its own. Every https client was first
seen to refuse a certificate for another host and one of an unknown issuer, every client a body that
was cut short.

{sections(jobs, clients, results)}
"""
