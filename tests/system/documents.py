#!/usr/bin/env python3
"""Holds the documents against the tree: their links lead somewhere, the files they name are there,
docs/errors.md tells of every record that the library writes, and of no other, and every property in
SECURITY.md, as every row of docs/hostile.md, names a test that exists. docs/licences.md has each package
that scripts/bootstrap may install; the code that the faults of tests/mutations.txt change is there.

    documents.py ROOT
"""

import pathlib
import re
import runpy
import sys

LINK = re.compile(r"\]\((?!https?:)([^)#\s]+)(?:#[^)]*)?\)")
PATH = re.compile(r"`((?:library|platform|apps|tests|scripts|docs|cmake|bench|examples|fuzz)/[\w./-]+)`")
# A text for a person begins with a capital letter and has more than one word.
LITERAL = re.compile(r'"([A-Z][^"\\\n]* [^"\\\n]*)"')
DOCUMENTED = re.compile(r"`([A-Z][^`]* [^`]*)`")

# A property, and a test of it: `Suite.Name`, or `Suite.Name/Row` for a row of its table.
PROPERTY = re.compile(r"^\d+\. .*?(?=^\d+\. |^$)", re.MULTILINE | re.DOTALL)
# A row of a table below its head.
ROW = re.compile(r"^\|(?! what |-).*\|$", re.MULTILINE)
TEST_NAME = re.compile(r"`([A-Z]\w*)\.([A-Z]\w*|test_\w+)(?:/(\w+))?`")
# A test of tests/system: its name as ctest has it.
SYSTEM_TEST = re.compile(r"`([a-z]\w*)`")

# A group of packages in scripts/bootstrap.
GROUP = re.compile(r'^    \[\w+\]="([^"]+)"$', re.MULTILINE)


def documents(root):
    return sorted([*root.glob("*.md"), *root.glob("docs/*.md")])


def missing_files(root):
    for document in documents(root):
        text = document.read_text()
        for target in LINK.findall(text):
            if not (document.parent / target).exists():
                yield f"{document.name}: nothing at {target}"
        for path in PATH.findall(text):
            if not (root / path).exists():
                yield f"{document.name}: there is no {path}"


def record_faults(page, sources):
    """Compares the texts of the page with the literals of the sources, both ways."""
    for text in LITERAL.findall(sources):
        if text.strip() not in page:
            yield f"docs/errors.md does not know the record: {text}"
    for text in DOCUMENTED.findall(page):
        if '"' + text.split("…")[0].removesuffix(": ") not in sources:
            yield f"docs/errors.md tells of a record that nobody writes: {text}"


def defines(source, suite, name, row):
    """Tells whether a source holds a test, and the row if one is asked for. A row that stands in two of
    the source's tables could be that of another test."""
    if name.startswith("test_"):
        return f"class {suite}(" in source and f"    def {name}(self):" in source
    return (re.search(rf"^TEST(_[FP])?\({suite}, {name}\)", source, re.MULTILINE) is not None
            and (row is None or source.count(f'{{"{row}",') == 1))


def held_faults(name, held_by, sources):
    """Checks that there is a text that names tests, and that these are there."""
    tests = TEST_NAME.findall(held_by)
    system_tests = SYSTEM_TEST.findall(held_by)
    if not tests and not system_tests:
        yield f"{name} names no test"
    for test in system_tests:
        if not any(f"system_test({test} " in source for source in sources):
            yield f"{name}: there is no test {test}"
    for suite, test, row in tests:
        if not any(defines(source, suite, test, row or None) for source in sources):
            yield f"{name}: there is no test {suite}.{test}" + (f", or not one row {row}" if row else "")


def property_faults(page, sources):
    """Checks the tests of each property of SECURITY.md."""
    properties = PROPERTY.findall(page)
    if not properties:
        yield "SECURITY.md has no properties"
    for text in properties:
        held_by = text.partition("Held by")[2]
        yield from held_faults("SECURITY.md: " + text.splitlines()[0], held_by, sources)


