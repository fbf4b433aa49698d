#!/usr/bin/env python3
"""The command line over networks that misbehave: packets are lost, late and out of order, the link
goes away, nobody answers. Every exchange gets through whole, or ends clearly and in bounded time.

    networks.py NETHTTP [long]     long: larger bodies, worse links, and ends that take minutes
"""

import contextlib
import dataclasses
import hashlib
import os
import pathlib
import random
import socket
import sys
import tempfile
import threading
import time
import unittest

from link import Link, Weather, enter_own_network, replace_file, set_host
from support import Nginx, must, run
from tls import SERVER, make_certificates

NAME = "far.test"  # the far host
LIMIT = 60         # seconds: no end takes longer, but some of the long form

UNMEASURED = "location = /unmeasured {{ ssi on; ssi_types *; alias {0}/body; }}"

WEATHERS = {
    "one packet of 30 lost": Weather(loss=1 / 30),
    "30 ms each way": Weather(delay=0.03),
    "out of order": Weather(delay=0.005, jitter=0.005),
    "one of 10 comes twice": Weather(repeated=0.1),
    "one of 30 damaged": Weather(damaged=1 / 30),
    "all of it": Weather(loss=0.01, repeated=0.01, damaged=0.01, delay=0.01, jitter=0.005),
}
LONG_WEATHERS = {
    "one packet of 5 lost": Weather(loss=0.2),
    "300 ms each way": Weather(delay=0.3),
    "up to 50 ms late": Weather(jitter=0.05),
}


@dataclasses.dataclass(frozen=True)
class End:
    """How an exchange ends that cannot get through."""
    name: str
    weather: Weather
    options: tuple
    record: str     # a pattern
    seconds: float  # before which it cannot have ended
    path: str = "/body"
    limit: float = LIMIT
    status: int = 1


TIMED_OUT = "error: 2006eh \\(131182\\)"
UNCONNECTED = f"Failed to connect socket to {NAME}:.*; {TIMED_OUT}"
UNRECEIVED = f"Could not receive data; {TIMED_OUT}"
UNSENT = f"Failed to write data; {TIMED_OUT}"
IDLE = ("--idle-timeout", "1")
NO_LIMITS = ("--connect-timeout", "0", "--idle-timeout", "0")
UPLOAD = ("-X", "PUT", "-T", "BODY")

ENDS = [
    End("the first packet and all others are lost", Weather(loss=1), ("--connect-timeout", "1"),
        UNCONNECTED, 1),
    End("the link is gone after the connect", Weather(gone_after=1), IDLE, UNRECEIVED, 1),
    End("the link is gone within the handshake", Weather(gone_after=2), IDLE,
        "TLS handshake failed to ", 1, "https"),
    End("the link is gone within the body", Weather(gone_after=40), IDLE, UNRECEIVED, 1),
    End("the link is gone within the body over TLS", Weather(gone_after=40), IDLE,
        UNRECEIVED, 1, "https"),
    End("the link is gone within the upload", Weather(gone_after_sent=40), IDLE + UPLOAD, UNSENT,
        1, "/stored/lost"),
    End("the same without an idle limit: the host gives up", Weather(gone_after_sent=40),
        NO_LIMITS + UPLOAD, UNSENT, 1, "/stored/lost"),
    # Only the connection's end tells where it ends, and this one has none.
    End("the link is gone within a body without length", Weather(gone_after=40), IDLE,
        r"the body may be incomplete: .* \(Connection timed out\)", 1, "/unmeasured", status=0),
    End("large packets vanish", Weather(largest=1000), IDLE, UNRECEIVED, 1),
]
LONG_ENDS = [
    # 30 s of silence, then four probes every 15 s
    End("the link is gone within the body: keep-alive notices", Weather(gone_after=40), NO_LIMITS,
        UNRECEIVED, 85, limit=150),
    End("keep-alive notices over TLS, too", Weather(gone_after=40), NO_LIMITS,
        UNRECEIVED, 85, "https", limit=150),
    End("no connect limit: the host gives up", Weather(loss=1), NO_LIMITS, UNCONNECTED, 2.5),
    End("the connect limit that is set by itself", Weather(loss=1), (), UNCONNECTED, 58,
        limit=150),
]

