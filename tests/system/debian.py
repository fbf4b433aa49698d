#!/usr/bin/env python3
"""Makes the Debian packages, unpacks them into a folder and builds applications against that. Then
measures the packaged libraries and compares what the README says of them.

    debian.py WORK CXX DEFINITION [WHY-NOT]

The build stays in WORK. DEFINITION is one more for CMake, of the compiler's launcher. With WHY-NOT
the test is skipped, and without the tools of Debian as well.
"""

import os
import pathlib
import platform
import re
import shutil
import sys
import tempfile
import unittest

import consumers
from support import environment_of, must, skip_if

ROOT = pathlib.Path(__file__).parents[2]
BUNDLE = "system/base/certs.pem"
TOLERANCE = 0.05
SIZE = re.compile(r"`(libnethttp[a-z-]*\.so)`\s\(?(\d+)\s+KiB")
COUNT = re.compile(r"(\d+)\s+other\s+shared\s+libraries")


def figure_faults(text, sizes, others):
    """Compares the figures of a text with the sizes in bytes by name and the number of libraries."""
    said = {name: int(kib) for name, kib in SIZE.findall(text)}
    for name, size in sizes.items():
        if not abs(said.get(name, 0) * 1024 - size) <= TOLERANCE * size:
            yield f"{name}: {said.get(name)} KiB in the README, {size / 1024:.1f} KiB measured"
    counted = [int(number) for number in COUNT.findall(text)]
    if counted != [others]:
        yield f"other shared libraries: {counted} in the README, {others} counted"


