#!/usr/bin/env python3
"""examples/fleet as its user meets it: example_test.py EXAMPLE PROGRAMS"""
import base64
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import unittest
import urllib.request
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "support"))
sys.dont_write_bytecode = True
from processes import PATIENCE, Process, until

EXAMPLE = PROGRAMS = ""
START_WITHIN = 4 * PATIENCE


def processes_in(directory):
    """The command lines of the processes that name the directory, or are in it."""
    found = []
    for entry in Path("/proc").iterdir():
        if entry.name.isdigit() and int(entry.name) != os.getpid():
            try:
                command = (entry / "cmdline").read_bytes().decode(errors="replace")
                if directory in command or os.readlink(entry / "cwd").startswith(directory):
                    found.append(command.replace("\0", " "))
            except OSError:
                continue  # it has ended
    return found


class ExampleTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="polaiga-example-", dir="/tmp")
        self.addCleanup(directory.cleanup)
        self.place = directory.name
        os.chmod(self.place, 0o755)  # the database's user enters it

    def start(self, *options):
        example = Process(EXAMPLE, *map(str, options), PROGRAMS, env={**os.environ, "TMPDIR": self.place})
        self.addCleanup(example.end)
        return example

    def expect_nothing_left(self):
        self.assertEqual(os.listdir(self.place), [])
        until("no process is left", lambda: not processes_in(self.place))

    def get(self, example, path):
        address = re.search(r"Open (http://127\.0\.0\.1:\d+/) in a browser", example.text())[1]
        request = urllib.request.Request(address + path)
        if login := re.search(r"Log in as (\S+) with the password (\S+)\.", example.text()):
            request.add_header("Authorization", "Basic " + base64.b64encode(f"{login[1]}:{login[2]}".encode()).decode())
        with urllib.request.urlopen(request, timeout=PATIENCE) as answer:
            return json.load(answer)

    def online(self, example):
        return {(one["site"], one["controller"]) for one in self.get(example, "api/v1/controllers")["controllers"] if one["online"]}

    def expect_fleet(self, example, controllers):
        example.wait_for("Ctrl-C ends it", START_WITHIN)
        until(f"{controllers} controllers are online", lambda: len(self.online(example)) == controllers)
        until("changes come", lambda: sum(one["changes"] for one in self.get(example, "api/v1/sites")["sites"]) > controllers)
        self.assertEqual(len(self.get(example, "api/v1/collectors")["collectors"]), 2)
        self.assertTrue(processes_in(self.place))

    def test_simulated_controllers_are_on_the_page(self):
        example = self.start("--controllers", 4, "--rate", 4)
        self.expect_fleet(example, 4)
        self.assertEqual(self.get(example, "api/v1/me")["role"], "viewer")
        self.assertEqual(example.end(signal.SIGINT), 0, example.text())
        self.expect_nothing_left()

    def test_engines_are_on_the_page_and_an_operator_may_act(self):
        example = self.start("--engines", 2, "--rate", 10, "--operator", "anna")
        self.expect_fleet(example, 2)
        self.assertEqual(self.get(example, "api/v1/me"), {"name": "anna", "role": "operator"})
        self.assertEqual(example.end(signal.SIGINT), 0, example.text())
        self.expect_nothing_left()

    def test_it_ends_while_it_starts(self):
        example = self.start("--controllers", 4)
        until("the broker begins", lambda: any("/beam.smp " in one for one in processes_in(self.place)), START_WITHIN)
        self.assertEqual(example.end(signal.SIGINT), 0, example.text())
        self.expect_nothing_left()

    def test_a_program_that_is_missing_is_named(self):
        done = subprocess.run([EXAMPLE, self.place], capture_output=True, text=True, timeout=PATIENCE)
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stderr, f"{self.place} does not have the program polaiga; build it with: make build\n")


if __name__ == "__main__":
    EXAMPLE, PROGRAMS = sys.argv[1:3]
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
