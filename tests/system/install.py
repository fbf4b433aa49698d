#!/usr/bin/env python3
"""Installs the build tree, moves what was installed elsewhere, and builds an application against it
by CMake and by pkg-config.

    install.py BUILD CONSUMER CXX SANITIZERS
"""

import pathlib
import shlex
import shutil
import sys
import tempfile

from support import environment_of, install, must

EXPECTED = "a%20b none 8446\n"


def by_cmake(consumer, prefix, work, compiler, options):
    must(["cmake", "-S", consumer, "-B", work, f"-DCMAKE_PREFIX_PATH={prefix}",
          f"-DCMAKE_CXX_COMPILER={compiler}", f"-DCMAKE_CXX_FLAGS={' '.join(options)}"])
    must(["cmake", "--build", work])
    return must([work / "consumer"]).stdout


def by_pkg_config(consumer, environment, work, compiler, options, static):
    query = ["pkg-config", *(["--static"] if static else []), "--cflags", "--libs", "nethttp"]
    said = must(query, env=environment).stdout
    must([compiler, "-std=c++20", *options, consumer / "main.cpp", *shlex.split(said),
          "-o", work / "by_pkg_config"])
    return must([work / "by_pkg_config"], env=environment).stdout


def main():
    if len(sys.argv) not in (4, 5):
        sys.exit(__doc__)
    build, consumer, compiler = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3]
    options = ["-fsanitize=" + sanitizers for sanitizers in sys.argv[4:] if sanitizers]
    with tempfile.TemporaryDirectory(prefix="nethttp-install-") as folder:
        first, prefix, work = (pathlib.Path(folder, name) for name in ("first", "moved", "work"))
        install(build, first)
        shutil.move(first, prefix)
        environment = environment_of(prefix)
        static = any(prefix.rglob("libnethttp.a"))
        outputs = {
            "CMake": by_cmake(consumer, prefix, work, compiler, options),
            "pkg-config": by_pkg_config(consumer, environment, work, compiler, options, static),
        }
        program = prefix / "bin/nethttp"
        if program.exists():
            must([program, "--version"])  # finds its libraries without help
        names = {path.name for path in (prefix / "include").rglob("*.hpp")}
    for way, output in outputs.items():
        if output != EXPECTED:
            sys.exit(f"by {way}: {output!r} instead of {EXPECTED!r}")
    print(f"{len(names)} headers installed; an application builds and runs by {' and '.join(outputs)}")


if __name__ == "__main__":
    main()
