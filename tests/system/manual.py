#!/usr/bin/env python3
"""The manual page and the completions: made of the help text, and of use in real shells.

    manual.py SOURCE-FOLDER NETHTTP
"""

import pathlib
import re
import sys
import tempfile
import time
import unittest

from support import run
from terminal import Terminal

# What is typed before the tabulator, and what the line is then, or what is offered.
BASH = [
    ("nethttp --http-v", "nethttp --http-version "),
    ("nethttp --protocol=a", "nethttp --protocol=auto "),
    ("nethttp --protocol ht", "nethttp --protocol http"),
    ("nethttp -X DEL", "nethttp -X DELETE "),
    ("nethttp -o some", "nethttp -o some\\ file "),
    ("nethttp --memory --output=some", "nethttp --memory --output=some\\ file "),
    ("nethttp us", "nethttp user-agent "),
    ("nethttp split --keep-po", "nethttp split --keep-port-in-host "),
    ("nethttp split --prog", "nethttp split --prog"),
    ("nethttp --host some", "nethttp --host some"),
]
ZSH = [
    ("nethttp --http-v", "nethttp --http-version="),
    ("nethttp --protocol=a", "nethttp --protocol=auto "),
    ("nethttp --protocol htt", "nethttp --protocol http"),
    ("nethttp -X DEL", "nethttp -X DELETE "),
    ("nethttp -o some", "nethttp -o some\\ file "),
    ("nethttp us", "nethttp user-agent "),
    ("nethttp split --keep-po", "nethttp split --keep-port-in-host "),
    ("nethttp demo --boo", "nethttp demo --boot="),
    ("nethttp split --memo", "nethttp split --memo"),
]


class ManualTest(unittest.TestCase):
    source = pathlib.Path()
    program = ""

    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        (self.folder / "some file").touch()
        self.manual = self.source / "apps/nethttp/manual"

    def test_files_are_what_the_help_text_makes(self):
        result = run([self.source / "scripts/manual", self.program, "--check"])
        self.assertEqual((result.returncode, result.stdout), (0, ""), result.stderr)

    def test_page_is_well_formed(self):
        result = run(["groff", "-man", "-ww", "-z", "-Tutf8", self.manual / "nethttp.1"])
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        page = run(["groff", "-man", "-Tascii", "-P-cbou", self.manual / "nethttp.1"]).stdout
        names = re.findall(r"(?<![\w-])--?[a-z][\w-]*", run([self.program, "--help"]).stdout)
        self.assertGreater(len(names), 30)
        self.assertEqual([name for name in names if name not in page], [])

    def test_bash(self):
        self.check_completion(BASH, ["bash", "--norc", "--noprofile", "-i"], f"""
            source {self.manual / 'nethttp.bash'}
            tell() {{ printf %s "$READLINE_LINE" >line.new; mv line.new line; }}
            bind -x '"\\C-x": tell'
            PS1='read''y'
        """)

    def test_zsh(self):
        self.check_completion(ZSH, ["zsh", "-f", "-i"], f"""
            fpath=({self.manual} $fpath); autoload -Uz compinit; compinit -u -D
            tell() {{ printf %s "$BUFFER" >line.new; mv line.new line }}
            zle -N tell; bindkey '^X' tell
            begin() {{ print read''y }}
            zle -N zle-line-init begin
        """)

    def check_completion(self, rows, shell, script):
        (self.folder / "script").write_text(script)
        for typed, expected in rows:
            with self.subTest(typed=typed):
                self.assertEqual(self.line_after_tab(shell, typed), expected)

    def line_after_tab(self, shell, typed):
        """Answers the line that an interactive shell has after a tabulator, as the shell tells it."""
        line = self.folder / "line"
        line.unlink(missing_ok=True)
        terminal = Terminal(["env", "-C", self.folder, "TERM=dumb", "INPUTRC=/dev/null",
                             f"HOME={self.folder}", *shell], 200)
        try:
            terminal.press(b". ./script\n")
            terminal.read(until="ready")
            terminal.press(typed.encode() + b"\t\x18")
            deadline = time.monotonic() + 20
            while not line.exists() and time.monotonic() < deadline:
                time.sleep(0.005)
            return line.read_text() if line.exists() else terminal.output
        finally:
            terminal.process.kill()
            terminal.end()


if __name__ == "__main__":
    ManualTest.source, ManualTest.program = pathlib.Path(sys.argv[1]), sys.argv[2]
    unittest.main(argv=sys.argv[:1], verbosity=2)
