"""Applications that the tests build against the library, as it is found by CMake and pkg-config."""

import os
import pathlib
import re
import shlex

from support import must

SOURCE = pathlib.Path(__file__).parent / "consumer"
EXPECTED = "a%20b none 8446\n"  # what the application prints
# Let a compiler's cache, where there is one, know the same source in another build folder.
CACHE = {"CCACHE_NOHASHDIR": "1"}


def build(folder):
    """Builds what is configured; a machine with other work may take its time."""
    must(["cmake", "--build", folder, "--parallel", "2"], env={**os.environ, **CACHE}, timeout=800)


def configure_and_build(source, work, *definitions):
    """Builds a project and leaves the result in a folder."""
    must(["cmake", "-S", source, "-B", work, "-G", "Ninja",
          *("-D" + definition for definition in definitions)])
    build(work)


def by_cmake(work, compiler, *definitions, environment=None):
    """Answers what the application prints that finds the library by CMake."""
    configure_and_build(SOURCE, work, f"CMAKE_CXX_COMPILER={compiler}", *definitions)
    return must([work / "consumer"], env=environment).stdout


def by_pkg_config(work, compiler, environment, options=(), static=False):
    """Answers what the application prints that finds the library by pkg-config."""
    query = ["pkg-config", *(["--static"] if static else []), "--cflags", "--libs", "nethttp"]
    said = must(query, env=environment).stdout
    work.mkdir(exist_ok=True)
    program = work / "by_pkg_config"
    must([compiler, "-std=c++20", *options, SOURCE / "main.cpp", *shlex.split(said), "-o", program])
    return must([program], env=environment).stdout


def needed(binary):
    """Answers the shared libraries that a program or library names as its own needs."""
    listed = must(["readelf", "-d", binary]).stdout
    return set(re.findall(r"\(NEEDED\).*\[(.*)\]", listed))
