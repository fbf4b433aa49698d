#!/usr/bin/env python3
"""Does what the README says: builds its program against the installed tree with the command that
stands there, and runs it against a server.

    readme.py ROOT BUILD SANITIZERS
"""

import functools
import http.server
import pathlib
import re
import sys
import tempfile
import threading

from support import install, must, run

BODY = b"served for the README\n"


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


class QuietHandler(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


def serve(folder):
    handler = functools.partial(QuietHandler, directory=folder)
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return server


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
        (folder / "page").write_bytes(BODY)
        must(["bash", "-c", command], cwd=folder, env=environment)
        server = serve(folder)
        url = f"http://127.0.0.1:{server.server_address[1]}"
        good = must([folder / "get", url + "/page"], env=environment, text=False)
        absent = must([folder / "get", url + "/absent"], env=environment)
        without_url = run([folder / "get"], env=environment)
        server.shutdown()
    if good.stdout != b"200\n" + BODY or not absent.stdout.startswith("404\n"):
        sys.exit(f"the program printed {good.stdout!r} {absent.stdout!r}")
    if without_url.returncode != 2:
        sys.exit(f"the program without a URL ended with {without_url.returncode}")
    print("the README's program builds and runs as printed")


if __name__ == "__main__":
    main()