NEVER = 1 << 30

# What the host knows at once: kind of route, or none, and the error
ROUTES = [("blackhole", "20016h (131094)"), ("prohibit", "2000dh (131085)"),
          ("unreachable", "20071h (131185)"), ("", "20065h (131173)")]


def digest(path):
    return hashlib.sha256(pathlib.Path(path).read_bytes()).hexdigest()


class NameServer(threading.Thread):
    """Answers as often as it is told, beginning with a question of a number: the far host's address
    for type A, nothing for other types."""

    def __init__(self, link, answers_from):
        super().__init__(daemon=True)
        self.address = link.far_address
        self.answers_from = answers_from
        self.questions = 0
        with link.far():
            self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
            self.socket.bind((self.address, 53))

    def run(self):
        while True:
            question, client = self.socket.recvfrom(512)
            self.questions += 1
            if self.questions >= self.answers_from:
                end = question.index(0, 12) + 5  # of the name, its type and its class
                is_a = question[end - 4:end - 2] == b"\0\1"
                answer = b"\xc0\x0c\0\1\0\1\0\0\0\0\0\4" + socket.inet_aton(self.address)
                self.socket.sendto(question[:2] + b"\x81\x80\0\1" + bytes([0, is_a]) + b"\0\0\0\0" +
                                   question[12:end] + answer * is_a, client)


