#!/usr/bin/env python3
"""The command line on a terminal: the progress bar at several widths, and Ctrl-C.

    terminal.py NETHTTP
"""

import fcntl
import os
import pathlib
import pty
import re
import select
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import termios
import threading
import time
import unittest

SIZE = 24 << 20
HEAD = b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n"


class Server:
    """Answers one connection with a function, on a thread of its own."""

    def __init__(self, answer):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.url = f"http://127.0.0.1:{self.listener.getsockname()[1]}/file"
        self.accepted = threading.Event()
        self.thread = threading.Thread(target=self.serve, args=(answer,))

    def serve(self, answer):
        connection, _ = self.listener.accept()
        self.accepted.set()
        with connection:
            try:
                answer(connection)
            except OSError:  # the client is gone, as some tests want it
                pass

    def __enter__(self):
        self.thread.start()
        return self

    def __exit__(self, *_):
        self.thread.join()
        self.listener.close()


def read_head(connection):
    data = b""
    while b"\r\n\r\n" not in data:
        data += connection.recv(65536)
    return data


def send_slowly(connection, head=HEAD % SIZE):
    read_head(connection)
    connection.sendall(head)
    for _ in range(24):
        connection.sendall(bytes(SIZE // 24))
        time.sleep(0.02)


def state_of(process):
    """Answers a process's state as one letter; S is one that waits."""
    return pathlib.Path(f"/proc/{process}/stat").read_text().rpartition(")")[2].split()[0]


def wait_until(condition):
    deadline = time.monotonic() + 60
    while not condition():
        if time.monotonic() > deadline:
            raise TimeoutError
        time.sleep(0.005)


class Terminal:
    """A program on a terminal of its own, of which it knows the width."""

    def __init__(self, command, columns):
        self.master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        self.process = subprocess.Popen([str(word) for word in command], stdin=slave, stdout=slave,
                                        stderr=slave, start_new_session=True,
                                        preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
        os.close(slave)
        self.output = ""

    def read(self, until=None):
        """Reads until a text has been shown, or to the end; answers everything so far."""
        deadline = time.monotonic() + 60
        while until is None or until not in self.output:
            if not select.select([self.master], [], [], max(0, deadline - time.monotonic()))[0]:
                raise TimeoutError(self.output)
            try:
                piece = os.read(self.master, 65536)
            except OSError:  # nobody has it open any more
                piece = b""
            if not piece:
                break
            self.output += piece.decode()
        return self.output

    def press(self, key):
        os.write(self.master, key)

    def end(self):
        self.read()
        os.close(self.master)
        return self.process.wait(60)


class TerminalTest(unittest.TestCase):
    program = ""

    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.file = self.folder / "file"
        self.part = self.folder / "file.part"
        self.report = self.folder / "report"

    def shown(self, columns, answer, *arguments):
        """Answers the states of the line that was drawn over itself, and what stands at last."""
        with Server(answer) as server:
            terminal = Terminal([self.program, *arguments, server.url], columns)
            self.assertEqual(terminal.end(), 0, terminal.output)
        states = terminal.output.replace("\r\n", "\n").split("\r")
        self.assertEqual(states.pop(0), "", terminal.output)
        self.assertEqual([text for text in states if len(text.rstrip("\n")) >= columns], [])
        self.assertEqual(terminal.output.count("\n"), 1, terminal.output)
        return states

    def test_download(self):
        rate, time_left = r"[0-9.]+ [KMG]iB/s", r"[0-9]+:[0-9]{2}"
        bar = r"(\[=* *\] )?"
        for columns, under_way, end in (
                (80, rf"Download \[=* *\] +[0-9]+%  {rate}  {time_left} *",
                 rf"Download \[=+\] 100%  24\.0 MiB  {rate}  in {time_left}\n"),
                (40, rf"Download {bar} *[0-9]+%  {rate}  {time_left} *",
                 rf"Download 100%  24\.0 MiB  {rate} *\n"),
                (20, r"Download +[0-9]+% *", r"Download 100% *\n")):
            with self.subTest(columns=columns):
                states = self.shown(columns, send_slowly, "-o", self.file)
                self.assertGreater(len(states), 3)
                for state in states[1:-1]:  # the first knows no rate yet
                    self.assertRegex(state, rf"\A{under_way}\Z")
                self.assertRegex(states[-1], rf"\A{end}\Z")
                self.assertEqual(self.file.stat().st_size, SIZE)

    def test_download_of_unknown_length(self):
        def answer(connection):
            send_slowly(connection, b"HTTP/1.1 200 OK\r\n\r\n")

        states = self.shown(40, answer, "-o", self.file)
        self.assertTrue([state for state in states if re.fullmatch(
            r"Download [0-9.]+ MiB  [0-9.]+ MiB/s *", state)], states)
        self.assertRegex(states[-1], r"\ADownload 100%  24\.0 MiB  [0-9.]+ MiB/s *\n\Z")

    def test_control_c_while_data_arrives(self):
        cancelled = threading.Event()

        def answer(connection):
            read_head(connection)
            connection.sendall(HEAD % SIZE)
            while not cancelled.wait(0.01):
                connection.sendall(bytes(1000))

        with Server(answer) as server:
            terminal = Terminal([self.program, "-o", self.file, "--repeat", "2", server.url], 80)
            terminal.read(until="Download ")
            terminal.press(b"\x03")
            status = terminal.end()
            cancelled.set()
        self.assertEqual(status, 130, terminal.output)
        self.assertRegex(terminal.output, rf"\r\nnethttp: ErrCancelled \(8442h\): {server.url}\r\n"
                         rf"nethttp: {self.part}: holds the {self.part.stat().st_size} bytes that came\r\n\Z")
        self.assertFalse(self.file.exists())

    def end_while_waiting(self, signals, body=b"", ignored=()):
        """Sends signals to a program that waits for the rest of a body; answers status and errors."""
        over = threading.Event()

        def answer(connection):
            read_head(connection)
            connection.sendall(HEAD % SIZE + body)
            over.wait(60)

        with Server(answer) as server:
            process = subprocess.Popen(
                [self.program, "-o", self.file, "--report", self.report, server.url],
                stderr=subprocess.PIPE, text=True,
                preexec_fn=lambda: [signal.signal(one, signal.SIG_IGN) for one in ignored])
            # The program asks whether to go on behind each piece: it is to wait again.
            wait_until(lambda: self.part.exists() and self.part.stat().st_size == len(body))
            wait_until(lambda: server.accepted.is_set() and state_of(process.pid) == "S")
            for one in signals:
                process.send_signal(one)
            _, errors = process.communicate(timeout=60)
            over.set()
        return process.returncode, errors.replace(server.url, "URL")

    def test_signal_while_nothing_arrives(self):
        """The program ends soon, and does not wait for its peer; what is ignored stays so."""
        for name, ignored, body in ((signal.SIGINT, (), b"some"), (signal.SIGTERM, (), b""),
                                    (signal.SIGTERM, (signal.SIGINT,), b"")):
            with self.subTest(name=name, ignored=ignored):
                status, errors = self.end_while_waiting([*ignored, name], body, ignored)
                self.assertEqual(status, 128 + name, errors)
                named = f"nethttp: {self.part}: holds the {len(body)} bytes that came\n" if body else ""
                self.assertEqual(errors, f"nethttp: interrupted: URL\n{named}")
                self.assertEqual(self.report.read_text(), '{"exchanges":[]}\n')
                self.assertEqual(self.part.exists(), bool(body))
                self.part.unlink(missing_ok=True)
                self.assertFalse(self.file.exists())

    def test_program_that_is_killed_leaves_no_half_file(self):
        for file in (self.file, self.report):
            file.write_text("old")
        status, _ = self.end_while_waiting([signal.SIGKILL], b"some")
        self.assertEqual(status, -signal.SIGKILL)
        for file in (self.file, self.report):
            self.assertEqual(file.read_text(), "old")


if __name__ == "__main__":
    TerminalTest.program = sys.argv[1]
    unittest.main(argv=sys.argv[:1], verbosity=2)
