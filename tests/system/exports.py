#!/usr/bin/env python3
"""Compares the names that a shared library exports with a checked list.

    exports.py LIBRARY LIST [--write]     with --write: brings the list up to date

A line of the list is a function or object as the demangler spells it, or "type NAME": a class whose
type information and virtual table may be there. Whether the compiler needs those in a library
depends on its options, so they may be absent. Nothing else may be exported, templates of the C++
library included: they would bind to those of other libraries in the process.
"""

import pathlib
import re
import subprocess
import sys

TYPE_SYMBOL = re.compile(r"(?:vtable|VTT|typeinfo|typeinfo name) for (.*)")
WEAK = "VWu"


def exported(library):
    """Answers the strong names, and the weak ones with "type NAME" for those about a class."""
    listed = subprocess.run(["nm", "-D", "--defined-only", "-C", library], capture_output=True,
                            text=True, check=True).stdout
    strong, weak = set(), set()
    for line in listed.splitlines():
        _, kind, name = line.split(" ", 2)
        about_type = TYPE_SYMBOL.fullmatch(name)
        if about_type:
            weak.add("type " + about_type.group(1))
        elif kind in WEAK:
            weak.add(name)
        else:
            strong.add(name)
    return strong, weak


def faults(strong, weak, listed):
    types = {line for line in listed if line.startswith("type ")}
    yield from (f"not in the list: {name}" for name in sorted((strong | weak) - listed))
    yield from (f"not exported: {name}" for name in sorted(listed - types - strong))


def self_check():
    clean = ({"f()"}, {"type A"}, {"f()", "type A", "type B"})
    planted = [({"f()", "g()"}, set(), {"f()"}), ({"f()"}, {"std::x"}, {"f()"}),
               ({"f()"}, {"type A"}, {"f()"}), (set(), set(), {"f()"})]
    if list(faults(*clean)) or not all(list(faults(*case)) for case in planted):
        sys.exit("the check itself is broken")


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    self_check()
    path = pathlib.Path(sys.argv[2])
    strong, weak = exported(sys.argv[1])
    if sys.argv[3:] == ["--write"]:
        types = {line for line in path.read_text().splitlines() if line.startswith("type ")}
        path.write_text("\n".join(sorted(strong | weak | types)) + "\n")
        return
    lines = path.read_text().splitlines()
    if lines != sorted(set(lines)):
        sys.exit(f"{path} is not sorted")
    found = list(faults(strong, weak, set(lines)))
    if found:
        sys.exit("\n".join(found))
    print(f"{len(strong)} functions and objects as listed")


if __name__ == "__main__":
    main()
