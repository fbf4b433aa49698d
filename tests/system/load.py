#!/usr/bin/env python3
"""Many exchanges on many threads against a real web server: answers, refusals, broken connections,
cancelled bodies, certificates that do not fit, and a while with too few descriptors and ports.

    load.py LOAD EXCHANGES [SANITIZERS]     under sanitizers memory has no bound

It runs in a network of its own where that is allowed: the ports of a busy machine are left alone,
and can be made few.
"""

import os
import pathlib
import socket
import subprocess
import sys
import tempfile

from link import INSIDE, own_network_command
from support import Nginx, must
from tls import make_certificates

THREADS = 64
# A connection that is over keeps its pair of ports for a minute: more servers, more pairs.
SERVERS = 16
# What a thread of the GNU C library keeps for its next allocation counts as in use, and hides what
# was not released.
UNCACHED = {"GLIBC_TUNABLES": "glibc.malloc.tcache_count=0"}

LOCATIONS = """
        ssl_certificate {0}/good.pem;
        ssl_certificate_key {0}/key.pem;
        location /stored/ {{ dav_methods PUT; }}
        location = /moved {{ absolute_redirect off; return 302 /small; }}
        # That a machine stands still for a while is no reason for the server to break off.
        client_header_timeout 1h;
        client_body_timeout 1h;
        send_timeout 1h;
        reset_timedout_connection on;
        location = /closed {{ reset_timedout_connection off; return 444; }}
        location = /reset {{ return 444; }}
"""


def pattern(size):
    return (bytes(range(251)) * (size // 251 + 1))[:size]


def listen(option, address="127.0.0.1"):
    return socket.create_server((address, 0), backlog=512), option


def main(program, exchanges, sanitizers=""):
    words = ["own-network"] if INSIDE in os.environ else []
    if words:
        must(["ip", "link", "set", "lo", "up"])
    sockets = [listen("") for _ in range(SERVERS)] + [listen("ssl") for _ in range(SERVERS)]
    sockets.append(listen("ssl", "127.0.0.2"))
    ports = [str(each.getsockname()[1]) for each, _ in sockets]
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        make_certificates(folder, "IP:127.0.0.1")
        with Nginx(LOCATIONS.format(folder), sockets=sockets, connections=4096) as server:
            for file, size in (("small", 1024), ("large", 256 << 10)):
                (server.www / file).write_bytes(pattern(size))
            stored = server.www / "stored"
            stored.mkdir()
            for number in range(64):
                (stored / str(number)).touch()
            result = subprocess.run(
                [program, exchanges, str(THREADS), ",".join(ports[:SERVERS]),
                 ",".join(ports[SERVERS:-1]), ports[-1], *words,
                 *(["unmeasured"] if sanitizers else [])],
                env={**os.environ, **UNCACHED, "VORNIK_ROOT": str(folder / "environment")},
                check=False)
            spoilt = [file.name for file in stored.iterdir() if file.read_bytes() != pattern(10000)]
            print("uploads that are spoilt:", *(sorted(spoilt) or ["none"]))
            # What the server has to say for itself, when it was not all well.
            alerts = [line for line in server.log().splitlines()
                      if "[alert]" in line or "[crit]" in line]
            print(*alerts[:10], sep="\n", end="")
            return 1 if result.returncode or spoilt or alerts else 0


if __name__ == "__main__":
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    os.environ["PATH"] += ":/usr/sbin:/sbin"
    command, reason = own_network_command() if INSIDE not in os.environ else ([], "")
    if command:
        command += [sys.executable, "-B", *sys.argv]
        os.execvpe(command[0], command, {**os.environ, INSIDE: "1"})
    if reason:
        print("in the network of the machine, whose ports are not made few:", reason)
    sys.exit(main(*sys.argv[1:]))
