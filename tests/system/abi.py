#!/usr/bin/env python3
"""Compares the binary interface of both shared libraries, and that of the headers' inline code, with
the baselines in tests/system/abi.

    abi.py BUILD CXX [WHY-NOT]
    abi.py BUILD CXX --write     brings the baselines up to date

BUILD holds the libraries with all debug information. A function that was added is no fault; whatever
else differs is one. With WHY-NOT the test is skipped.
"""

import pathlib
import re
import shutil
import sys
import tempfile
import unittest

from support import must, run, skip_if

ROOT = pathlib.Path(__file__).parents[2]
BASELINES = pathlib.Path(__file__).parent / "abi"
LIBRARIES = ("libnethttp", "libnethttp-platform")
# What says where and how a library was built is no part of its interface.
DUMP = ["abidw", "--exported-interfaces-only", "--no-show-locs", "--no-corpus-path",
        "--no-comp-dir-path", "--no-elf-needed", "--no-write-default-sizes",
        "--no-parameter-names", "--type-id-style", "hash"]
CHANGE = 4 | 8  # the bits of abidiff's status for a change and for one that surely breaks
CLASS = re.compile(r"^ *(?:class|struct) (?:VORNIK_EXPORT )?(\w+)(?: final)?(?: :[^;]*)? ?\{",
                   re.MULTILINE)
HTTP = "net/http/http.hpp"
STREAMS = "platform/streams/streams.hpp"
# Kind, header, text, text in its place: changes that break applications compiled before.
BREAKS = (
    ("operation in the middle", HTTP, "    virtual Ref<Request> setHost(",
     "    virtual void added() = 0;\n    virtual Ref<Request> setHost("),
    ("operation at the end", HTTP, "    ~Request() override = default;",
     "    ~Request() override = default;\n    virtual void added() = 0;"),
    ("operation gone", HTTP, "    virtual Ref<Request> setPort(unsigned short port) = 0;", ""),
    ("operations exchanged", HTTP, "    virtual void invoke(",
     "    virtual void before() = 0;\n    virtual void invoke("),
    ("parameter's type", HTTP, "setCancelArgument(std::uint64_t", "setCancelArgument(std::uint32_t"),
    ("result's type", HTTP, "virtual std::uint64_t statusCode()", "virtual std::uint32_t statusCode()"),
    ("enumerator's value", HTTP, "Verbose = 5", "Verbose = 9"),
    ("size of a class", STREAMS, "    Ref<RefCount> second; ",
     "    std::uint64_t added = 0;\n    Ref<RefCount> second; "),
)


def dump(library, output):
    text = must([*DUMP, library]).stdout
    output.write_text(text.replace(f" path='{ROOT}/", " path='"))
    return output


def differences(old, new):
    """Answers what abidiff tells of two dumps, nothing when it is content."""
    result = run(["abidiff", "--harmless", "--no-added-syms", old, new])
    if result.returncode & ~CHANGE:  # negative: it crashed
        sys.exit(f"abidiff {old} {new}: status {result.returncode}\n{result.stdout}{result.stderr}")
    return result.stdout if result.returncode else ""


def compile_types(include, output):
    """Builds the library of the headers' types and answers its dump."""
    library = output.with_suffix(".so")
    # The last option: a class whose table is elsewhere is described all the same.
    must([AbiTest.compiler, "-std=c++20", "-g", "-O0", "-femit-class-debug-always", "-fPIC", "-shared", "-fvisibility=hidden",
          f"-Wl,--version-script={ROOT / 'cmake/exports.map'}",
          *(f"-I{folder}" for folder in include), BASELINES / "public_types.cpp", "-o", library])
    return dump(library, output)


def dumps(folder):
    """Answers fresh dumps by the name of their baseline."""
    found = {name: next(AbiTest.build.rglob(name + ".so"), None) for name in LIBRARIES}
    if None in found.values():
        sys.exit(f"no libraries under {AbiTest.build}; the test embedded builds them")
    return {**{name: dump(library, folder / (name + ".abi")) for name, library in found.items()},
            "public_types": compile_types([ROOT, ROOT / "library"], folder / "public_types.abi")}


def public_classes():
    for header in (ROOT / "cmake/public_headers.txt").read_text().split():
        path = ROOT / ("library" if header.startswith("net/") else ".") / header
        yield from ((header, name) for name in CLASS.findall(path.read_text()))


class AbiTest(unittest.TestCase):
    build = pathlib.Path()
    compiler = ""

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.dumps = dumps(cls.folder)

    def test_interface_is_that_of_the_baselines(self):
        for name, new in self.dumps.items():
            with self.subTest(name):
                told = differences(BASELINES / (name + ".abi"), new)
                if told:
                    self.fail(f"{told}\nscripts/abi-baseline takes an intended change over; "
                              "docs/stability.md tells which version may bring it")

    def test_baselines_know_every_public_class(self):
        known = "".join((BASELINES / (name + ".abi")).read_text() for name in self.dumps)
        for header, name in public_classes():
            with self.subTest(name):
                self.assertTrue(
                    re.search(rf"<class-decl name='{name}(&lt;[^']*)?' size-in-bits", known),
                    f"mention the class of {header} in tests/system/abi/public_types.cpp")

    def test_dumps_describe_every_exported_function(self):
        for name in LIBRARIES:
            text = self.dumps[name].read_text()
            exported = re.findall(r"<elf-symbol name='([^']*)' type='func-type'", text)
            described = set(re.findall(r"elf-symbol-id='([^'@]*)'", text))
            with self.subTest(name):
                self.assertGreater(len(exported), 0)
                self.assertEqual([symbol for symbol in exported if symbol not in described], [])

    def test_a_break_is_noticed(self):
        for number, (kind, header, old, new) in enumerate(BREAKS):
            with self.subTest(kind):
                include = self.folder / str(number)
                for source in ("platform", "library/net"):
                    shutil.copytree(ROOT / source, include / pathlib.Path(source).name,
                                    ignore=shutil.ignore_patterns("*.cpp"))
                text = (include / header).read_text()
                self.assertEqual(text.count(old), 1)
                (include / header).write_text(text.replace(old, new))
                changed = compile_types([include], include / "changed.abi")
                self.assertTrue(differences(self.dumps["public_types"], changed))


def main():
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    AbiTest.build, AbiTest.compiler = pathlib.Path(sys.argv[1]), sys.argv[2]
    if sys.argv[3:] == ["--write"]:
        dumps(BASELINES)
        (BASELINES / "public_types.so").unlink()
        return
    skip_if(sys.argv[3:])
    unittest.main(argv=sys.argv[:1], verbosity=2)


if __name__ == "__main__":
    main()
