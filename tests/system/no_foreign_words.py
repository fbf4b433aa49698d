#!/usr/bin/env python3
"""Fails on a path of somebody's machine in a file of this tree.

    no_foreign_words.py ROOT
"""

import pathlib
import re
import subprocess
import sys

# Spelt in two pieces, so that this file passes its own test.
MACHINE_PATH = re.compile(rb"(?<![\w.$}/-])/(?:wo" rb"rk|ro" rb"ot|ho" rb"me)/[\w.-]")


def files(root):
    """The tracked files; without a repository (a source archive), all of them."""
    listed = subprocess.run(["git", "-C", root, "ls-files", "-z"], capture_output=True, check=False)
    if listed.returncode == 0:
        return [pathlib.Path(root, name.decode()) for name in listed.stdout.split(b"\0") if name]
    return [path for path in pathlib.Path(root).rglob("*")
            if path.is_file() and "build" not in path.relative_to(root).parts[:1]]


def faults(name, content):
    for number, line in enumerate(content.split(b"\n"), 1):
        match = MACHINE_PATH.search(line)
        if match:
            yield f"{name}:{number}: {line.strip().decode(errors='replace')}"


def self_check():
    for planted in ("/wo" "rk/main", "see '/ho" "me/someone'", "x=/ro" "ot/.config"):
        if not list(faults("planted", planted.encode())):
            sys.exit("the check itself is broken: " + planted)
    for harmless in ("https://host/wo" "rk/x", "the/ro" "ot/a"):
        if list(faults("harmless", harmless.encode())):
            sys.exit("the check itself is broken: " + harmless)


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    self_check()
    paths = [path for path in files(sys.argv[1]) if path.is_file()]
    found = [fault for path in paths for fault in faults(path, path.read_bytes())]
    if not paths:
        sys.exit("no files under " + sys.argv[1])
    if found:
        sys.exit("\n".join(found))
    print(f"{len(paths)} files name no machine's path")


if __name__ == "__main__":
    main()
