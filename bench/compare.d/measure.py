"""Runs the clients: for the clock, for what they count, and to see that they check what they get."""

import concurrent.futures
import json
import os
import re
import shutil
import sys

from jobs import GIB, JOBS, MIB, PAGE
from servers import run_program

SMALL = next(job for job in JOBS if job.name == "small")
TLS_SMALL = next(job for job in JOBS if job.name == "tls-small")


def port_and_path(url):
    return re.fullmatch(r"http://[^:]+:(\d+)(/.*)", url).groups()


class Runner:
    def __init__(self, world, nethttp):
        self.world = world
        self.nethttp = nethttp
        self.environment = world.environment()

    def client(self, client, job, url, count):
        """The command line of a client."""
        words = [self.world.programs / f"client_{client.name}", job.verb, url, count]
        return words + [job.threads] if job.threads > 1 else words

    def whole_program(self, client, url):
        """The command line of a program of the job "start"."""
        if client.name == "floor":
            return [self.world.programs / "compare_first_byte", *port_and_path(url)]
        if client.name == "curl":
            return ["curl", "--silent", url]
        return [self.nethttp, url]

    def path(self, job, size=None):
        size = size or job.size
        if job.server != "memory":
            self.world.provide(size)
        return job.path.format(size=size)

    def run(self, command, before=()):
        return run_program([*before, *command], self.environment)

    def measure(self, client, job):
        """One run for the clock; ends the comparison when it fails."""
        with self.world.url(job, self.path(job)) as url:
            if job.name == "start":
                command = [self.world.programs / "compare_start", job.count, PAGE,
                           *self.whole_program(client, url)]
            else:
                command = self.client(client, job, url, job.count)
            result = self.run(command)
        if result.returncode != 0:
            sys.exit(f"{client.name} failed at {job.name}:\n{result.stdout}{result.stderr}")
        return json.loads(result.stdout)

    def accepts(self, client, job, path, tls="good"):
        with self.world.url(job, path, tls) as url:
            return self.run(self.client(client, job, url, 1)).returncode == 0

    def check(self, client):
        """Answers what is wrong with a client that believes too much, or null."""
        small = client.does(SMALL)
        if small and self.accepts(client, SMALL, f"/cut/{PAGE}"):
            return "takes a body that is cut short for a whole one"
        if not client.does(TLS_SMALL):
            return None
        path = self.path(TLS_SMALL)
        if not self.accepts(client, TLS_SMALL, path):
            return "refuses the right certificate"
        for name in ("wrong_host", "unknown_issuer"):
            if self.accepts(client, TLS_SMALL, path, name):
                return f"accepts a certificate that it must refuse: {name}"
        return None


class Counter:
    """Counts system calls or instructions of short runs. What a program does once falls out: two
    runs differ in the number of exchanges, or one has a large body and one a page, and the
    difference counts."""

    def __init__(self, runner):
        self.runner = runner
        self.by_perf = shutil.which("perf") is not None and self.perf("true") is not None

    @property
    def method(self):
        return "perf stat -e instructions:u" if self.by_perf else "valgrind --tool=cachegrind"

    def count(self, pattern, command, before):
        result = self.runner.run(command, before)
        found = re.search(pattern, result.stderr, re.MULTILINE)
        return int(found.group(1).replace(",", "")) if result.returncode == 0 and found else None

    def system_calls(self, *command):
        # The row of the sums: percent, seconds, microseconds for each call, calls, errors.
        return self.count(r"^ *100\.00 +\S+ +\S+ +(\d+).* total$", command,
                          ["strace", "-f", "-c", "-qq"])

    def perf(self, *command):
        return self.count(r"^(\d+),,instructions:u", command,
                          ["perf", "stat", "-x", ",", "-e", "instructions:u"])

    def instructions(self, *command):
        if self.by_perf:
            return self.perf(*command)
        return self.count(r"I +refs: +([\d,]+)$", command,
                          ["valgrind", "--tool=cachegrind", "--cache-sim=no",
                           "--cachegrind-out-file=/dev/null"])

    def difference(self, client, job, counted, count, size):
        """Per exchange, or per GiB."""
        size = min(size, job.size)
        runs = [(1, PAGE), (1, size)] if job.large else [(count, None), (2 * count, None)]
        found = []
        for exchanges, body in runs:
            with self.runner.world.url(job, self.runner.path(job, body)) as url:
                found.append(counted(*self.runner.client(client, job, url, exchanges)))
        if None in found:
            sys.exit(f"{client.name} failed at {job.name} while it was counted")
        return (found[1] - found[0]) / (size / GIB if job.large else count)

    def both(self, client, job):
        if job.name == "start":
            with self.runner.world.url(job, self.runner.path(job)) as url:
                command = self.runner.whole_program(client, url)
                return {"calls": self.system_calls(*command),
                        "instructions": self.instructions(*command)}
        return {
            "calls": self.difference(client, job, self.system_calls, job.traced, 256 * MIB),
            "instructions": self.difference(client, job, self.instructions, job.executed, 16 * MIB),
        }

    def all(self, pairs):
        """Counts disturb each other little, so that all processors may count."""
        for size in (PAGE, 16 * MIB, 256 * MIB):  # before there are threads
            self.runner.world.provide(size)
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            counts = pool.map(lambda pair: self.both(*pair), pairs)
            return {(client.name, job.name): found
                    for (client, job), found in zip(pairs, counts)}
