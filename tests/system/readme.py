#!/usr/bin/env python3
"""Does what the README says: builds its program against the installed tree with the command that
stands there, and runs it. What it does against servers, the test `examples` shows.

    readme.py ROOT BUILD SANITIZERS
"""

import pathlib
import re
import sys
import tempfile

from support import install, must, run


def block(text, language):
    """Answers the first fenced block of a language."""
    match = re.search(rf"^```{language}\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)
    if match is None:
        sys.exit(f"the README has no {language} block")
    return match.group(1)


def compile_command(text):
    match = re.search(r"^g\+\+ .*$", text, re.MULTILINE)
    if match is None:
        sys.exit("the README does not say how to compile its program")
    return match.group(0)


def main():
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    root, build = pathlib.Path(sys.argv[1]), sys.argv[2]
    readme = (root / "README.md").read_text()
    program = block(readme, "cpp")
    if program != (root / "examples/get.cpp").read_text():
        sys.exit("the README's program is not examples/get.cpp")
    command = compile_command(readme)
    command += "".join(" -fsanitize=" + sanitizers for sanitizers in sys.argv[3:] if sanitizers)
    with tempfile.TemporaryDirectory(prefix="nethttp-readme-") as name:
        folder = pathlib.Path(name)
        environment = install(build, folder / "prefix")
        (folder / "get.cpp").write_text(program)
        must(["bash", "-c", command], cwd=folder, env=environment)
        without_url = run([folder / "get"], env=environment)
    if without_url.returncode != 2:
        sys.exit(f"the program without a URL ended with {without_url.returncode}")
    print("the README's program builds and runs as printed")


if __name__ == "__main__":
    main()
