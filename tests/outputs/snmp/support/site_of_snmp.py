"""What the tests of polaiga-snmp share: an engine, a real snmpd, a real snmptrapd and polaiga-snmp, as their users start
them, each in a directory of its own and on ports that the system chooses."""
import atexit
import contextlib
import json
import os
import re
import shutil
import signal
import socket
import sqlite3
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "support"))
from processes import PATIENCE, Process, free_port, run, until

POLAIGA, POLAIGA_SNMP, MIBS = "", "", ""  # the programs and the directory of POLAIGA-MIB.txt, which main() is told
ROOT = ".1.3.6.1.4.1.32473.1"
USER, SECRET = "watcher", "long-enough-secret"


def mib_directories(place):
    """The modules of SMIv2 come without the ending that the tools of libsmi look for."""
    modules = os.path.join(place, "mibs")
    if not os.path.isdir(modules):
        os.mkdir(modules)
        home = "/usr/lib/erlang/lib"
        found = [os.path.join(home, name, "mibs") for name in os.listdir(home) if name.startswith("snmp-")]
        assert found, "the package erlang-snmp, which has the modules of SMIv2, is not installed"
        for file in os.listdir(found[0]):
            if file.endswith(".mib"):
                shutil.copy(os.path.join(found[0], file), os.path.join(modules, file[:-4]))
    return modules


class Events:
    """A connection over which a test tells the engine what sensors say."""

    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(PATIENCE)
        self.socket.connect(path)
        self.lines = self.socket.makefile("rw", encoding="utf-8")

    def send(self, *events):
        for event in events:
            self.lines.write(json.dumps(event) + "\n")
        self.lines.flush()
        return [json.loads(self.lines.readline()) for _ in events]

    def close(self):
        self.lines.close()
        self.socket.close()


def fan(number, is_slow):
    """The tachometer of a fan module's first fan: far below its limit, or well again."""
    return {"entity": "fan", "sensor": f"FAN{number}_TACH1", "instance": number, "offset": 3, "state": 1 if is_slow else 0}


