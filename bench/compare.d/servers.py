"""The servers of the comparison, all on loopback, and the certificates of those with TLS."""

import contextlib
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests/system"))
from support import Nginx, end_with_parent, must, run  # noqa: E402 (the path stands above)

BUNDLE = pathlib.Path("/etc/ssl/certs/ca-certificates.crt")
LIMIT = 300  # seconds
TLS = "ssl_certificate {0}.pem; ssl_certificate_key {0}.key;"


@contextlib.contextmanager
def memory_server(program):
    """Answers the URL of a new server. Each run has one of its own: its port has no past, which
    would slow down the search for a free one."""
    process = subprocess.Popen([program], stdout=subprocess.PIPE, stdin=subprocess.DEVNULL,
                               text=True, preexec_fn=end_with_parent)
    try:
        yield f"http://127.0.0.1:{int(process.stdout.readline())}"
    finally:
        process.kill()
        process.wait()
        process.stdout.close()


def openssl(folder, *words):
    must(["openssl", *words], cwd=folder)


def make_authority(folder, name):
    openssl(folder, "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", f"{name}.key",
            "-out", f"{name}.pem", "-subj", f"/CN={name}", "-days", "2")


def make_certificate(folder, name, host, authority):
    openssl(folder, "req", "-newkey", "rsa:2048", "-nodes", "-keyout", f"{name}.key", "-out",
            f"{name}.csr", "-subj", f"/CN={host}")
    (folder / "names").write_text(f"subjectAltName=DNS:{host}")
    openssl(folder, "x509", "-req", "-in", f"{name}.csr", "-CA", f"{authority}.pem", "-CAkey",
            f"{authority}.key", "-CAcreateserial", "-days", "2", "-extfile", "names", "-out",
            f"{name}.pem")


class World:
    """Everything that stands still while the clients run."""

    def __init__(self, programs):
        self.programs = pathlib.Path(programs)
        self.stack = contextlib.ExitStack()

    def __enter__(self):
        self.folder = pathlib.Path(
            self.stack.enter_context(tempfile.TemporaryDirectory(prefix="nethttp-compare-")))
        self.make_certificates()
        enter = self.stack.enter_context
        self.plain = enter(Nginx())
        self.tls = {name: enter(Nginx(TLS.format(self.folder / name), "ssl"))
                    for name in ("good", "wrong_host", "unknown_issuer")}
        return self

    def __exit__(self, *_):
        self.stack.close()

    def make_certificates(self):
        make_authority(self.folder, "authority")
        make_authority(self.folder, "stranger")
        make_certificate(self.folder, "good", "localhost", "authority")
        make_certificate(self.folder, "wrong_host", "another.example", "authority")
        make_certificate(self.folder, "unknown_issuer", "localhost", "stranger")
        self.bundle = self.folder / "environment/system/base/certs.pem"
        self.bundle.parent.mkdir(parents=True)
        shutil.copy(BUNDLE, self.bundle)
        with open(self.bundle, "ab") as bundle:
            bundle.write((self.folder / "authority.pem").read_bytes())

    def environment(self):
        """What the clients see: the bundle under every name, and nobody's proxy."""
        kept = {key: value for key, value in os.environ.items()
                if not key.lower().endswith("_proxy")}
        return {**kept, "COMPARE_BUNDLE": str(self.bundle), "SSL_CERT_FILE": str(self.bundle),
                "COMPARE_AUTHORITY": str(self.folder / "authority.pem"),
                "VORNIK_ROOT": str(self.folder / "environment")}

    def provide(self, size):
        """Sees to a file of a size on every nginx, in the cache of the system."""
        file = self.plain.www / str(size)
        if file.exists():
            return
        with open(file, "wb") as content:
            content.truncate(size)
        with open(file, "rb") as content:
            while content.read(1 << 20):
                pass
        for server in self.tls.values():
            (server.www / str(size)).symlink_to(file)

    @contextlib.contextmanager
    def url(self, job, path, tls="good"):
        """Answers the URL of a path on the server of a job."""
        if job.server == "memory":
            with memory_server(self.programs / "compare_server") as base:
                yield base + path
        elif job.server == "nginx":
            yield self.plain.url + path
        else:
            yield f"https://localhost:{self.tls[tls].port}{path}"


def run_program(command, environment):
    """Runs a client to its end, of which a limit sees to it that there is one."""
    try:
        return run(command, env=environment, timeout=LIMIT)
    except subprocess.TimeoutExpired:
        sys.exit(f"{' '.join(map(str, command))}: no end after {LIMIT} s")
