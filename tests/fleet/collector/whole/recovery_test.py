#!/usr/bin/env python3
"""polaiga-collector while others are killed, taken away or put back: afterwards each change is in the database once.
recovery_test.py PROGRAMS"""
import random
import shutil
import signal
import sys
import tempfile
import time
import unittest

import collected  # noqa: F401: it makes the modules below known
from fleet import POSTGRESQL
from processes import Process, run, until
from whole_fleet import Fleet

PROGRAMS = ""
KILLS = 20
CONTROLLERS = 20
RATE = 60


class RecoveryTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="polaiga-collector-")
        self.addCleanup(directory.cleanup)
        self.fleet = Fleet(directory.name, PROGRAMS, nodes=1, with_standby=False, collectors=0)
        self.addCleanup(self.fleet.close)

    def collect(self, *more):
        """A collector, that is connected."""
        fleet = self.fleet
        words = [fleet.programs / "polaiga-collector", "--amqp", fleet.broker.amqp_urls()[0], "--user", "guest", "--password-file",
                 fleet.password_file(), "--database", fleet.database.url("polaiga_collector"), *more]
        collector = Process(*map(str, words), start_new_session=True)
        fleet.collectors.append(collector)
        collector.wait_for("connected")
        return collector

    def simulate(self, *more):
        simulation = self.fleet.simulate("--controllers", CONTROLLERS, "--sites", 2, "--rate", RATE, "--seed", 11, "--wait", 120,
                                         "--heartbeat", 5, *more)
        self.fleet.others.append(simulation.process)
        until("changes are acknowledged", lambda: simulation.figures().get("acked", 0) > RATE)
        return simulation

    def must_be_all_there(self, simulation):
        figures = simulation.stop()
        self.assertEqual(figures["status"], 0, simulation.process.text()[-2000:])
        self.assertEqual(figures["made"], figures["acked"])
        self.assertEqual(self.fleet.differences(simulation.record), [])
        print(f"{self.id().rsplit('.', 1)[1]}: {figures['made']} changes, {figures['replays']} replays")

    def goes_on(self, simulation, what):
        before = simulation.figures()["acked"]
        until(f"changes are acknowledged after {what}", lambda: simulation.figures()["acked"] > before + RATE)

    def shares(self):
        """How many inboxes each running collector reads, as the database has it."""
        rows = dict(row.split("|") for row in self.fleet.query("select name, queues from collector"))
        running = [f":{one.pid}" for one in self.fleet.collectors if not one.has_ended()]
        return sorted((int(queues) for name, queues in rows.items() if name.endswith(tuple(running))), reverse=True)

    def test_three_collectors_share_the_inboxes(self):
        for _ in range(3):
            self.collect()
        until("three collectors share eight inboxes", lambda: self.shares() == [3, 3, 2])
        self.fleet.collectors[0].kill()
        until("the two that are left share them", lambda: self.shares() == [4, 4], 15)
        self.collect()
        until("three share them again", lambda: self.shares() == [3, 3, 2], 20)
        self.fleet.collectors[1].end()
        until("two share them again", lambda: self.shares() == [4, 4], 15)

    def test_a_collector_is_killed_amid_changes_many_times(self):
        self.collect()
        simulation = self.simulate()
        dice = random.Random(3)
        for _ in range(KILLS):
            time.sleep(dice.random())  # a moment that nobody has chosen
            self.fleet.collectors.pop().kill()
            self.collect()
        self.goes_on(simulation, "the last kill")
        self.must_be_all_there(simulation)

    def test_the_database_is_killed_and_comes_back(self):
        collector = self.collect()
        simulation = self.simulate()
        self.fleet.database.primary.end(signal.SIGKILL)
        collector.wait_for("trying again soon")
        memory = collector.memory()
        time.sleep(10)  # so long it is away
        self.assertLess(collector.memory(), memory + 20_000_000)
        self.fleet.database.primary.start()
        self.fleet.database.primary.wait()
        self.goes_on(simulation, "the database came back")
        self.must_be_all_there(simulation)
        self.assertFalse(collector.has_ended())

    def test_the_broker_comes_back_with_nothing(self):
        collector = self.collect()
        simulation = self.simulate()
        node = self.fleet.broker.nodes[0]
        node.end(signal.SIGKILL)
        collector.wait_for("trying again soon")
        shutil.rmtree(node.place / "mnesia")
        self.fleet.broker.start()
        self.goes_on(simulation, "the broker came back")
        self.must_be_all_there(simulation)
        self.assertFalse(collector.has_ended())

    def test_the_database_is_put_back_to_an_earlier_copy(self):
        self.collect()
        self.collect()
        simulation = self.simulate()
        database = self.fleet.database
        place = ["-h", "127.0.0.1", "-p", str(database.primary.port), "-U", "postgres"]
        copy = self.fleet.place / "copy"
        run(POSTGRESQL / "pg_dump", *place, "-F", "custom", "-f", copy, "polaiga")
        self.goes_on(simulation, "the copy was made")
        run(POSTGRESQL / "dropdb", *place, "--force", "polaiga")
        run(POSTGRESQL / "createdb", *place, "polaiga")
        run(POSTGRESQL / "pg_restore", *place, "--exit-on-error", "--single-transaction", "-d", "polaiga", copy)
        self.goes_on(simulation, "the copy was put back")
        self.must_be_all_there(simulation)

    def silent(self, state):
        return self.fleet.number("select count(*) from alarm where ledger_no is null and name = 'fltFleetControllerSilent' "
                                 f"and ended {'=' if state == 'active' else '<>'} ''")

    def test_silent_controllers_are_alarms_until_they_are_heard_again(self):
        self.collect("--silent-after", "10s")
        simulation = self.simulate()
        self.assertEqual(self.silent("active"), 0)
        simulation.process.kill()
        until("each controller is an alarm", lambda: self.silent("active") == CONTROLLERS, 40)
        simulation = self.simulate()
        until("no controller is silent", lambda: self.silent("active") == 0, 40)
        self.assertEqual(self.silent("over"), CONTROLLERS)
        # While nobody collects, nobody is heard; that is no silence of the controllers.
        self.fleet.collectors.pop().kill()
        time.sleep(15)
        self.collect("--silent-after", "10s")
        self.goes_on(simulation, "the collectors were away")
        time.sleep(12)
        self.assertEqual(self.silent("active"), 0)
        self.assertEqual(self.silent("over"), CONTROLLERS)
        simulation.stop()


if __name__ == "__main__":
    PROGRAMS = sys.argv.pop(1)
    unittest.main()