class Site:
    """A directory with an engine in it. What else a test needs it starts."""

    def __init__(self, *engine_options):
        self.place = tempfile.mkdtemp(prefix="snmp.")
        atexit.register(self.close)
        self.ledger, self.events_path = self.file("ledger.db"), self.file("events.sock")
        self.control, self.master = self.file("control.sock"), self.file("master")
        self.engine_options = engine_options
        self.engine = self.snmpd = self.trapd = self.publisher = self.connection = None
        self.port, self.trap_port = free_port(socket.SOCK_DGRAM), free_port(socket.SOCK_DGRAM)
        self.heartbeat = 0
        self.logs = []  # one for each snmptrapd, since it empties its own at the start
        # The tools look for nothing outside the directory.
        self.environment = {**os.environ, "SNMPCONFPATH": self.place, "SNMP_PERSISTENT_DIR": self.file("persistent"),
                            "MIBDIRS": mib_directories(self.place) + ":" + MIBS, "MIBS": "POLAIGA-MIB"}
        self.start_engine()

    def file(self, name):
        return os.path.join(self.place, name)

    def write(self, name, text):
        with open(self.file(name), "w", encoding="utf-8") as file:
            file.write(text)
        return self.file(name)

    def start_engine(self):
        self.engine = Process(POLAIGA, "run", "--ledger", self.ledger, "--socket", self.events_path, "--control",
                              self.control, *self.engine_options)
        self.engine.wait_for("ready: ")

    def events(self, *events):
        if self.connection is None:
            self.connection = Events(self.events_path)
        return self.connection.send(*events)

    def hang_up(self):
        if self.connection is not None:
            self.connection.close()
            self.connection = None

    def end_engine(self, how=signal.SIGTERM):
        self.hang_up()
        self.engine.end(how)

    def start_snmpd(self, sink="", extra=""):
        """`sink` is a line for snmpd.conf that says where notifications go."""
        config = self.write("snmpd.conf", f"""master agentx
agentXSocket unix:{self.master}
agentaddress udp:127.0.0.1:{self.port}
rocommunity public 127.0.0.1
rwcommunity private 127.0.0.1
{sink or f"trap2sink 127.0.0.1:{self.trap_port} public"}
{extra}
""")
        self.snmpd = Process("/usr/sbin/snmpd", "-f", "-Le", "-C", "-c", config, "-I",
                             "-smux,mteTrigger,mteTriggerConf", "-p", self.file("snmpd.pid"), env=self.environment)
        until("snmpd listens", lambda: os.path.exists(self.master) or self.snmpd.has_ended())
        assert not self.snmpd.has_ended(), self.snmpd.text()

    def kill_snmpd(self):
        self.snmpd.kill()
        with contextlib.suppress(FileNotFoundError):
            os.remove(self.master)

    def start_trapd(self, extra=""):
        config = self.write("snmptrapd.conf", f"""authCommunity log public
{extra}
format2 TRAP %W %N\\n%v\\nEND\\n
""")
        self.logs.append(self.file(f"traps.{len(self.logs)}"))
        self.trapd = Process("/usr/sbin/snmptrapd", "-f", "-Lf", self.logs[-1], "-C", "-c", config, "-OnQUbe",
                             "-p", self.file("snmptrapd.pid"), f"udp:127.0.0.1:{self.trap_port}", env=self.environment)
        until("snmptrapd listens", lambda: self.listens(self.trap_port) or self.trapd.has_ended())
        assert not self.trapd.has_ended(), self.trapd.text()

    @staticmethod
    def listens(port):
        with open("/proc/net/udp", encoding="ascii") as sockets:
            return f":{port:04X} " in sockets.read()

    def start_publisher(self, *arguments):
        self.publisher = Process(POLAIGA_SNMP, "--ledger", self.ledger, "--control", self.control, "--agentx",
                                 "unix:" + self.master, "--heartbeat", str(self.heartbeat), *arguments,
                                 env=self.environment)

    def wait_until_connected(self):
        self.publisher.wait_for("connected to the master agent")
        until("it knows where to go on", lambda: "are told" in self.publisher.text())

    def start(self, **snmpd):
        self.start_snmpd(**snmpd)
        self.start_trapd()
        self.start_publisher()
        self.wait_until_connected()

    # What managers see.

    def ask(self, command, *oids, options=("-v2c", "-c", "public"), output="-OnQUbe", status=0):
        return run(command, *options, output, "-t", "5", "-r", "1", f"127.0.0.1:{self.port}", *oids, env=self.environment,
                   status=status).stdout

    def get(self, *oids):
        return [line.split(" = ", 1)[1] for line in self.ask("snmpget", *oids).splitlines()]

    def walk(self, oid, **more):
        """A dictionary of what is below, by the rest of the name."""
        found = {}
        for line in self.ask("snmpbulkwalk", oid, **more).splitlines():
            name, value = line.split(" = ", 1)
            if name.startswith(oid + "."):
                found[name[len(oid) + 1:]] = value.strip('"')
        return found

    def picture(self):
        """The active alarms by their numbers, with their severities, as polaigaAlarmTable has them."""
        return {int(number): int(severity) for number, severity in self.walk(ROOT + ".1.3.1.7").items()}

    def truth(self):
        """The same, as the ledger has it."""
        with contextlib.closing(sqlite3.connect(f"file:{self.ledger}?mode=ro", uri=True, timeout=PATIENCE)) as ledger:
            rows = ledger.execute("SELECT number, severity FROM alarms WHERE is_active").fetchall()
        words = ["", "cleared", "indeterminate", "warning", "minor", "major", "critical"]
        return {alarm: words.index(severity) for alarm, severity in rows}

    def last_change(self):
        with contextlib.closing(sqlite3.connect(f"file:{self.ledger}?mode=ro", uri=True, timeout=PATIENCE)) as ledger:
            return ledger.execute("SELECT max(number) FROM changes").fetchone()[0] or 0

    def notifications(self):
        """All that snmptrapd has received: for each its type (1 raised, 2 cleared, 3 changed, 4 heartbeat, 5 lost) and its
        variables by the rest of their names."""
        text = ""
        for path in self.logs:
            with contextlib.suppress(FileNotFoundError), open(path, encoding="utf-8", errors="replace") as log:
                text += log.read()
        found = []
        for trap in re.findall(r"^TRAP.*?\n(.*?)\nEND$", text, re.M | re.S):
            variables = {}
            for pair in trap.split("\t"):
                name, _, value = pair.strip("\n").partition(" =")
                variables[name] = value.removeprefix(" ").strip('"')
            kind = variables.pop(".1.3.6.1.6.3.1.1.4.1.0", "")
            if kind.startswith(ROOT + ".0."):
                prefix = ROOT + ".1."
                found.append((int(kind.rsplit(".", 1)[1]), {name.removeprefix(prefix): value
                                                             for name, value in variables.items()}))
        return found

    def told(self):
        """The numbers of the changes that snmptrapd has received."""
        return [int(variables["1.6.0"]) for kind, variables in self.notifications() if kind in (1, 2, 3)]

    def cursor(self):
        """How far the engine knows that the publisher has come."""
        with contextlib.closing(sqlite3.connect(f"file:{self.ledger}?mode=ro", uri=True, timeout=PATIENCE)) as ledger:
            row = ledger.execute("SELECT change FROM publisher_cursor WHERE name = 'snmp'").fetchone()
        return row[0] if row else None

    def close(self):
        self.hang_up()
        for process in (self.publisher, self.trapd, self.snmpd, self.engine):
            if process is not None:
                process.kill()
        shutil.rmtree(self.place, ignore_errors=True)


class SiteTest(unittest.TestCase):
    maxDiff = None

    def site(self, *options):
        site = Site(*options)
        self.addCleanup(site.close)
        return site


def main():
    """Runs the tests of the script: SCRIPT POLAIGA POLAIGA_SNMP MIBS [TEST]..."""
    global POLAIGA, POLAIGA_SNMP, MIBS
    POLAIGA, POLAIGA_SNMP, MIBS = sys.argv[1:4]
    del sys.argv[1:4]
    unittest.main(module="__main__", verbosity=2)
