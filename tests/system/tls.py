#!/usr/bin/env python3
"""The command line over TLS against a real server.

    tls.py NETHTTP [SANITIZERS]     under sanitizers the download is small
"""

import hashlib
import os
import pathlib
import pwd
import random
import shutil
import socket
import ssl
import sys
import tempfile
import threading
import unittest

from support import Nginx, must, run

SERVER = """
        ssl_certificate {0}/good.pem;
        ssl_certificate_key {0}/key.pem;
        location /stored/ {{ dav_methods PUT; create_full_put_path on; }}
"""

OLD_TLS_ALONE = """openssl_conf = a
[a]
ssl_conf = b
[b]
system_default = c
[c]
MaxProtocol = TLSv1.1
"""


def openssl(folder, *words):
    must(["openssl", *words], cwd=folder)


def make_certificates(folder, name="DNS:localhost"):
    """An authority, and certificates of it for a name: one in order, one that has expired."""
    openssl(folder, "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", "authority.key",
            "-out", "authority.pem", "-subj", "/CN=Authority", "-days", "2")
    openssl(folder, "req", "-newkey", "rsa:2048", "-nodes", "-keyout", "key.pem", "-out",
            "request.pem", "-subj", "/CN=localhost")
    (folder / "names").write_text("subjectAltName=" + name)
    for name, days in (("good", "2"), ("expired", "-1")):
        openssl(folder, "x509", "-req", "-in", "request.pem", "-CA", "authority.pem", "-CAkey",
                "authority.key", "-CAcreateserial", "-days", days, "-extfile", "names", "-out",
                name + ".pem")
    bundle = folder / "environment/system/base/certs.pem"
    bundle.parent.mkdir(parents=True)
    shutil.copy(folder / "authority.pem", bundle)


