#!/usr/bin/env python3
"""Looks for what compiler and linker put into the packaged libraries and program against exploits:
read-only relocations, no executable stack, position independence, stack protector, checked C
functions, marks of control flow. Holds docs/licences.md against what those are linked with.

    hardening.py BUILD [WHY-NOT]

BUILD is an optimised build with all three. With WHY-NOT the test is skipped.
"""

import json
import pathlib
import platform
import re
import sys
import unittest

import consumers
from support import must, skip_if

ROOT = pathlib.Path(__file__).parents[2]
FLAGS = re.compile(r"-fstack-|-fcf-|FORTIFY|-z[, ]")
NOTE = "IBT, SHSTK"


def binary_faults(binary, has_checked_functions=True):
    """Tells what a program or shared library lacks."""
    headers = must(["readelf", "-lhdW", binary]).stdout
    imported = must(["nm", "-D", "-u", binary]).stdout
    if "GNU_RELRO" not in headers:
        yield "read-only relocations"
    if "BIND_NOW" not in headers:
        yield "bound at once"
    if not re.search(r"GNU_STACK .* RW +0x", headers):
        yield "executable stack"
    if not re.search(r"Type: +DYN", headers):
        yield "position independence"
    if "__stack_chk_fail" not in imported:
        yield "stack protector"
    if has_checked_functions and not re.search(r"U __\w+_chk(@|$)", imported, re.MULTILINE):
        yield "checked functions"


def object_faults(path):
    """The linker drops the marks when a single object lacks them, and the host's own do."""
    if NOTE not in must(["readelf", "-nW", path]).stdout:
        yield "control flow"


def licence_faults(page, needed):
    """Tells which of the libraries that are linked the page does not name."""
    return [name for name in sorted(needed) if f"`{name}`" not in page]


class BinariesTest(unittest.TestCase):
    build = pathlib.Path()

    @classmethod
    def setUpClass(cls):
        cls.libraries = [path for path in cls.build.rglob("libnethttp*.so.?.*") if path.is_file()]
        cls.binaries = [*cls.libraries, cls.build / "apps/nethttp/nethttp"]
        cls.objects = [path for path in cls.build.rglob("*.o") if "CompilerIdCXX" not in path.parts]

    def test_binaries(self):
        self.assertEqual(len(self.libraries), 2)
        for binary in self.binaries:
            with self.subTest(binary.name):
                # The library itself calls no C function that has a checked form.
                checked = not binary.name.startswith("libnethttp.")
                self.assertEqual(list(binary_faults(binary, checked)), [])

    @unittest.skipUnless(platform.machine() == "x86_64", "the marks are of x86-64")
    def test_objects(self):
        self.assertGreater(len(self.objects), 50)
        self.assertEqual([path.name for path in self.objects if list(object_faults(path))], [])

    def test_sources_are_compiled_against_a_clash_of_the_stack(self):
        commands = json.loads((self.build / "compile_commands.json").read_text())
        self.assertEqual([entry["file"] for entry in commands
                          if "-fstack-clash-protection" not in entry["command"]], [])

    def test_nothing_reaches_who_uses_the_libraries(self):
        for path in (*self.build.rglob("NetHttpTargets*.cmake"), self.build / "nethttp.pc"):
            self.assertNotRegex(path.read_text(), FLAGS, path)

    def test_no_path_of_the_build(self):
        for path in self.binaries:
            for folder in {ROOT, self.build}:
                self.assertNotIn(str(folder).encode(), path.read_bytes(), path.name)

    def test_licences(self):
        needed = set().union(*map(consumers.needed, self.binaries))
        self.assertIn("libssl.so.3", needed)
        page = (ROOT / "docs/licences.md").read_text()
        self.assertEqual(licence_faults(page, needed), [])


if __name__ == "__main__":
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    skip_if(sys.argv[2:])
    BinariesTest.build = pathlib.Path(sys.argv[1])
    unittest.main(argv=sys.argv[:1], verbosity=2)
