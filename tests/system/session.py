#!/usr/bin/env python3
"""Holds docs/session.md against what a terminal shows.

    session.py SOURCE-FOLDER NETHTTP            compares, but for times, rates and sizes under way
    session.py SOURCE-FOLDER NETHTTP --write    writes what was shown into the document
"""

import contextlib
import os
import pathlib
import re
import sys
import tempfile
import unittest

from support import Nginx
from terminal import Terminal, state_of, wait_until
from tls import make_certificates

BURST = 512 << 10

PLAIN = """
        location /stored/ { dav_methods PUT; create_full_put_path on; }
        location /slow/ { limit_rate %d; alias %s/; }
        location = /old { return 301 http://127.0.0.1:$server_port/hello.txt; }
        location = /nothing { return 404 "no such page\\n"; }
"""
TLS = """
        ssl_certificate {0}/expired.pem;
        ssl_certificate_key {0}/key.pem;
"""
BLOCK = re.compile(r"^```console\n(.*?)^```\n", re.MULTILINE | re.DOTALL)

# What differs from run to run, and what stands for it in a comparison.
VOLATILE = [
    (r"\d{4}-\d\d-\d\dT[\d:.]+Z", "TIME"),
    (r"(?m)^((?:Up|Down)load ).*? (\d+%).*$", r"\1PROGRESS"),
    (r"holds the \d+ bytes", "holds the N bytes"),
]


def rendered(shown):
    """Answers the lines that stay on a terminal of what was written to it."""
    lines = []
    for line in shown.replace("\r\n", "\n").split("\n"):
        state = ""
        for piece in line.split("\r"):
            state = piece + state[len(piece):]
        lines.append(state.rstrip())
    return "\n".join(lines)


def without_volatile(text):
    for pattern, replacement in VOLATILE:
        text = re.sub(pattern, replacement, text)
    return text


class Session:
    """The machine of the document: a folder, two servers and a terminal."""

    def __init__(self, program, stack):
        self.folder = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory()))
        make_certificates(self.folder)
        self.home = self.folder / "home"
        self.home.mkdir()
        files = self.folder / "files"
        files.mkdir()
        self.plain = stack.enter_context(Nginx(PLAIN % (BURST, files)))
        self.tls = stack.enter_context(Nginx(TLS.format(self.folder), "ssl"))
        for folder in (self.plain.www, self.tls.www, files):
            (folder / "hello.txt").write_text("Hello, world.\n")
            (folder / "large.bin").write_bytes(bytes(range(256)) * (32 << 10))
        self.ports = {"8080": str(self.plain.port), "8443": str(self.tls.port)}
        self.environment = ["env", "-C", self.home, f"VORNIK_ROOT={self.folder / 'environment'}",
                            f"PATH={pathlib.Path(program).parent}:{os.environ['PATH']}"]

    def show(self, command, interrupted):
        for shown, real in self.ports.items():
            command = command.replace(f":{shown}/", f":{real}/")
        terminal = Terminal([*self.environment, "bash", "-c", command], 80)
        if interrupted:
            terminal.read(until="%")
            self.wait_for_first_burst(terminal.process.pid)
            terminal.press(b"\x03")
        terminal.end()
        output = terminal.output.replace("^C", "")
        for shown, real in self.ports.items():
            output = output.replace(f":{real}", f":{shown}")
        return rendered(output)

    def wait_for_first_burst(self, shell):
        """From then on nothing comes for a while, and what the program says of it is certain."""
        wait_until(lambda: sum(path.stat().st_size for path in self.home.glob("*.part")) >= BURST)
        children = pathlib.Path(f"/proc/{shell}/task/{shell}/children")
        wait_until(lambda: [state_of(child) for child in children.read_text().split()] == ["S"])

    def play(self, block):
        """Answers a block with the output of its commands; "^C" behind one is a key that is hit."""
        result = ""
        commands = re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", block, re.MULTILINE)
        for command, output in commands:
            interrupted = "^C" in output
            result += f"$ {command}\n" + ("^C\n" if interrupted else "")
            result += self.show(command, interrupted)
        return result


def regenerated(document, program):
    with contextlib.ExitStack() as stack:
        session = Session(program, stack)
        return BLOCK.sub(lambda match: f"```console\n{session.play(match.group(1))}```\n", document)


class SessionTest(unittest.TestCase):
    maxDiff = None
    path = pathlib.Path()
    program = ""

    def test_document_shows_what_a_terminal_shows(self):
        document = self.path.read_text()
        self.assertGreater(document.count("\n$ nethttp "), 8)
        self.assertEqual(without_volatile(document),
                         without_volatile(regenerated(document, self.program)))


if __name__ == "__main__":
    SessionTest.path = pathlib.Path(sys.argv[1]) / "docs/session.md"
    SessionTest.program = sys.argv[2]
    if sys.argv[3:] == ["--write"]:
        SessionTest.path.write_text(regenerated(SessionTest.path.read_text(), sys.argv[2]))
    else:
        unittest.main(argv=sys.argv[:1])
