#!/usr/bin/env python3
"""The command line against a real web server: bodies up and down, redirects, memory.

    nginx.py NETHTTP PEAK_MEMORY SANITIZERS     under sanitizers bodies are small, memory unlimited
"""

import hashlib
import json
import os
import pathlib
import random
import subprocess
import sys
import tempfile
import unittest

from support import Nginx, run

MIB = 1 << 20

LOCATIONS = """
        location /stored/ { dav_methods PUT DELETE; create_full_put_path on; }
        location = /moved { return 301 /small; }
        location = /found { absolute_redirect off; return 302 /small; }
        location = /folder/relative { return 302 ../small; }
        location = /sibling { return 307 small; }
        location = /chain1 { return 301 /chain2; }
        location = /chain2 { absolute_redirect off; return 302 /chain3; }
        location = /chain3 { return 308 small; }
"""


def make_pattern(path, size):
    """A file whose blocks all differ: marks at steps that no buffer's size divides; the rest is a
    hole, which costs no disk."""
    marks = random.Random(size)
    with open(path, "wb") as file:
        file.truncate(size)
        for place in range(0, size - 64, 65521):
            file.seek(place)
            file.write(marks.randbytes(64))


def digest(path):
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()


class NginxTest(unittest.TestCase):
    program = peak_memory = ""
    limited = True

    @classmethod
    def setUpClass(cls):
        cls.large = 1024 * MIB if cls.limited else 64 * MIB
        cls.upload = 256 * MIB if cls.limited else 16 * MIB
        cls.server = cls.enterClassContext(Nginx(LOCATIONS))
        cls.folder = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        (cls.server.www / "small").write_bytes(random.Random(1).randbytes(1024))
        make_pattern(cls.server.www / "large", cls.large)

    def nethttp(self, *arguments, **options):
        return run([self.program, *arguments], **options)

    def get(self, path, *arguments, **options):
        """Performs one exchange that must succeed; answers its body and its report."""
        report = self.folder / "report.json"
        result = self.nethttp(self.server.url + path, "--report", report, *arguments, text=False,
                              **options)
        self.assertEqual(result.returncode, 0, result.stderr.decode() + self.server.log())
        return result.stdout, json.loads(report.read_text())["exchanges"][-1]

    def peak_of(self, *arguments, **options):
        """Runs the program, which must succeed; answers its peak of resident memory in bytes."""
        peak = self.folder / "peak"
        result = run([self.peak_memory, peak, self.program, *arguments], **options)
        self.assertEqual(result.returncode, 0, f"{result.stderr}\n{self.server.log()}")
        return int(peak.read_text()) * 1024

    def check_peak(self, peak, limit):
        print(f"{self.id()}: peak {peak / MIB:.1f} MiB, limit {limit / MIB:.1f} MiB")
        if self.limited:
            self.assertLess(peak, limit)

    def test_large_body_to_a_file(self):
        output = self.folder / "output"
        peak = self.peak_of(self.server.url + "/large", "-o", output)
        self.assertEqual(os.path.getsize(output), self.large)
        self.assertEqual(digest(output), digest(self.server.www / "large"))
        output.unlink()
        self.check_peak(peak, 12 * MIB)

    def test_large_body_in_memory(self):
        output = self.folder / "output"
        peak = self.peak_of(self.server.url + "/large", "--memory", "-o", output)
        self.assertEqual(digest(output), digest(self.server.www / "large"))
        output.unlink()
        self.check_peak(peak, 1.1 * self.large + 16 * MIB)

    def test_upload(self):
        source = self.folder / "source"
        make_pattern(source, self.upload)
        stored = self.server.www / "stored" / "copy"
        peak = self.peak_of("-X", "PUT", "-T", source, self.server.url + "/stored/copy")
        self.assertEqual(digest(stored), digest(source))
        self.check_peak(peak, 12 * MIB)
        self.assertEqual(self.nethttp("-X", "DELETE", self.server.url + "/stored/copy").returncode, 0)
        self.assertFalse(stored.exists())

    def test_redirects(self):
        base = self.server.url
        for path, target in (("/moved", "/small"), ("/found", "/small"), ("/sibling", "/small"),
                             ("/folder/relative", "/small"), ("/chain1", "/small")):
            with self.subTest(path):
                body, report = self.get(path)
                self.assertEqual(len(body), 1024)
                self.assertEqual((report["status"], report["wasRedirected"]), (200, True))
                self.assertEqual(report["url"], base + target)


if __name__ == "__main__":
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    NginxTest.program, NginxTest.peak_memory = sys.argv[1:3]
    NginxTest.limited = not "".join(sys.argv[3:])
    unittest.main(argv=sys.argv[:1], verbosity=2)
