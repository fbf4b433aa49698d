#!/usr/bin/env python3
"""Runs every program of examples/ against servers on this machine and looks at what it prints.

    examples.py FOLDER     where the built examples lie
"""

import http.server
import os
import pathlib
import shutil
import signal
import ssl
import subprocess
import sys
import tempfile
import threading
import unittest

from support import must, run

LARGE = bytes(range(256)) * (48 << 10)  # 12 MiB


class Handler(http.server.BaseHTTPRequestHandler):
    """Keeps what is sent to it, and serves what the examples ask for."""

    uploads = {}
    half_sent = threading.Event()
    go_on = threading.Event()

    def answer(self, body, status=200, content_type="text/plain", length=True):
        self.send_response(status)
        self.send_header("Content-Type", content_type)
        if length:
            self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def do_GET(self):
        if self.path == "/slow":
            self.send_response(200)
            self.send_header("Content-Length", str(2 * len(LARGE)))
            self.end_headers()
            self.wfile.write(LARGE)
            self.half_sent.set()
            self.go_on.wait(60)
            self.connection_may_break(LARGE)
        elif self.path == "/large":
            self.answer(LARGE)
        elif self.path == "/unbounded":
            self.answer(b"perhaps all", length=False)
        elif self.path == "/lines":
            self.answer(b"one\ntwo\nthree\n")
        else:
            self.answer(b"no such page\n", 404)

    def do_PUT(self):
        self.uploads[self.path] = self.rfile.read(int(self.headers["Content-Length"]))
        self.answer(b"", 201)

    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"]))
        self.answer(b'{"got": ' + body + b"}", content_type="application/json")

    def connection_may_break(self, body):
        try:
            self.wfile.write(body)
        except OSError:
            pass

    def log_message(self, *_):
        pass


def serve(context=None):
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    if context is not None:
        server.socket = context.wrap_socket(server.socket, server_side=True)
        server.handle_error = lambda *_: None  # a client that refuses the certificate
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return server


def server_context(folder, name):
    """A certificate that its own key signed, which no bundle knows."""
    must(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", "key.pem", "-out",
          "certificate.pem", "-subj", "/CN=" + name, "-addext", "subjectAltName=DNS:" + name,
          "-days", "2"], cwd=folder)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(folder / "certificate.pem", folder / "key.pem")
    return context


class ExamplesTest(unittest.TestCase):
    programs = pathlib.Path()

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.server = serve()
        cls.addClassCleanup(cls.server.server_close)
        cls.addClassCleanup(cls.server.shutdown)
        cls.url = f"http://127.0.0.1:{cls.server.server_address[1]}"

    def example(self, name, *arguments, **options):
        return run([self.programs / name, *arguments], **options)

    def expect(self, result, status, output, errors=""):
        self.assertEqual((result.returncode, result.stdout, result.stderr),
                         (status, output, errors))

    def test_get(self):
        self.expect(self.example("get", self.url + "/lines"), 0, "200\none\ntwo\nthree\n")
        self.expect(self.example("get", self.url + "/none"), 0, "404\nno such page\n")

    def test_download(self):
        file = self.folder / "large"
        result = self.example("download", self.url + "/large", file)
        self.assertEqual((result.returncode, result.stdout), (0, f"{file}: {len(LARGE)} bytes\n"))
        self.assertEqual(file.read_bytes(), LARGE)
        self.assertIn("\n[####################", result.stderr)  # a "\r" that run() translates
        self.assertTrue(result.stderr.endswith("] 100%\n"), result.stderr)
        # A page that is not there, or may not be whole, leaves the file that is there.
        for path in ("/none", "/unbounded"):
            result = self.example("download", self.url + path, file)
            self.assertEqual((result.returncode, result.stdout), (1, ""))
            self.assertEqual(file.read_bytes(), LARGE)
        self.assertEqual(self.folder.joinpath("large.part").read_bytes(), b"perhaps all")

    def test_download_is_cancelled(self):
        Handler.half_sent.clear()
        Handler.go_on.clear()
        file = self.folder / "cancelled"
        with subprocess.Popen([self.programs / "download", self.url + "/slow", file], text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
            self.assertTrue(Handler.half_sent.wait(60))
            process.send_signal(signal.SIGINT)
            Handler.go_on.set()
            output, errors = process.communicate(timeout=60)
        self.assertEqual((process.returncode, output), (130, ""))
        self.assertTrue(errors.endswith("\nThe transfer was cancelled\n"), errors)
        self.assertEqual([path.name for path in self.folder.glob("cancelled*")], [])

    def test_upload(self):
        file = self.folder / "upload"
        file.write_bytes(LARGE)
        self.expect(self.example("upload", file, self.url + "/up"), 0, "201 Created\n")
        self.assertEqual(Handler.uploads["/up"], LARGE)
        self.expect(self.example("upload", "/nowhere/file", self.url), 1, "",
                    "/nowhere/file: No such file or directory\n")

    def test_post_json(self):
        result = self.example("post_json", self.url + "/", "[1]")
        self.assertEqual(result.returncode, 0, result.stderr)
        lines = result.stdout.splitlines()
        self.assertEqual((lines[0], lines[-1]), ("200", '{"got": [1]}'))
        self.assertIn("Content-Type: application/json", lines)

    def test_output_stream(self):
        self.expect(self.example("output_stream", self.url + "/lines", "14"), 0,
                    "3 lines, 14 bytes\n")
        refused = self.example("output_stream", self.url + "/lines", "13")
        self.assertEqual((refused.returncode, refused.stdout), (1, ""))
        self.assertIn("Failed to write data to output stream; error: 10002h", refused.stderr)

    def test_pool(self):
        urls = [self.url + path for path in ("/lines", "/none", "/large") * 5]
        expected = {"/lines": "200, 14 bytes", "/none": "404, 13 bytes",
                    "/large": f"200, {len(LARGE)} bytes"}
        self.expect(self.example("pool", *urls), 0, "".join(
            f"{url}: {expected[url.removeprefix(self.url)]}\n" for url in urls))

    def test_certificates(self):
        server = serve(server_context(self.folder, "localhost"))
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        bundle = self.folder / "root/system/base/certs.pem"
        bundle.parent.mkdir(parents=True)
        bundle.write_text("")
        environment = {**os.environ, "VORNIK_ROOT": str(self.folder / "root")}
        ask = ["certificates", f"https://localhost:{server.server_address[1]}/lines"]
        self.expect(self.example(*ask, env=environment), 0,
                    "strict: refused\nany date: refused\nself-signed: accepted\n"
                    "any issuer, name or use: refused\n")
        shutil.copy(self.folder / "certificate.pem", bundle)
        self.expect(self.example(*ask, env=environment), 0,
                    "strict: accepted\nany date: accepted\nself-signed: accepted\n"
                    "any issuer, name or use: accepted\n")

    def test_log_sink(self):
        self.expect(self.example("log_sink", self.url + "/lines"), 0, "200\n")
        self.expect(self.example("log_sink", "ftp://127.0.0.1/"), 1,
                    "An argument is invalid, because of\n"
                    "  HTTP Client: Unsupported protocol: ftp://127.0.0.1/\n")

    def test_every_example_is_run(self):
        source = pathlib.Path(__file__).parents[2] / "examples"
        tested = pathlib.Path(__file__).read_text()
        for program in source.glob("*.cpp"):
            self.assertIn(f'"{program.stem}"', tested)


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    ExamplesTest.programs = pathlib.Path(sys.argv.pop())
    unittest.main(verbosity=2)
