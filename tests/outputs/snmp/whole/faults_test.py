"""Whatever fails, afterwards managers have the picture of the ledger: faults_test.py POLAIGA POLAIGA_SNMP MIBS [TEST]..."""
import contextlib
import os
import signal
import socket
import sqlite3
import struct
import sys
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import site_of_snmp
from manager import Manager
from site_of_snmp import ROOT, SiteTest, fan, run, until

FANS = range(1, 7)


def both(number):
    return fan(number, True), fan(number, False)


class FakeMaster:
    """A master agent that takes every session and all objects, and answers notifications with the error `refuse`."""

    OPEN, NOTIFY, RESPONSE = 1, 12, 18

    def __init__(self, path, refuse):
        self.refuse, self.sessions = refuse, 0
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.bind(path)
        self.socket.listen()
        self.thread = threading.Thread(target=self.run, daemon=True)
        self.thread.start()

    def run(self):
        with contextlib.suppress(OSError):
            while True:
                connection, _ = self.socket.accept()
                with connection, connection.makefile("rb") as requests, contextlib.suppress(OSError):
                    self.serve(connection, requests)

    def serve(self, connection, requests):
        while len(header := requests.read(20)) == 20:
            order = ">" if header[2] & 0x10 else "<"
            session, transaction, packet, length = struct.unpack(order + "4L", header[4:])
            requests.read(length)
            if header[1] == self.OPEN:
                self.sessions += 1
                session = self.sessions
            error = self.refuse if header[1] == self.NOTIFY else 0
            connection.sendall(struct.pack(order + "4B4LLHH", 1, self.RESPONSE, header[2] & 0x10, 0, session, transaction,
                                           packet, 8, 1, error, 0))

    def close(self):
        self.socket.shutdown(socket.SHUT_RDWR)
        self.socket.close()


