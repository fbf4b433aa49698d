#!/usr/bin/env python3
"""The command line against a real web server: large bodies up and down, memory.

    nginx.py NETHTTP PEAK_MEMORY SANITIZERS     under sanitizers bodies are small, memory unlimited
"""

import hashlib
import os
import pathlib
import random
import sys
import tempfile
import unittest

from support import Nginx, run

MIB = 1 << 20

LOCATIONS = "location /stored/ { dav_methods PUT DELETE; create_full_put_path on; }"


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
        make_pattern(cls.server.www / "large", cls.large)

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
        deleted = run([self.program, "-X", "DELETE", self.server.url + "/stored/copy"])
        self.assertEqual(deleted.returncode, 0)
        self.assertFalse(stored.exists())


if __name__ == "__main__":
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    NginxTest.program, NginxTest.peak_memory = sys.argv[1:3]
    NginxTest.limited = not "".join(sys.argv[3:])
    unittest.main(argv=sys.argv[:1], verbosity=2)