def row_faults(page, sources):
    """Checks the tests in the last column of each table of docs/hostile.md."""
    rows = ROW.findall(page)
    if not rows:
        yield "docs/hostile.md has no rows"
    for row in rows:
        cells = row.split("|")
        yield from held_faults("docs/hostile.md:" + cells[1], cells[-2], sources)


def package_faults(page, bootstrap):
    """Checks that docs/licences.md has each package that scripts/bootstrap may install."""
    groups = GROUP.findall(bootstrap)
    if not groups:
        yield "scripts/bootstrap has no groups"
    for package in sorted({name for group in groups for name in group.split()}):
        if f"`{package}`" not in page:
            yield f"docs/licences.md does not tell of the package {package}"


def mutation_faults(root, listed):
    """Checks that each fault for scripts/mutate can still be put into the code."""
    mutations = runpy.run_path(str(root / "scripts/mutate"))["read_mutations"](listed)
    if not mutations:
        yield "tests/mutations.txt has no faults"
    for mutation in mutations:
        path = root / mutation.file
        fault = mutation.misfit(path.read_text() if path.is_file() else "")
        if fault:
            yield f"tests/mutations.txt: {fault}"


def self_check(root):
    """Each check is content with what is right, and with nothing that is wrong."""
    sources = 'record << "Failed to a "; trace("Done");'
    tests = ['TEST_P(A, B) {\n{"Row", 1}', "class A(B):\n    def test_c(self):\n",
             'TEST_P(T, B) {\n{"Row", 1}\n}\nTEST_P(T, C) {\n{"Row", 2}', "system_test(d e)"]
    head = "| what | test |\n|---|---|\n"
    groups = '    [build]="g++ cmake"\n    [lint]="cmake doxygen"\n'
    fault = "README.md: a fault\n"
    for check, good, wrong in (
            (lambda page: record_faults(page, sources), "| `Failed to a …` |",
             ("| nothing |", "| `Failed to a …` | `Failed to b` |")),
            (lambda page: property_faults(page, tests), "1. a\n   Held by `A.B`, `A.B/Row`.\n\nend",
             ("none", "1. a\n", "1. a `A.B`\n", "1. Held by `A.C`.\n", "1. Held by `A.B/Line`.\n",
              "1. Held by `T.B/Row`.\n")),
            (lambda page: row_faults(page, tests), head + "| a | `A.B`, `A.B/Row`, `A.test_c` |\n| a | `d` |",
             ("none", head, head + "| a | b |", head + "| `A.B` | |", head + "| a | `A.C` |",
              head + "| a | `A.test_d` |")),
            (lambda page: package_faults(page, groups), "`doxygen` `g++`, `cmake`",
             ("`g++` `cmake`", "`g++-12`, cmake, `doxygen`")),
            (lambda listed: mutation_faults(root, listed),
             fault + "-# nethttp\n\nREADME.md: another\n-  # nethttp\n+#",
             ("# none", fault + "+a", fault + "-e", fault + "-no such line", "no.md: a\n-a"))):
        if list(check(good)) or not all(list(check(page)) for page in wrong):
            sys.exit("the check itself is broken: " + good)


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    root = pathlib.Path(sys.argv[1])
    self_check(root)
    # Folder "text" holds the texts of the protocol; the other layers' texts go to the log.
    sources = "".join(path.read_text() for path in (root / "library").rglob("*.cpp")
                      if path.parent.name != "text")
    system = root / "tests/system"
    tests = [path.read_text() for path in sorted([*(root / "tests").rglob("*.cpp"), *system.glob("*.py"),
                                                  system / "CMakeLists.txt"])]
    faults = [*missing_files(root), *record_faults((root / "docs/errors.md").read_text(), sources),
              *property_faults((root / "SECURITY.md").read_text(), tests),
              *row_faults((root / "docs/hostile.md").read_text(), tests),
              *package_faults((root / "docs/licences.md").read_text(),
                              (root / "scripts/bootstrap").read_text()),
              *mutation_faults(root, (root / "tests/mutations.txt").read_text())]
    if faults:
        sys.exit("\n".join(faults))
    print(f"{len(documents(root))} documents agree with the tree")


if __name__ == "__main__":
    main()
