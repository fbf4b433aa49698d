#!/usr/bin/env python3
"""Builds applications against the library where it is not installed: along with its sources, shared
and static, and from a build tree.

    embedded.py WORK BUILD CXX LAUNCHER FLAGS [WHY-NOT]

What it builds stays in WORK, for the test `abi`. LAUNCHER and FLAGS are definitions for CMake, of
what starts the compiler and of its flags. With WHY-NOT the test is skipped.
"""

import pathlib
import shutil
import sys
import unittest

import consumers
from support import environment_of, must, skip_if

ROOT = pathlib.Path(__file__).parents[2]
PROJECT = pathlib.Path(__file__).parent / "embedding"


def binaries(folder):
    """Answers the programs and shared libraries below a folder."""
    return [path for path in folder.rglob("*")
            if path.is_file() and "CMakeFiles" not in path.parts
            and path.read_bytes()[:4] == b"\x7fELF"]


def programs(folder):
    """Answers their names, versions left out."""
    return {path.name.split(".so")[0] for path in binaries(folder)}


class EmbeddedTest(unittest.TestCase):
    work = pathlib.Path()
    build = ""
    compiler = ""
    definitions = ()

    def embed(self, way, *definitions):
        folder = self.work / way
        for path in binaries(folder):  # an earlier run may have built what this one must not
            path.unlink(missing_ok=True)
        consumers.configure_and_build(
            PROJECT, folder, f"EMBEDDING_WAY={way}", f"EMBEDDING_SOURCE={ROOT}",
            f"CMAKE_CXX_COMPILER={self.compiler}", *self.definitions, *definitions)
        self.assertEqual(must([folder / "consumer"]).stdout, consumers.EXPECTED)
        tests = must(["ctest", "--test-dir", folder, "-N"]).stdout
        self.assertIn("Total Tests: 0", tests)
        return folder

    def test_fetched(self):
        folder = self.embed("fetch")
        self.assertEqual(programs(folder), {"consumer", "libnethttp", "libnethttp-platform"})
        self.assertNotIn("BUILD_SHARED_LIBS", (folder / "CMakeCache.txt").read_text())
        commands = (folder / "compile_commands.json").read_text()  # of the library's sources
        self.assertIn("-Wshadow", commands)
        self.assertNotIn("-Werror", commands)
        shutil.rmtree(folder / "prefix", ignore_errors=True)
        must(["cmake", "--install", folder, "--prefix", folder / "prefix"])
        self.assertFalse((folder / "prefix").exists())

    def test_subdirectory_static_and_installed_with_it(self):
        folder = self.embed("subdirectory", "BUILD_SHARED_LIBS=OFF", "NETHTTP_INSTALL=ON")
        self.assertEqual(programs(folder), {"consumer"})
        first, prefix = folder / "first", folder / "moved"
        for old in (first, prefix):
            shutil.rmtree(old, ignore_errors=True)
        must(["cmake", "--install", folder, "--prefix", first])
        shutil.move(first, prefix)
        self.assertEqual(list(prefix.rglob("*.so*")), [])
        found = {
            "prefix": consumers.by_cmake(self.work / "static_prefix", self.compiler,
                                         f"CMAKE_PREFIX_PATH={prefix}"),
            "build tree": consumers.by_cmake(self.work / "static_tree", self.compiler,
                                             f"NetHttp_DIR={folder / 'nethttp'}"),
            "pkg-config": consumers.by_pkg_config(self.work / "static_pkg_config", self.compiler,
                                                  environment_of(prefix), static=True),
        }
        self.assertEqual(found, dict.fromkeys(found, consumers.EXPECTED))
        for name in ("static_prefix/consumer", "static_tree/consumer",
                     "static_pkg_config/by_pkg_config", "subdirectory/consumer"):
            self.assertFalse(any("nethttp" in library
                                 for library in consumers.needed(self.work / name)), name)

    def test_build_tree(self):
        output = consumers.by_cmake(self.work / "tree", self.compiler, f"NetHttp_DIR={self.build}")
        self.assertEqual(output, consumers.EXPECTED)


if __name__ == "__main__":
    if len(sys.argv) not in (6, 7):
        sys.exit(__doc__)
    skip_if(sys.argv[6:])
    EmbeddedTest.work = pathlib.Path(sys.argv[1])
    EmbeddedTest.build, EmbeddedTest.compiler = sys.argv[2:4]
    EmbeddedTest.definitions = sys.argv[4:6]
    unittest.main(argv=sys.argv[:1], verbosity=2)