class FaultsTest(SiteTest):
    def started(self, *options):
        site = self.site("--chattering", "0", *options)
        site.start()
        return site

    def wait_until_told(self, site, patience=site_of_snmp.PATIENCE):
        """Until snmptrapd has received the last change, and the engine knows."""
        until("the last change is told", lambda: site.last_change() in site.told(), patience)
        until("the cursor is there", lambda: site.cursor() == site.last_change(), patience)

    def check(self, site, manager):
        until("the tables have all", lambda: int(site.get(ROOT + ".1.1.2.0")[0]) == site.last_change())
        manager.catch_up()
        self.assertEqual(manager.alarms, site.truth())
        self.assertEqual(site.picture(), site.truth())

    def test_the_publisher_is_killed(self):
        site = self.started()
        manager = Manager(site)
        for number in FANS:
            site.events(*both(number), fan(number, True))
            site.publisher.kill()
            site.events(*both(number))
            site.start_publisher()
            site.wait_until_connected()
        self.wait_until_told(site)
        manager.follow()
        self.assertEqual(manager.alarms, site.truth())
        # It went on with its cursor, so nothing was left out, and only what was on its way was told again.
        told = site.told()
        self.assertEqual(sorted(set(told)), list(range(1, site.last_change() + 1)))
        self.assertLessEqual(manager.repeated, 16 * len(FANS))
        self.check(site, manager)

    def test_snmpd_is_away(self):
        site = self.started()
        manager = Manager(site)
        site.events(fan(1, True))
        self.wait_until_told(site)
        site.kill_snmpd()
        site.publisher.wait_for("cannot be used")
        for number in FANS:
            site.events(*both(number))
        site.events(fan(2, True))
        site.start_snmpd()
        back = time.monotonic()
        until("it is connected again", lambda: site.publisher.text().count("connected to the master agent") == 2)
        self.assertLess(time.monotonic() - back, 2)
        # What happened meanwhile is told, each once.
        self.wait_until_told(site)
        self.assertEqual(site.told(), list(range(1, site.last_change() + 1)))
        manager.follow()
        self.assertEqual((manager.filled, manager.repeated), (0, 0))
        self.check(site, manager)

    def test_snmpd_is_killed_amid_a_stream(self):
        site = self.started()
        manager = Manager(site)
        for number in FANS:
            for _ in range(5):
                site.events(*both(number))
            site.kill_snmpd()
            site.events(fan(number, number % 2 == 0))
            site.start_snmpd()
        self.wait_until_told(site)
        self.assertEqual(sorted(set(site.told())), list(range(1, site.last_change() + 1)))
        self.check(site, manager)

    def check_idle(self, site):
        """It does not try all the time what it cannot do: two seconds take less than half a second of a processor."""
        begin, before = time.monotonic(), site.publisher.processor_time()
        until("two seconds have passed", lambda: time.monotonic() - begin > 2)
        self.assertLess(site.publisher.processor_time() - before, 0.5)

    def test_snmpd_hangs(self):
        site = self.site("--chattering", "0")
        site.heartbeat = 1
        site.start()
        manager = Manager(site)
        site.events(fan(1, True))
        self.wait_until_told(site)
        site.snmpd.send_signal(signal.SIGSTOP)
        for _ in range(10):
            for number in FANS:
                site.events(*both(number))
        status = lambda: run(site_of_snmp.POLAIGA, "outputs", "--control", site.control, "--json").stdout
        until("the engine knows that it does not answer", lambda: '"connected":false' in status().replace(" ", ""))
        # The engine was not held up: it has taken all. Neither does the publisher's memory grow.
        self.assertGreaterEqual(site.last_change(), 120)
        self.assertLess(site.publisher.memory(), 64 << 20)
        self.check_idle(site)
        # It hears signals meanwhile.
        begin = time.monotonic()
        self.assertEqual(site.publisher.end(), 0)
        self.assertLess(time.monotonic() - begin, 5)
        site.start_publisher()
        site.snmpd.send_signal(signal.SIGCONT)
        self.wait_until_told(site)
        self.assertEqual(sorted(set(site.told())), list(range(1, site.last_change() + 1)))
        self.check(site, manager)

    def test_snmptrapd_is_away(self):
        site = self.started()
        manager = Manager(site)
        site.events(fan(1, True))
        self.wait_until_told(site)
        site.trapd.kill()
        for number in FANS:
            site.events(*both(number))
        until("all was handed over", lambda: site.cursor() == site.last_change())
        site.start_trapd()
        site.events(fan(3, True))
        until("a notification comes", lambda: len(site.told()) > 1)
        # The manager sees by the number of the change before it that some are missing, and reads them.
        manager.follow()
        # The first event raised an alarm, the next one refreshed it, and so on: each made a change.
        self.assertEqual(manager.filled, 2 * len(FANS))
        self.assertEqual(manager.begun, 1)
        self.assertEqual(manager.alarms, site.truth())

    def test_a_heartbeat_tells_what_is_missing(self):
        site = self.site("--chattering", "0")
        site.heartbeat = 1
        site.start()
        manager = Manager(site)
        site.trapd.kill()
        site.events(fan(1, True))
        until("it was handed over", lambda: site.cursor() == 1)
        site.start_trapd()
        until("a heartbeat comes", lambda: any(kind == 4 and variables["1.4.0"] == "1"
                                               for kind, variables in site.notifications()))
        manager.follow()
        self.assertEqual((manager.filled, manager.alarms), (1, site.truth()))

    def test_the_engine_is_killed(self):
        site = self.started()
        manager = Manager(site)
        for number in FANS:
            site.events(*both(number), fan(number, True))
            site.end_engine(signal.SIGKILL)
            self.assertFalse(site.publisher.has_ended())
            # The tables can still be read.
            until("the tables are those of the ledger", lambda: site.picture() == site.truth())
            site.start_engine()
        self.wait_until_told(site)
        self.assertEqual(sorted(set(site.told())), list(range(1, site.last_change() + 1)))
        self.check(site, manager)

    def test_changes_that_are_gone(self):
        site = self.site("--chattering", "0", "--keep-events", "50")
        site.start()
        manager = Manager(site)
        site.events(fan(1, True))
        self.wait_until_told(site)
        site.publisher.kill()
        site.end_engine()
        # Nobody waits for a publisher that the engine was told to forget.
        site.start_engine()
        run(sys.executable, "-c", FORGET, site.control)
        for _ in range(60):
            for number in FANS:
                site.events(*both(number))
        until("changes are gone", lambda: self.oldest(site) > 2)
        self.set_cursor(site, 1)
        site.start_publisher()
        site.wait_until_connected()
        until("it is told that changes are missing", lambda: [one for one in site.notifications() if one[0] == 5])
        lost = next(variables for kind, variables in site.notifications() if kind == 5)
        self.assertEqual(int(lost["1.8.0"]), 2)
        self.assertGreater(int(lost["1.9.0"]), 2)
        self.wait_until_told(site)
        manager.follow()
        self.assertGreater(manager.begun, 1)
        self.check(site, manager)

    @staticmethod
    def oldest(site):
        with contextlib.closing(sqlite3.connect(f"file:{site.ledger}?mode=ro", uri=True)) as ledger:
            return ledger.execute("SELECT min(number) FROM changes").fetchone()[0]

    @staticmethod
    def set_cursor(site, through):
        run(sys.executable, "-c", SET_CURSOR, site.control, str(through))
        until("the cursor is there", lambda: site.cursor() == through)

    def test_another_ledger(self):
        site = self.started()
        manager = Manager(site)
        site.events(fan(1, True), fan(2, True))
        self.wait_until_told(site)
        site.end_engine()
        for name in os.listdir(site.place):
            if name.startswith("ledger.db"):
                os.rename(site.file(name), site.file("former-" + name))
        before = site.get(ROOT + ".1.1.1.0")
        site.start_engine()
        until("the other ledger is followed", lambda: site.get(ROOT + ".1.1.1.0") not in ([""], before))
        site.events(fan(3, True))
        until("its change is told", lambda: len(site.told()) == 3)
        manager.follow()
        self.assertEqual(manager.begun, 2)
        self.assertEqual(site.told(), [1, 2, 1])
        self.check(site, manager)

    @staticmethod
    def rows(site):
        """The objects of the changes, as the ledger has them."""
        with contextlib.closing(sqlite3.connect(f"file:{site.ledger}?mode=ro", uri=True)) as ledger:
            return {str(number): dn for number, dn in ledger.execute("SELECT number, fault_dn FROM changes")}

    def test_a_ledger_that_is_put_back(self):
        site = self.started()
        manager = Manager(site)
        site.events(fan(1, True))
        self.wait_until_told(site)
        site.end_engine()
        with contextlib.closing(sqlite3.connect(site.ledger)) as ledger:
            with contextlib.closing(sqlite3.connect(site.file("copy"))) as copy:
                ledger.backup(copy)
        site.start_engine()
        site.events(*both(2), *both(3), fan(4, True))
        self.wait_until_told(site)
        self.check(site, manager)
        cleared = ".1.3.6.1.2.1.118.1.3.2.1.9"  # alarmClearLogIndex
        until("two are cleared", lambda: site.walk(cleared) and set(site.walk(cleared).values()) == {"0"}
              and len(site.walk(cleared)) == 2)
        self.assertEqual(site.walk(ROOT + ".1.5.1.7"), self.rows(site))
        site.end_engine()
        for name in ("ledger.db-wal", "ledger.db-shm"):
            with contextlib.suppress(FileNotFoundError):
                os.remove(site.file(name))
        os.replace(site.file("copy"), site.ledger)
        site.start_engine()
        until("it is told", lambda: [one for one in site.notifications() if one[0] == 5])
        self.assertIn("told to read the active alarms", site.publisher.text())
        until("nothing is cleared", lambda: site.walk(cleared) == {})
        before = len(site.told())
        site.events(fan(5, True), *both(6))
        # The engine does not give numbers again that it has acknowledged.
        until("what comes then is told", lambda: site.told()[before:] == [7, 8, 9])
        until("the tables have all", lambda: site.walk(ROOT + ".1.5.1.7") == self.rows(site))
        until("the one that ended is cleared", lambda: len(site.walk(cleared)) == 1)
        manager.follow()
        self.assertGreater(manager.begun, 1)
        self.assertEqual(manager.alarms, site.truth())
        self.check(site, manager)

    def test_a_master_that_has_forgotten_the_session(self):
        site = self.site("--chattering", "0")
        master = FakeMaster(site.master, refuse=257)
        self.addCleanup(master.close)
        site.start_publisher()
        site.wait_until_connected()
        site.events(fan(1, True))
        site.publisher.wait_for("it does not know the session any more")
        master.refuse = 0
        until("the change is taken", lambda: site.cursor() == 1)
        self.assertEqual(site.publisher.text().count("is left out"), 0)
        self.assertGreater(master.sessions, 1)

    def test_a_master_that_never_answers(self):
        site = self.site("--chattering", "0")
        with contextlib.closing(socket.socket(socket.AF_UNIX)) as master:
            master.bind(site.master)
            master.listen()
            site.start_publisher()
            until("it is told", lambda: "the master agent does not answer" in run(
                site_of_snmp.POLAIGA, "outputs", "--control", site.control, "--json").stdout)
            self.check_idle(site)

    def test_a_ledger_that_is_not_there_yet(self):
        site = self.started()
        site.publisher.end()
        path, site.ledger = site.ledger, site.file("later.db")
        site.heartbeat = 1
        site.start_publisher()
        site.publisher.wait_for("connected to the master agent")
        self.check_idle(site)
        self.assertEqual(site.get(ROOT + ".1.1.1.0"), [""])
        self.assertNotEqual(site.get(ROOT + ".1.1.5.0"), [""])
        self.assertFalse(site.publisher.has_ended())
        self.assertTrue(os.path.exists(path))
        # It appears.
        site.end_engine()
        site.start_engine()
        site.wait_until_connected()
        site.events(fan(1, True))
        self.wait_until_told(site)
        self.assertEqual(site.get(ROOT + ".1.1.5.0"), [""])
        self.assertEqual(site.picture(), site.truth())

    def test_two_publishers_at_once(self):
        site = self.started()
        first, site.publisher = site.publisher, None
        site.start_publisher()
        site.publisher.wait_for("another program answers for the same objects")
        self.assertFalse(site.publisher.has_ended())
        first.end()
        site.publisher.wait_for("connected to the master agent")
        site.events(fan(1, True))
        self.wait_until_told(site)

    def test_signals_and_options(self):
        site = self.started()
        for how in (signal.SIGTERM, signal.SIGINT):
            self.assertEqual(site.publisher.end(how), 0)
            site.start_publisher()
            site.wait_until_connected()
        for arguments in ([], ["--ledger", "x", "--agentx", "tcp:localhost:705"], ["--ledger", "x", "--agentx", "unix:"],
                          ["--ledger", "x", "--enterprise", "0"], ["--ledger", "x", "--heartbeat", "-1"], ["--what"]):
            environment = {name: value for name, value in os.environ.items() if not name.startswith("POLAIGA")}
            done = run(site_of_snmp.POLAIGA_SNMP, *arguments, status=2, env=environment)
            self.assertNotEqual(done.stderr, "", arguments)
        self.assertIn("polaiga-snmp ", run(site_of_snmp.POLAIGA_SNMP, "--version").stdout)


ASK = """
import socket, sys
engine = socket.socket(socket.AF_UNIX)
engine.connect(sys.argv[1])
engine.sendall(REQUEST.encode() + b"\\n")
answer = engine.recv(4096).decode()
assert answer.strip() == '{"ok":true}', answer
"""
FORGET = ASK.replace("REQUEST", """'{"do":"forget","publisher":"snmp"}'""")
SET_CURSOR = ASK.replace("REQUEST", """('{"do":"cursor","publisher":"snmp","through":' + sys.argv[2] + '}')""")

if __name__ == "__main__":
    site_of_snmp.main()