class TlsTest(unittest.TestCase):
    program = ""
    size = 64 << 20

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        make_certificates(cls.folder)
        cls.server = cls.enterClassContext(Nginx(SERVER.format(cls.folder), "ssl"))
        cls.url = f"https://localhost:{cls.server.port}"
        (cls.server.www / "small").write_bytes(b"small page")
        cls.large = random.Random(1).randbytes(cls.size)
        (cls.server.www / "large").write_bytes(cls.large)

    def nethttp(self, *arguments, root="environment", **options):
        environment = {**os.environ, "VORNIK_ROOT": str(self.folder / root)}
        return run([self.program, *arguments], env=environment, **options)

    def test_download_and_upload(self):
        got = self.nethttp(self.url + "/large", text=False)
        self.assertEqual(got.returncode, 0, got.stderr)
        self.assertEqual(hashlib.sha256(got.stdout).digest(), hashlib.sha256(self.large).digest())
        self.assertEqual(got.stderr, b"")
        sent = self.nethttp("-X", "PUT", "-T", self.server.www / "large", self.url + "/stored/copy")
        self.assertEqual(sent.returncode, 0, sent.stderr)
        self.assertEqual((self.server.www / "stored/copy").read_bytes(), self.large)

    def test_end_that_anybody_may_have_made(self):
        """A body without a length: only TLS itself can tell that all of it came."""
        for orderly in (True, False):
            got = self.against_part(orderly)
            self.assertEqual((got.returncode, got.stdout), (0, "part"))
            self.assertEqual("nethttp: the body may be incomplete: " in got.stderr, not orderly)

    def against_part(self, orderly):
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.folder / "good.pem", self.folder / "key.pem")
        context.num_tickets = 0
        with socket.create_server(("127.0.0.1", 0)) as listener:
            thread = threading.Thread(target=self.send_part, args=(context, listener, orderly))
            thread.start()
            got = self.nethttp(f"https://localhost:{listener.getsockname()[1]}/")
            thread.join()
        return got

    @staticmethod
    def send_part(context, listener, orderly):
        connection = context.wrap_socket(listener.accept()[0], server_side=True)
        connection.recv(4096)
        connection.sendall(b"HTTP/1.1 200 OK\r\n\r\npart")
        if orderly:
            try:
                connection.unwrap()
            except OSError:  # the client answers with the end of the connection alone
                pass
        connection.close()

    def test_authority_that_nobody_vouches_for(self):
        hint = "nethttp: no certificate bundle: "
        for options in ([], ["--log-level", "5"]):
            got = self.nethttp(*options, "--repeat", "2", self.url + "/small", root="nowhere")
            self.assertEqual((got.returncode, got.stdout), (1, ""))
            self.assertEqual(got.stderr.count(hint), 1, got.stderr)
            self.assertIn(str(self.folder / "nowhere/system/base/certs.pem"), got.stderr)
            self.assertEqual("Certificate error: " in got.stderr, not options)
        forgiven = self.nethttp("--ssl-ignore-invalid", self.url + "/small", root="nowhere")
        self.assertEqual((forgiven.returncode, forgiven.stdout), (0, "small page"))
        self.assertNotIn(hint, forgiven.stderr)
        # A connection that fails for another reason says nothing of the bundle.
        refused = self.nethttp("https://127.0.0.1:1/", root="nowhere")
        self.assertNotIn(hint, refused.stderr)

    def test_configuration_of_openssl(self):
        """It is OpenSSL that reads it: it can narrow what is spoken, and widen no verification."""
        for text, status in (("", 0), ("not a configuration", 0), (OLD_TLS_ALONE, 1),
                             ("openssl_conf = s\n[s]\nproviders = p\n[p]\nx = y\n[y]\n"
                              "module = /nowhere/provider.so\nactivate = 1\n", 1),
                             ("openssl_conf = s\n[s]\nengines = e\n[e]\nx = y\n[y]\n"
                              "dynamic_path = /nowhere/engine.so\ninit = 1\n", 0)):
            with self.subTest(text=text):
                config = self.folder / "openssl.cnf"
                config.write_text(text)
                with_config = {"env": {**os.environ, "OPENSSL_CONF": str(config),
                                       "VORNIK_ROOT": str(self.folder / "environment")}}
                got = run([self.program, self.url + "/small"], **with_config)
                self.assertEqual(got.returncode, status, got.stderr)
                sentences = [line for line in got.stderr.splitlines() if line.startswith("nethttp: ")]
                self.assertNotIn("\\x", "".join(sentences))
                with_config["env"]["VORNIK_ROOT"] = "/nowhere"
                self.assertEqual(run([self.program, self.url + "/small"], **with_config).returncode, 1)

    @unittest.skipUnless(os.geteuid() == 0, "only root can raise the rights of a program")
    def test_raised_rights(self):
        """Whoever starts a program with another user's rights chooses neither its certificates nor how
        its OpenSSL is configured."""
        nobody = pwd.getpwnam("nobody")
        self.folder.chmod(0o755)
        if os.statvfs(self.folder).f_flag & os.ST_NOSUID:
            self.skipTest("no program in this folder gets raised rights")
        (self.folder / "openssl.cnf").write_text(OLD_TLS_ALONE)
        program = self.folder / "program"
        shutil.copy(self.program, program)
        environment = {**os.environ, "VORNIK_ROOT": str(self.folder / "environment")}
        for mode, config, status, record in (
                (0o755, None, 0, ""), (0o755, "openssl.cnf", 1, "TLS handshake failed"),
                (0o4755, None, 1, "unable to get local issuer certificate"),
                (0o4755, "openssl.cnf", 1, "unable to get local issuer certificate")):
            with self.subTest(mode=oct(mode), config=config):
                program.chmod(mode)
                if config:
                    environment["OPENSSL_CONF"] = str(self.folder / config)
                else:
                    environment.pop("OPENSSL_CONF", None)
                got = run([program, self.url + "/small"], env=environment, user=nobody.pw_uid,
                          group=nobody.pw_gid, extra_groups=[])
                if got.returncode == 127:
                    self.skipTest("the libraries are not for everybody to read")
                self.assertEqual(got.returncode, status, got.stderr)
                self.assertIn(record, got.stderr)


if __name__ == "__main__":
    TlsTest.program = sys.argv[1]
    if any(sys.argv[2:]):
        TlsTest.size = 4 << 20
    unittest.main(argv=sys.argv[:1])
