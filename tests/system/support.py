"""What the system tests share: a real web server, programs with a limit, an installed tree."""

import contextlib
import ctypes
import os
import pathlib
import pwd
import shutil
import signal
import socket
import subprocess
import sys
import tempfile

CONFIG = """
user {user};
daemon off;
worker_processes 1;
pid {folder}/nginx.pid;
error_log {folder}/error.log;
events {{ worker_connections {connections}; }}
http {{
    access_log off;
    default_type application/octet-stream;
    client_body_temp_path {folder}/body;
    proxy_temp_path {folder}/proxy;
    fastcgi_temp_path {folder}/fastcgi;
    uwsgi_temp_path {folder}/uwsgi;
    scgi_temp_path {folder}/scgi;
    client_max_body_size 0;
    sendfile on;
    server {{
        {listens}
        root {folder}/www;
        {locations}
    }}
}}
"""


def end_with_parent():
    """Lets this process be terminated when the one that started it ends, however it ends."""
    pr_set_pdeathsig = 1
    ctypes.CDLL(None).prctl(pr_set_pdeathsig, signal.SIGTERM)


class Nginx:
    """A server on a free port of 127.0.0.1 with a folder of its own; it ends with the block.

    Given listening sockets, pairs of one and its option, it serves these instead."""

    def __init__(self, locations="", listen_option="", sockets=(), connections=64):
        self.locations = locations
        self.listen_option = listen_option
        self.sockets = sockets
        self.connections = connections

    def __enter__(self):
        program = shutil.which("nginx", path=os.environ.get("PATH", "") + ":/usr/sbin")
        if program is None:
            sys.exit("nginx is missing; scripts/bootstrap test installs it")
        self.temporary = tempfile.TemporaryDirectory(prefix="nethttp-nginx-")
        self.folder = pathlib.Path(self.temporary.name)
        self.www = self.folder / "www"
        self.www.mkdir()
        # A socket listens before the server runs, which takes it over by its descriptor: no port
        # can be taken meanwhile, and the first connection waits for no server.
        sockets = self.sockets or [(socket.create_server(("127.0.0.1", 0)), self.listen_option)]
        with contextlib.ExitStack() as stack:
            numbers = [stack.enter_context(listener).fileno() for listener, _ in sockets]
            ends = [listener.getsockname() for listener, _ in sockets]
            address, self.port = ends[0]
            self.url = f"http://{address}:{self.port}"
            listens = [f"listen {address}:{port} {option};"
                       for (address, port), (_, option) in zip(ends, sockets)]
            config = self.folder / "nginx.conf"
            config.write_text(CONFIG.format(folder=self.folder, listens="\n        ".join(listens),
                                            user=pwd.getpwuid(os.geteuid()).pw_name,
                                            connections=self.connections,
                                            locations=self.locations))
            self.process = subprocess.Popen(
                [program, "-p", str(self.folder), "-c", str(config), "-e", str(self.folder / "error.log")],
                stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL, pass_fds=numbers,
                preexec_fn=end_with_parent,
                env={**os.environ, "NGINX": "".join(f"{number};" for number in numbers)})
        return self

    def __exit__(self, *_):
        self.process.terminate()
        try:
            self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        self.temporary.cleanup()

    def log(self):
        path = self.folder / "error.log"
        return path.read_text(errors="replace") if path.exists() else "(no log)"


def run(command, **options):
    """Runs a program to its end and answers its result; output is text unless told otherwise."""
    options = {"text": True, "timeout": 240, "stdin": subprocess.DEVNULL, **options}
    return subprocess.run([str(word) for word in command], capture_output=True, check=False,
                          **options)


def must(command, **options):
    """As `run`, but a failure ends the test."""
    result = run(command, **options)
    if result.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}: status {result.returncode}\n"
                 f"{result.stdout}{result.stderr}")
    return result


def skip_if(reasons):
    """Ends a test that has no meaning here, in the way that CMake shows as skipped."""
    if reasons:
        print("skipped:", *reasons)
        sys.exit(77)


def install(build, prefix):
    """Installs a build tree, and answers the environment in which the installed files are found."""
    must(["cmake", "--install", build, "--prefix", prefix])
    return environment_of(prefix)


def environment_of(prefix):
    libraries = {path.parent for path in pathlib.Path(prefix).rglob("libnethttp*.*")}
    if len(libraries) != 1:
        sys.exit(f"the libraries lie in {libraries}")
    folder = libraries.pop()
    return {**os.environ, "PKG_CONFIG_PATH": str(folder / "pkgconfig"),
            "LD_LIBRARY_PATH": str(folder)}
