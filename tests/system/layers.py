#!/usr/bin/env python3
"""Reads the #include lines of the libraries and the command line and fails on an edge that the
layers do not allow.

    layers.py ROOT     first checks itself on planted violations, then the tree under ROOT
"""

import pathlib
import re
import sys
import tempfile

HTTP = "library/net/http"
RUNTIME, STREAMS = "platform/runtime", "platform/streams"
PLATFORM = ["platform/" + name for name in ("runtime", "memory", "streams", "network", "log")]

# Folder -> the folders (or files) whose headers it may include besides its own.
ALLOWED = {
    RUNTIME: [],
    "platform/memory": [RUNTIME],
    STREAMS: [RUNTIME, "platform/memory"],
    "platform/network": [RUNTIME, STREAMS],
    "platform/log": [RUNTIME],
    "platform/posix": PLATFORM,
    HTTP: [RUNTIME, STREAMS],
    HTTP + "/text": [HTTP + "/http.hpp", RUNTIME],
    HTTP + "/transport": [HTTP + "/http.hpp", *PLATFORM],
    HTTP + "/tls": [HTTP + "/http.hpp", HTTP + "/transport", *PLATFORM],
    HTTP + "/engine": [HTTP + "/http.hpp", HTTP + "/text", HTTP + "/transport", HTTP + "/tls",
                       *PLATFORM],
    HTTP + "/client": [HTTP + "/http.hpp", HTTP + "/text", HTTP + "/transport", HTTP + "/tls",
                       HTTP + "/engine", *PLATFORM],
}

INCLUDE = re.compile(r"^\s*#\s*include\s*([<\"])([^>\"]+)[>\"]", re.MULTILINE)
CXX_LIBRARY = re.compile(r"[a-z_0-9]+")  # <vector>; a name with ".h" or "/" is not of C++


class Tree:
    def __init__(self, root):
        self.root = pathlib.Path(root)
        listed = (self.root / "cmake/public_headers.txt").read_text().split()
        self.public = {"library/" + name if name.startswith("net/") else name for name in listed}

    def files(self):
        for top in ("library", "platform", "apps"):
            for path in sorted((self.root / top).rglob("*")):
                if path.suffix in (".hpp", ".cpp", ".h", ".cc"):
                    yield path.relative_to(self.root).as_posix()

    def resolve(self, includer, name):
        """Answers the file of this tree that an include names, or None."""
        folder = pathlib.PurePosixPath(includer).parent
        for base in (folder, pathlib.PurePosixPath("."), pathlib.PurePosixPath("library")):
            if (self.root / base / name).is_file():
                return (self.root / base / name).resolve().relative_to(
                    self.root.resolve()).as_posix()
        return None

    def includes(self, path):
        text = (self.root / path).read_text(encoding="utf-8", errors="replace")
        for match in INCLUDE.finditer(text):
            line = text.count("\n", 0, match.start(1)) + 1
            yield line, match.group(2), self.resolve(path, match.group(2))


# The demonstration has a TLS server of its own, at the other end of the library.
TLS_SERVER = "apps/nethttp/demo_tls.cpp"


def folder_of(path):
    return path.rsplit("/", 1)[0]


def may_see_openssl(path):
    return folder_of(path) == HTTP + "/tls" or path == TLS_SERVER


def foreign_fault(path, name):
    """Judges an include of something outside this tree."""
    if name.startswith("openssl/"):
        return None if may_see_openssl(path) else "OpenSSL outside " + HTTP + "/tls"
    if path.startswith("apps/") or CXX_LIBRARY.fullmatch(name):
        return None
    if folder_of(path) == "platform/posix":
        return None
    return "not of the C++ library"


def own_fault(tree, path, target):
    """Judges an include of a file of this tree."""
    folder = folder_of(path)
    if folder_of(target) == folder:
        return None
    if path.startswith("apps/"):
        same_app = target.split("/")[:2] == path.split("/")[:2]
        return None if same_app or target in tree.public else "no installed header"
    if folder not in ALLOWED:
        return "the folder has no layer"
    for permitted in ALLOWED[folder]:
        if permitted in (target, folder_of(target)):
            return None
    return "not among the layers below " + folder


