"""What the system tests share: a simulated server, an engine and polaiga-ipmi between them, as their users start them."""
import atexit
import contextlib
import os
import shutil
import sqlite3
import sys
import tempfile
import unittest
from pathlib import Path

from simulator import PASSWORD, USER, Simulator

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "support"))
from processes import PATIENCE, Process, run, until

POLAIGA, POLAIGA_IPMI = "", ""  # the programs, which main() is told
FOREIGN = "opensesspriv"  # the workaround that the simulator needs
# Each event of these sensors has two states, of which one undoes the other.
TO_AND_FRO = {"FAN1_TACH1", "FAN2_TACH1", "FAN3_TACH1", "FAN4_TACH1", "FAN4_TACH2", "PSU1_TEMP", "FP_TEMP_SENSOR", "PCI2_TEMP",
              "ADAPTOR1_TEMP"}


class System:
    """A directory with an engine in it, and a simulated server. They are started with it, polaiga-ipmi is not."""

    def __init__(self, simulator=None, **more):
        self.place = tempfile.mkdtemp(prefix="ipmi.")
        atexit.register(self.close)
        self.ledger, self.socket = self.file("ledger.db"), self.file("events.sock")
        self.state = self.file("state")
        self.password_file = self.write("password", PASSWORD + "\n")
        self.user = USER
        self.engine = self.adapter = None
        self.simulator = simulator or Simulator(**more)
        self.start_engine()

    def file(self, name):
        return os.path.join(self.place, name)

    def write(self, name, text, mode=0o600):
        path = self.file(name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        os.chmod(path, mode)
        return path

    def start_engine(self):
        self.engine = Process(POLAIGA, "run", "--ledger", self.ledger, "--socket", self.socket)
        self.engine.wait_for("ready: ")

    def controller_options(self):
        return ["--target", self.simulator.target, "--user", self.user, "--password-file", self.password_file, "--cipher", "3",
                "--workaround", FOREIGN]

    def options(self):
        return [*self.controller_options(), "--socket", self.socket, "--state", self.state]

    def start_adapter(self, *arguments):
        self.adapter = Process(POLAIGA_IPMI, *self.options(), *arguments)

    def follow(self, *arguments):
        """Starts it, and waits until it knows where the log ends."""
        self.start_adapter(*arguments)
        until("the log is followed", lambda: os.path.exists(self.state) or self.adapter.has_ended())
        assert not self.adapter.has_ended(), self.adapter.text()

    def restart_adapter(self, *arguments):
        self.adapter.kill()
        self.start_adapter(*arguments)

    def once(self, *arguments, status=0):
        """What polaiga-ipmi says when it looks once."""
        return run(POLAIGA_IPMI, *self.options(), "--once", *arguments, status=status).stderr

    def ask(self, question):
        """The first column of what the ledger answers."""
        with contextlib.closing(sqlite3.connect(f"file:{self.ledger}?mode=ro", uri=True, timeout=PATIENCE)) as ledger:
            return [row[0] for row in ledger.execute(question)]

    def faults(self):
        """The faults that are active."""
        return set(self.ask("SELECT fault_dn FROM faults WHERE ended IS NULL"))

    def ids(self):
        """The ids of all events."""
        return self.ask("SELECT id FROM inputs ORDER BY seq")

    def events(self):
        """All events in order, as in "FAN1_TACH1 3/4"."""
        return self.ask("SELECT sensor || ' ' || \"offset\" || '/' || \"state\" FROM inputs ORDER BY seq")

    def told_twice(self):
        """The events that say again what the one before of the same sensor and offset said, of those sensors whose events
        go to and fro between two states. The ledger itself drops an event with an id that it knows, but not one that is
        told again under another id."""
        last, twice, seen = {}, [], set()
        for event in self.events():
            sensor, said = event.split()
            offset, state = said.split("/")
            if sensor not in TO_AND_FRO:
                continue
            seen.add(sensor)
            if last.get((sensor, offset)) == state:
                twice.append(event)
            last[sensor, offset] = state
        assert seen, "none of these sensors told anything"
        return twice

    def wait_for(self, faults, patience=PATIENCE):
        """Until these faults are active, and no others."""
        faults = set(faults)
        try:
            until("the faults are as they should be", lambda: self.faults() == faults, patience)
        except AssertionError:
            raise AssertionError(f"active but should not be: {sorted(self.faults() - faults)}; should be, but are not: "
                                 f"{sorted(faults - self.faults())}; {self.adapter.text() if self.adapter else ''}") from None

    def wait_for_truth(self, patience=PATIENCE):
        """Until the alarms are what the board stands for."""
        self.wait_for(self.simulator.faults(), patience)

    def close(self):
        for process in (self.adapter, self.engine):
            if process is not None:
                process.kill()
        self.simulator.close()
        shutil.rmtree(self.place, ignore_errors=True)


class SystemTest(unittest.TestCase):
    def system(self, **more):
        system = System(**more)
        self.addCleanup(system.close)
        return system


def main():
    """Runs the tests of the script: SCRIPT POLAIGA POLAIGA_IPMI [TEST]..."""
    global POLAIGA, POLAIGA_IPMI
    POLAIGA, POLAIGA_IPMI = sys.argv[1:3]
    del sys.argv[1:3]
    unittest.main(module="__main__", verbosity=2)
