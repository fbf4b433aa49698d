#!/usr/bin/env python3
"""Installs the build tree, whole and by component, moves what was installed elsewhere, and builds
applications against it by CMake and by pkg-config.

    install.py BUILD CXX [SANITIZERS]
"""

import os
import pathlib
import re
import shutil
import sys
import tempfile
import unittest

import consumers
from support import environment_of, must

ROOT = pathlib.Path(__file__).parents[2]
BUNDLE = "system/base/certs.pem"


def install(prefix, *options, **environment):
    must(["cmake", "--install", InstallTest.build, "--prefix", prefix, *options],
         env={**os.environ, **environment})
    return prefix


def files(folder):
    """Answers the paths of all files below a folder, those of libraries without their folder."""
    paths = (str(path.relative_to(folder)) for path in folder.rglob("*") if not path.is_dir())
    return {re.sub(r"^lib(64)?/(\w+-linux-\w+/)?", "lib/", path) for path in paths}


def expected(component):
    """Answers what a component consists of, "…" standing for any ending."""
    headers = (ROOT / "cmake/public_headers.txt").read_text().split()
    package = ("Config.cmake", "ConfigVersion.cmake", "Targets.cmake", "Targets-….cmake")
    shared = "BUILD_SHARED_LIBS:BOOL=ON" in (InstallTest.build / "CMakeCache.txt").read_text()
    links = [f"lib/{name}.{'so' if shared else 'a'}" for name in ("libnethttp", "libnethttp-platform")]
    return {
        "runtime": [link + version for link in links for version in (".1", ".1.….…")] * shared,
        "development": [*links, *("include/" + header for header in headers),
                        "lib/pkgconfig/nethttp.pc",
                        *("lib/cmake/NetHttp/NetHttp" + name for name in package)],
        "tools": ["bin/nethttp", "share/…"],
        "certificates": [],
    }[component]


def matches(path, pattern):
    return re.fullmatch(re.escape(pattern).replace("…", ".+"), path) is not None


class InstallTest(unittest.TestCase):
    build = pathlib.Path()
    compiler = ""
    options = []

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.prefix = cls.folder / "moved"
        shutil.move(install(cls.folder / "first"), cls.prefix)
        cls.environment = environment_of(cls.prefix)

    def test_application_by_cmake(self):
        output = consumers.by_cmake(
            self.folder / "by_cmake", self.compiler, f"CMAKE_PREFIX_PATH={self.prefix}",
            f"CMAKE_CXX_FLAGS={' '.join(self.options)}")
        self.assertEqual(output, consumers.EXPECTED)

    def test_application_by_pkg_config(self):
        output = consumers.by_pkg_config(
            self.folder / "by_pkg_config", self.compiler, self.environment, self.options,
            static=any(self.prefix.rglob("libnethttp.a")))
        self.assertEqual(output, consumers.EXPECTED)

    def test_program_finds_its_libraries_without_help(self):
        self.assertIn("nethttp", must([self.prefix / "bin/nethttp", "--version"]).stdout)

    def test_components_hold_what_they_say(self):
        apart = set()
        for component in ("runtime", "development", "tools", "certificates"):
            with self.subTest(component):
                found = files(install(self.folder / component, "--component", component))
                patterns = expected(component)
                self.assertEqual([path for path in sorted(found) if not any(
                    matches(path, pattern) for pattern in patterns)], [])
                self.assertEqual([pattern for pattern in patterns if pattern != "share/…" and not any(
                    matches(path, pattern) for path in found)], [])
                apart |= found
        self.assertEqual(apart, files(self.prefix))

    def test_system_installation_links_the_bundle(self):
        for prefix, linked in (("/usr", True), ("/usr/local", True), ("/opt/nethttp", False)):
            with self.subTest(prefix):
                root = self.folder / prefix.replace("/", "_")
                install(prefix, "--component", "certificates", DESTDIR=str(root))
                self.assertEqual((root / BUNDLE).is_symlink(), linked)

    def test_system_installation_keeps_a_bundle(self):
        bundle = self.folder / "kept" / BUNDLE
        bundle.parent.mkdir(parents=True)
        bundle.write_text("mine")
        install("/usr", "--component", "certificates", DESTDIR=str(self.folder / "kept"))
        self.assertEqual(bundle.read_text(), "mine")


if __name__ == "__main__":
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    InstallTest.options = ["-fsanitize=" + name for name in sys.argv[3:]]
    del sys.argv[3:]
    InstallTest.compiler = sys.argv.pop()
    InstallTest.build = pathlib.Path(sys.argv.pop())
    unittest.main(verbosity=2)