def reaches_openssl(tree, path, seen):
    for _, name, target in tree.includes(path):
        if name.startswith("openssl/"):
            return True
        if target and target not in seen:
            seen.add(target)
            if reaches_openssl(tree, target, seen):
                return True
    return False


def faults(root):
    tree = Tree(root)
    found = []
    for path in tree.files():
        for line, name, target in tree.includes(path):
            fault = own_fault(tree, path, target) if target else foreign_fault(path, name)
            if fault:
                found.append(f"{path}:{line}: {name}: {fault}")
        # A header may carry OpenSSL's names to those who include it without naming them itself.
        if not may_see_openssl(path) and reaches_openssl(tree, path, {path}):
            found.append(f"{path}: reaches an OpenSSL header")
    return found


GOOD = {
    "cmake/public_headers.txt": "net/http/http.hpp\nplatform/runtime/object.hpp\n",
    RUNTIME + "/object.hpp": "#include <atomic>\n",
    RUNTIME + "/hidden.hpp": "",
    "platform/memory/memory.hpp": '#include "platform/runtime/object.hpp"\n',
    STREAMS + "/streams.hpp": '#include "platform/memory/memory.hpp"\n',
    "platform/posix/socket.cpp": '#include <sys/socket.h>\n#include "platform/streams/streams.hpp"\n',
    HTTP + "/http.hpp": '#include "platform/streams/streams.hpp"\n',
    HTTP + "/text/url.hpp": '#include "net/http/http.hpp"\n',
    HTTP + "/transport/log.hpp": '#include "platform/memory/memory.hpp"\n',
    HTTP + "/tls/handles.hpp": "#include <openssl/ssl.h>\n",
    HTTP + "/tls/stream.cpp": '#include "net/http/tls/handles.hpp"\n',
    HTTP + "/engine/exchange.cpp": '#include "net/http/text/url.hpp"\n#include <vector>\n',
    "apps/tool/main.cpp": '#include <net/http/http.hpp>\n#include <unistd.h>\n#include "help.hpp"\n',
    "apps/tool/help.hpp": "#include <CLI/CLI.hpp>\n",
}

VIOLATIONS = [  # file, the line added to it
    (RUNTIME + "/object.hpp", '#include "platform/memory/memory.hpp"'),
    (RUNTIME + "/object.hpp", "#include <unistd.h>"),
    (STREAMS + "/streams.hpp", "#  include <sys/stat.h>"),
    (STREAMS + "/streams.hpp", '#include "../posix/socket.cpp"'),
    (HTTP + "/transport/log.hpp", "#include <openssl/bio.h>"),
    (HTTP + "/engine/exchange.cpp", '#include "net/http/tls/handles.hpp"'),  # carries OpenSSL
    ("apps/tool/main.cpp", '#include "net/http/text/url.hpp"'),
    ("apps/tool/main.cpp", '#include "platform/runtime/hidden.hpp"'),
]


def self_check():
    """A clean tree has no fault, and every planted violation is one."""
    problems = []
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        for name, text in GOOD.items():
            (root / name).parent.mkdir(parents=True, exist_ok=True)
            (root / name).write_text(text)
        problems += [f"clean tree: {fault}" for fault in faults(root)]
        for name, line in VIOLATIONS:
            (root / name).write_text(GOOD[name] + line + "\n")
            if not any(fault.startswith(name) for fault in faults(root)):
                problems.append(f"not found: {name}: {line}")
            (root / name).write_text(GOOD[name])
    return problems


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    problems = self_check()
    if problems:
        sys.exit("the check itself is broken:\n" + "\n".join(problems))
    found = faults(sys.argv[1])
    number = len(list(Tree(sys.argv[1]).files()))
    if number == 0:
        sys.exit("no source files under " + sys.argv[1])
    if found:
        sys.exit("\n".join(found))
    print(f"{number} files keep to the layers; {len(VIOLATIONS)} planted violations were found")


if __name__ == "__main__":
    main()
