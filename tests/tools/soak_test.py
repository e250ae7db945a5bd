#!/usr/bin/env python3
"""The soak's comparison finds nothing in a sound ledger, and finds each kind of harm: soak_test.py SOURCE PROGRAM"""

import contextlib
import json
import os
import sqlite3
import subprocess
import sys
import tempfile
import unittest

SOURCE, PROGRAM = sys.argv.pop(1), sys.argv.pop(1)
sys.path.insert(0, f"{SOURCE}/tools/soak")
sys.dont_write_bytecode = True

import books  # noqa: E402
import comparison  # noqa: E402
import disturbances  # noqa: E402
import engine  # noqa: E402
import events  # noqa: E402
import ledger_copy  # noqa: E402

DAY = """\
{"time":"2025-03-12T00:00:00Z","entity":"fan","sensor":"FAN1_TACH1","offset":3,"state":1}
{"time":"2025-03-12T00:00:00Z","entity":"fan","sensor":"FAN1_TACH1","offset":3,"state":0}
{"time":"2025-03-12T00:00:00Z","entity":"nm","sensor":"NM","offset":204,"state":1}
"""
FAN = "sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395"
NODE_MANAGER = "sys/rack-unit-1/node-manager-1/fault-F1304"

# The fan's fault is raised, the node manager's too, the fan's is cleared and raised again.
IDS = ("c1-0-0", "c2-0-2", "c1-1-1", "c1-2-0")


class SoakTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.directory = tempfile.TemporaryDirectory()
        path = cls.directory.name
        with open(f"{path}/day.jsonl", "w", encoding="utf-8") as file:
            file.write(DAY)
        cls.day = events.Day(f"{path}/day.jsonl")
        os.mkdir(f"{path}/disk")
        cls.place = engine.Place(path, f"{path}/disk", PROGRAM, f"{SOURCE}/engine/tables")
        tables = disturbances.Tables(cls.place)
        tables.written = 7
        tables.write()
        lines = "".join(cls.day.line(event_id) + "\n" for event_id in IDS)
        done = cls.place.run("run", "--ledger", cls.place.ledger, "--tables", cls.place.tables, input=lines)
        answers = [json.loads(line) for line in done.stdout.splitlines()]
        assert answers == [{"seq": number} for number in (1, 2, 3, 4)], done
        replay = cls.place.run("replay", "--json", "--tables", cls.place.first_tables, "-", input=lines)
        *cls.replayed, cls.summary = (json.loads(line) for line in replay.stdout.splitlines())

    @classmethod
    def tearDownClass(cls):
        cls.directory.cleanup()

    def setUp(self):
        self.copy = ledger_copy.LedgerCopy(":memory:")
        self.books = books.Books(say=lambda *_, **__: None)
        for number, event_id in enumerate(IDS, 1):
            client, count, _ = events.parts_of(event_id)
            self.assertEqual(self.books.begin_event(client, 6), count)
            self.books.acknowledge(client, count, number, 8)

    def take(self):
        with contextlib.closing(ledger_copy.read_only(self.place.ledger)) as ledger:
            self.assertEqual(self.copy.take_new(ledger), [])

    def compare(self):
        complaints, numbers = comparison.check_events(self.copy.inputs(), self.day)
        complaints += comparison.check_acknowledgements(numbers, self.books.acknowledged())
        complaints += comparison.check_tables(self.copy.inputs(), self.books.sent_event)
        return complaints + comparison.check_records(self.copy.inputs(), self.copy.changes(), iter(self.replayed))

    def after(self, *harms):
        """What is found after this was done to the ledger's copy."""
        self.take()
        for harm in harms:
            self.assertEqual(self.copy.db.execute(harm).rowcount, 1, harm)
        return self.compare()

    def test_a_sound_ledger(self):
        self.assertEqual(self.after(), [])
        self.assertEqual(self.copy.last("input", "seq"), 4)
        self.assertEqual(self.copy.last("change", "number"), 4)

    def test_a_dropped_event(self):
        self.assertIn("event 2 of client 1 was acknowledged as 4, but is not there",
                      self.after("DELETE FROM input WHERE seq = 4"))
        self.assertIn("the replay has an input 4 that the ledger has not", self.compare())

    def test_a_dropped_event_in_the_midst(self):
        self.assertIn("the ledger has input 3 where input 2 belongs", self.after("DELETE FROM input WHERE seq = 2"))

    def test_a_doubled_event(self):
        self.assertIn("event c1-0-0 is there twice, as input 1 and as input 4",
                      self.after("UPDATE input SET event_id = 'c1-0-0' WHERE seq = 4"))

    def test_a_foreign_event(self):
        self.assertIn("input 4: nobody sent the event {'id': 'x', 'entity': 'fan', 'sensor': 'FAN1_TACH1', "
                      "'instance': 1, 'offset': 3, 'state': 1}",
                      self.after("UPDATE input SET event_id = 'x' WHERE seq = 4"))

    def test_a_changed_event(self):
        self.assertEqual(self.after("UPDATE input SET event_state = 5 WHERE seq = 1"),
                         ["input 1: state is 5, but 1 was sent"])

    def test_another_number_than_was_acknowledged(self):
        self.books.acknowledge(2, 0, 9, 8)
        self.assertEqual(self.books.complaints, ["event 0 of client 2 was acknowledged as 2 and again as 9"])
        self.assertEqual(self.after(), ["event 0 of client 2 was acknowledged as 9, but is 2"])

    def test_a_changed_outcome(self):
        self.assertEqual(self.after("UPDATE input SET change = 'refreshed' WHERE seq = 1"),
                         ["input 1: change is 'refreshed', but 'raised' in the replay"])

    def test_a_changed_record(self):
        self.assertEqual(self.after("UPDATE input SET cause_id = 7 WHERE seq = 1"),
                         ["input 1: cause_id is 7, but 381 in the replay"])

    def test_a_missing_record(self):
        self.assertEqual(self.after("UPDATE input SET change = NULL WHERE seq = 3"),
                         ["input 3 has no record, unlike in the replay"])

    def test_a_missing_change(self):
        self.assertEqual(self.after("DELETE FROM change WHERE number = 4"), ["change 4 of input 4 is missing"])

    def test_a_gap_in_the_changes(self):
        self.assertEqual(self.after("UPDATE change SET number = 5 WHERE number = 4"), ["after change 3 comes change 5"])

    def test_a_further_change(self):
        self.assertEqual(self.after("INSERT INTO change SELECT 5, seq, change, fault_dn, fault, alarm, before, after, "
                                    "other, shown_seq, reporters FROM change WHERE number = 4"),
                         ["change 5 is not in the replay"])

    def test_a_changed_change(self):
        self.assertEqual(self.after("UPDATE change SET after = 'major' WHERE number = 1"),
                         ["change 1: after is 'major', but 'minor' in the replay"])

    def test_tables_that_were_not_in_force(self):
        self.books.sent_event("c2-0-2").oldest_tables = 8
        self.assertEqual(self.after(),
                         ["input 2 was handled under tables 7, but from its sending to its acknowledgement tables 8 to "
                          "8 were in force"])

    def active(self):
        done = self.place.run("active", "--json", "--ledger", self.place.ledger)
        return [json.loads(line) for line in done.stdout.splitlines()]

    def reports(self, fault_dn):
        return json.loads(self.place.run("explain", "--json", fault_dn, "--ledger", self.place.ledger).stdout)["reports"]

    def test_active_faults(self):
        active = self.active()
        self.assertEqual([fault["fault_dn"] for fault in active], [NODE_MANAGER, FAN])
        self.assertEqual(comparison.check_active(active, self.reports, self.summary), [])

    def test_an_active_fault_is_missing(self):
        self.assertEqual(comparison.check_active(self.active()[:1], self.reports, self.summary),
                         [f"{FAN} is active in the replay, but not in the ledger"])

    def test_an_active_fault_too_many(self):
        summary = {"active": self.summary["active"][:1]}
        self.assertEqual(comparison.check_active(self.active(), self.reports, summary),
                         [f"{FAN} is active, but not in the replay"])

    def test_a_changed_active_fault(self):
        active = self.active()
        active[1]["count"] = 2
        active[1]["alarm"] = "0123-9"
        active[1]["record"]["descr"] = "text"
        self.assertEqual(comparison.check_active(active, self.reports, self.summary),
                         [f"{FAN}: count is 2, but 1 in the replay", f"{FAN} belongs to alarm 0123-9, but to 4 in the replay",
                          f"the record of {FAN}: descr is 'text', but 'FAN1_TACH1: Fan speed for fan-1 is lower non "
                          "critical : Check the air intake to the server ' in the replay"])

    def test_a_changed_reporter(self):
        def reports(fault_dn):
            return [{**report, "last_seq": 3} if fault_dn == FAN else report for report in self.reports(fault_dn)]

        self.assertEqual(comparison.check_active(self.active(), reports, self.summary),
                         [f"{FAN} is reported by [('fan', 'FAN1_TACH1', 1, 4, 3, 1)], but by "
                          "[('fan', 'FAN1_TACH1', 1, 4, 4, 1)] in the replay"])

    def test_the_ledger_changes_what_was_copied(self):
        self.take()
        self.copy.db.execute("UPDATE input SET code = 1 WHERE seq = 3")
        self.copy.db.execute("DELETE FROM change WHERE number = 2")
        with contextlib.closing(ledger_copy.read_only(self.place.ledger)) as ledger:
            complaints = self.copy.check_against(ledger)
        self.assertEqual([complaint.split(" was ")[0] for complaint in complaints], ["input 3", "change 2"])

    def test_the_ledger_forgot_too_early(self):
        with contextlib.closing(sqlite3.connect(f"{self.directory.name}/forgetful.db")) as forgetful:
            with contextlib.closing(ledger_copy.read_only(self.place.ledger)) as ledger:
                ledger.backup(forgetful)
            forgetful.execute("DELETE FROM event WHERE seq = 2")
            forgetful.execute("DELETE FROM change WHERE number = 2")
            self.assertEqual(self.copy.take_new(forgetful), ["after input 1 the ledger goes on with input 3",
                                                               "after change 1 the ledger goes on with change 3"])

    def test_without_root_it_says_what_it_needs(self):
        done = subprocess.run(["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", sys.executable, "-B",
                               f"{SOURCE}/tools/soak", PROGRAM] if os.geteuid() == 0 else
                              [sys.executable, "-B", f"{SOURCE}/tools/soak", PROGRAM],
                              capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stderr, "tools/soak needs root, to mount a small tmpfs that can be full. "
                                      "Start it as root: sudo make soak\n")


unittest.main(verbosity=1)
