"""What a reader of the results must know: the machine, the versions, the date."""

import datetime
import os
import pathlib
import platform
import re
import shutil
import subprocess


def first_line(*command):
    result = subprocess.run(command, capture_output=True, text=True, check=False)
    return ((result.stdout or result.stderr).splitlines() or ["unknown"])[0].strip()


def processor():
    text = pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8")
    found = re.search(r"^model name\s*:\s*(.*)$", text, re.MULTILINE)
    return found.group(1).strip() if found else platform.machine()


def cached(build, name):
    text = (build / "CMakeCache.txt").read_text(encoding="utf-8")
    return re.search(rf"^{name}:[A-Z]+=(.*)$", text, re.MULTILINE).group(1)


def compiler(build):
    flags = " ".join(cached(build, "CMAKE_CXX_FLAGS" + suffix) for suffix in ("", "_RELEASE"))
    return f"{first_line(cached(build, 'CMAKE_CXX_COMPILER'), '--version')}, {flags.strip()}"


def versions(build, clients):
    titles = {}  # by version: several clients may be of one library
    for client in clients:
        program = build / "bench/compare.d" / f"client_{client.name}"
        if program.exists():
            titles.setdefault(first_line(program, "--version"), []).append(client.title)
    found = {"; ".join(of_one): version for version, of_one in titles.items()}
    nginx = shutil.which("nginx", path=os.environ.get("PATH", "") + ":/usr/sbin")
    return {**found, "the command curl": first_line("curl", "--version"),
            "nginx": first_line(nginx, "-v").removeprefix("nginx version: ")}


def facts(build, clients, rounds, counting):
    memory = os.sysconf("SC_PHYS_PAGES") * os.sysconf("SC_PAGE_SIZE") / (1 << 30)
    return {"date": datetime.date.today().isoformat(), "rounds": rounds, "counting": counting,
            "machine": f"{os.cpu_count()} cores ({processor()}), {memory:.0f} GiB",
            "kernel": f"Linux {platform.release()}", "compiler": compiler(build),
            "versions": versions(build, clients)}