class DebianTest(unittest.TestCase):
    work = pathlib.Path()
    compiler = ""
    definition = ""

    @classmethod
    def setUpClass(cls):
        build, packages = cls.work / "build", cls.work / "packages"
        must(["cmake", "--preset", "package", "-B", build, f"-DCMAKE_CXX_COMPILER={cls.compiler}",
              "-D" + cls.definition], cwd=ROOT)
        consumers.build(build)
        shutil.rmtree(packages, ignore_errors=True)
        must(["cpack", "--config", build / "CPackConfig.cmake", "-B", packages], umask=0o077)
        cls.packages = {path.name.split("_")[0]: path for path in packages.glob("*.deb")}
        cls.folder = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.prefix = cls.folder / "usr"
        for package in cls.packages.values():
            must(["dpkg-deb", "--extract", package, cls.folder])
        cls.environment = environment_of(cls.prefix)
        cls.libraries = {path.name.removesuffix(".1"): path
                         for path in cls.prefix.rglob("libnethttp*.so.1")}

    def field(self, package, name):
        return must(["dpkg-deb", "--field", self.packages[package], name]).stdout.strip()

    def contents(self, package):
        folder = self.folder / ("only-" + package)
        must(["dpkg-deb", "--extract", self.packages[package], folder])
        return {str(path.relative_to(folder / "usr")) for path in folder.rglob("*")
                if not path.is_dir()}

    def test_packages_hold_their_components(self):
        self.assertEqual(set(self.packages), {"libnethttp1", "libnethttp-dev", "nethttp"})
        kinds = {"libnethttp1": r"lib/.+/libnethttp(-platform)?\.so\.1(\..+)?",
                 "libnethttp-dev": r"include/.+|lib/.+/(cmake|pkgconfig)/.+|lib/.+\.so",
                 "nethttp": r"bin/nethttp|share/.+"}
        for package, kind in kinds.items():
            with self.subTest(package):
                found = self.contents(package)
                self.assertIn(f"share/doc/{package}/copyright", found)
                strangers = {path for path in found if not re.fullmatch(kind, path)}
                self.assertLessEqual(strangers, {f"share/doc/{package}/copyright"})
                self.assertGreaterEqual(len(found - strangers), 1)
        self.assertLessEqual({"bin/nethttp", "share/man/man1/nethttp.1",
                              "share/bash-completion/completions/nethttp",
                              "share/zsh/vendor-completions/_nethttp",
                              "share/doc/nethttp/third_party.txt"}, self.contents("nethttp"))

    def test_everybody_may_read(self):
        for package in self.packages.values():
            for line in must(["dpkg-deb", "--contents", package]).stdout.splitlines():
                self.assertRegex(line, "^([-d]rwxr-xr-x|-rw-r--r--|lrwxrwxrwx) ")

    def test_dependencies(self):
        release = self.field("libnethttp1", "Version")
        own = f"libnethttp1 (= {release})"
        self.assertEqual(self.field("libnethttp-dev", "Depends"), own)
        self.assertIn(own, self.field("nethttp", "Depends"))
        for package, names in (("libnethttp1", ("libc6", "libssl3", "libstdc++6")),
                               ("nethttp", ("libc6", "libssl3", "libstdc++6", "libgcc-s1"))):
            for name in names:
                with self.subTest(package=package, name=name):
                    self.assertRegex(self.field(package, "Depends"),
                                     rf"(^|, ){re.escape(name)} \(>= ")

    def test_applications(self):
        by_cmake = consumers.by_cmake(self.folder / "by_cmake", self.compiler,
                                      f"CMAKE_PREFIX_PATH={self.prefix}")
        by_pkg_config = consumers.by_pkg_config(self.folder / "by_pkg_config", self.compiler,
                                                self.environment)
        self.assertEqual((by_cmake, by_pkg_config), (consumers.EXPECTED,) * 2)

    def test_program(self):
        said = must([self.prefix / "bin/nethttp", "--version"], env=self.environment).stdout
        self.assertIn("nethttp", said)

    def test_no_path_of_the_build_is_searched(self):
        for binary in (self.prefix / "bin/nethttp", *self.libraries.values()):
            self.assertNotRegex(must(["readelf", "-d", binary]).stdout, "R(UN)?PATH")

    def test_bundle_is_linked_and_the_link_removed(self):
        control, root = self.folder / "control", self.folder / "root"
        must(["dpkg-deb", "--control", self.packages["libnethttp1"], control])
        self.assertIn("activate-noawait ldconfig", (control / "triggers").read_text())
        environment = {**os.environ, "DPKG_ROOT": str(root)}
        bundle = root / BUNDLE
        must([control / "postinst", "configure"], env=environment)
        must([control / "postinst", "configure"], env=environment)  # an upgrade
        self.assertEqual(os.readlink(bundle), "/etc/ssl/certs/ca-certificates.crt")
        must([control / "postrm", "remove"], env=environment)
        self.assertTrue(bundle.is_symlink())
        must([control / "postrm", "purge"], env=environment)
        self.assertFalse((root / "system").exists())
        bundle.parent.mkdir(parents=True)
        bundle.write_text("mine")
        must([control / "postinst", "configure"], env=environment)
        must([control / "postrm", "purge"], env=environment)
        self.assertEqual(bundle.read_text(), "mine")

    def test_figures_of_the_readme(self):
        if platform.machine() != "x86_64" or "clang" in self.compiler:
            self.skipTest("the README's figures are of GCC on x86-64")
        sizes = {name: path.stat().st_size for name, path in self.libraries.items()}
        needed = set().union(*map(consumers.needed, self.libraries.values()))
        others = {name for name in needed if not name.startswith("libnethttp")}
        print(sizes, sorted(others))
        self.assertEqual(list(figure_faults((ROOT / "README.md").read_text(), sizes, len(others))),
                         [])


if __name__ == "__main__":
    if len(sys.argv) not in (4, 5):
        sys.exit(__doc__)
    tools = ("dpkg-deb", "dpkg-shlibdeps", "cpack", "file")
    skip_if(sys.argv[4:] or ["there is no " + tool for tool in tools if not shutil.which(tool)])
    DebianTest.definition, DebianTest.compiler = sys.argv[3], sys.argv[2]
    DebianTest.work = pathlib.Path(sys.argv[1])
    unittest.main(argv=sys.argv[:1], verbosity=2)
