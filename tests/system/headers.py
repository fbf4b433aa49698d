#!/usr/bin/env python3
"""Compiles each public header on its own, as installed, included twice and with every warning on.

    headers.py BUILD CXX
"""

import concurrent.futures
import pathlib
import sys
import tempfile
import unittest

from support import must, run

LIST = pathlib.Path(__file__).parents[2] / "cmake/public_headers.txt"
WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Wconversion", "-Werror"]


class HeadersTest(unittest.TestCase):
    build = ""
    compiler = ""

    def compile(self, header):
        return run([self.compiler, "-std=c++20", *WARNINGS, "-fsyntax-only", "-x", "c++", "-",
                    "-I", self.include], input=f"#include <{header}>\n" * 2, stdin=None)

    def test_each_header_stands_alone(self):
        headers = LIST.read_text().split()
        with tempfile.TemporaryDirectory() as prefix:
            must(["cmake", "--install", self.build, "--component", "development",
                  "--prefix", prefix])
            self.include = pathlib.Path(prefix, "include")
            with concurrent.futures.ThreadPoolExecutor(2) as pool:
                results = dict(zip(headers, pool.map(self.compile, headers)))
        for header, result in results.items():
            with self.subTest(header):
                self.assertEqual(result.returncode, 0, result.stderr)


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    HeadersTest.compiler = sys.argv.pop()
    HeadersTest.build = sys.argv.pop()
    unittest.main(verbosity=2)