class NetworksTest(unittest.TestCase):
    program = ""
    long = False
    size = 1 << 20

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        make_certificates(cls.folder, "DNS:" + NAME)
        for name, text in (("hosts", ""), ("resolv.conf", ""),
                           ("nsswitch.conf", "hosts: files dns\n")):
            (cls.folder / name).write_text(text)
            replace_file("/etc/" + name, cls.folder / name)
        cls.body = cls.folder / "body"
        cls.body.write_bytes(random.Random(1).randbytes(cls.size))
        cls.output = cls.folder / "output"
        # How often this host tries again before it gives up, and the figures below are short.
        set_host("ipv4/tcp_retries2", 2)
        set_host("ipv4/tcp_syn_retries", 1)

    @contextlib.contextmanager
    def network(self, weather):
        """A far host with a web server on two ports: answers the link and the addresses of both."""
        with Link(weather) as link:
            (self.folder / "hosts").write_text(f"{link.far_address} {NAME}\n")
            with link.far():
                sockets = [(socket.create_server((link.far_address, 0)), option)
                           for option in ("", "ssl")]
            http, https = (f"{NAME}:{each.getsockname()[1]}" for each, _ in sockets)
            with Nginx((SERVER + UNMEASURED).format(self.folder), sockets=sockets) as server:
                os.link(self.body, server.www / "body")
                link.stored = server.www / "stored"
                yield link, "http://" + http, "https://" + https

    def nethttp(self, *arguments, limit=LIMIT):
        """Runs the program; answers its result and the seconds that it took."""
        began = time.monotonic()
        environment = {**os.environ, "VORNIK_ROOT": str(self.folder / "environment")}
        result = run([self.program, *arguments], env=environment, timeout=limit)
        return result, time.monotonic() - began

    def note(self, name, seconds, link):
        counts = ", ".join(f"{count} {what}" for what, count in link.counts.items() if count)
        print(f"{name}: {seconds:.1f} s; packets: {counts}", flush=True)

    def test_bodies_arrive_whole(self):
        weathers = WEATHERS | (LONG_WEATHERS if self.long else {})
        for name, weather in weathers.items():
            with self.subTest(name), self.network(weather) as (link, http, https):
                limit = 600 if self.long else LIMIT
                began = time.monotonic()
                for url in (http, https):
                    got, _ = self.nethttp(url + "/body", "-o", self.output, limit=limit)
                    self.assertEqual(got.returncode, 0, got.stderr)
                    self.assertEqual(digest(self.output), digest(self.body))
                    self.output.unlink()
                    sent, _ = self.nethttp("-f", "-X", "PUT", "-T", self.body, url + "/stored/copy",
                                           limit=limit)
                    self.assertEqual(sent.returncode, 0, sent.stderr)
                    self.assertEqual(digest(link.stored / "copy"), digest(self.body))
                    (link.stored / "copy").unlink()
                self.note(name, time.monotonic() - began, link)
                for share, what in ((weather.loss, "lost"), (weather.jitter, "overtook"),
                                    (weather.repeated, "repeated"), (weather.damaged, "damaged")):
                    self.assertEqual(share > 0, link.counts[what] > 0, what)

    def test_ends_in_bounded_time(self):
        for end in ENDS + (LONG_ENDS if self.long else []):
            with self.subTest(end.name), self.network(end.weather) as (link, http, https):
                if end.limit > LIMIT:
                    set_host("ipv4/tcp_syn_retries", 6)
                url = https + "/body" if end.path == "https" else http + end.path
                options = [str(self.body) if word == "BODY" else word for word in end.options]
                got, seconds = self.nethttp(*options, "-o", self.output, url, limit=end.limit)
                self.note(end.name, seconds, link)
                self.assertEqual(got.returncode, end.status, got.stderr)
                self.assertRegex(got.stderr, end.record)
                self.assertGreaterEqual(seconds, end.seconds)
                self.assertEqual("ErrTransfer (8443h)" in got.stderr, end.status == 1)
                self.assertEqual(self.output.exists(), end.status == 0)
                self.output.unlink(missing_ok=True)

    def test_routes(self):
        for kind, code in ROUTES:
            with self.subTest(kind):
                must(["ip", "route", "flush", "root", "10.8.0.0/16"])
                if kind:
                    must(["ip", "route", "replace", kind, "10.8.0.1"])
                got, _ = self.nethttp("http://10.8.0.1/")
                self.assertEqual(got.returncode, 1)
                self.assertIn(f"Failed to connect socket to 10.8.0.1:50h (80); error: {code}", got.stderr)

    def test_resolver(self):
        """A silent one is asked as often as the host's configuration has it, and no longer."""
        impatient = "options timeout:1 attempts:2\n"
        cases = [("late", 3, impatient), ("silent", NEVER, impatient)]
        if self.long:
            cases.append(("silent, as hosts ask", NEVER, ""))
        for name, answers_from, options in cases:
            with self.subTest(name), self.network(Weather()) as (link, http, _):
                (self.folder / "resolv.conf").write_text(
                    f"nameserver {link.far_address}\n{options}")
                server = NameServer(link, answers_from)
                server.start()
                got, seconds = self.nethttp(http.replace(NAME, "asked.test") + "/body", "-o",
                                            self.output)
                self.note(f"resolver, {name}", seconds, link)
                self.assertGreaterEqual(server.questions, 3)  # types A and AAAA, then again
                self.assertGreaterEqual(seconds, 1)
                if name == "late":
                    self.assertEqual(got.returncode, 0, got.stderr)
                    self.assertEqual(digest(self.output), digest(self.body))
                    self.output.unlink()
                else:
                    self.assertEqual(got.returncode, 1)
                    self.assertIn("Failed to resolve asked.test; error: 30003h", got.stderr)


if __name__ == "__main__":
    enter_own_network()
    NetworksTest.program = sys.argv[1]
    if sys.argv[2:] == ["long"]:
        NetworksTest.long = True
        NetworksTest.size = 4 << 20
    unittest.main(argv=sys.argv[:1])
