#!/usr/bin/env python3
"""polaiga-collector while others are killed, taken away or put back: afterwards each change is in the database once.
recovery_test.py PROGRAMS"""
import random
import re
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


class FleetTestCase(unittest.TestCase):
    NODES = 1

    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="polaiga-collector-")
        self.addCleanup(directory.cleanup)
        self.fleet = Fleet(directory.name, PROGRAMS, nodes=self.NODES, with_standby=False, collectors=0)
        self.addCleanup(self.fleet.close)

    def collect(self, *more, node=0):
        """A collector, that is connected to this node of the broker, and knows no other."""
        fleet = self.fleet
        words = [fleet.programs / "polaiga-collector", "--amqp", fleet.broker.amqp_urls()[node], "--user", "guest", "--password-file",
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

    def inboxes_of(self, collector):
        """How many of them a collector reads, as the database has it."""
        return self.fleet.number(f"select coalesce(sum(queues), 0) from collector where name like '%:{collector.pid}'")

    def shares(self):
        """How many inboxes each running collector reads, as the database has it."""
        rows = dict(row.split("|") for row in self.fleet.query("select name, queues from collector"))
        running = [f":{one.pid}" for one in self.fleet.collectors if not one.has_ended()]
        return sorted((int(queues) for name, queues in rows.items() if name.endswith(tuple(running))), reverse=True)


class RecoveryTest(FleetTestCase):
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
        self.assertIn("This has gone on for ", collector.text())
        self.assertGreaterEqual(int(re.search(r"messages are taken again, after (\d+) s", collector.text())[1]), 10)

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

    def test_a_controller_whose_subscriptions_the_broker_has_lost_hears_again_that_its_changes_were_taken(self):
        self.collect()
        simulation = self.simulate()
        # When a node is lost, each other one deletes by name the queues that were there. One that is slow may delete a queue
        # that its controller has made anew meanwhile: the controller stays connected, and nothing comes to it any more.
        node = self.fleet.broker.nodes[0]
        queues = [line for line in node.control("list_queues", "name").splitlines() if line.startswith("mqtt-subscription-")]
        self.assertEqual(len(queues), CONTROLLERS)
        names = ", ".join(f'<<"{queue}">>' for queue in queues[:5])
        node.control("eval", f"Names = [rabbit_misc:r(<<\"/\">>, queue, Name) || Name <- [{names}]], "
                     "rabbit_misc:execute_mnesia_transaction(fun () -> [begin mnesia:delete({rabbit_queue, Name}), "
                     "rabbit_binding:remove_transient_for_destination(Name) end || Name <- Names] end), ok.")
        self.goes_on(simulation, "the subscriptions were lost")
        self.must_be_all_there(simulation)

    def test_a_controller_to_which_the_broker_has_lost_the_way_hears_again_that_its_changes_were_taken(self):
        self.collect()
        simulation = self.simulate()
        # The queues are there, and so are their bindings, but not where the topic exchange looks for them.
        found = self.fleet.broker.nodes[0].control(
            "eval", "Ways = [Way || Way <- ets:tab2list(rabbit_topic_trie_binding), "
            "element(3, element(4, element(2, Way))) == queue], "
            "[mnesia:dirty_delete_object(rabbit_topic_trie_binding, Way) || Way <- Ways], length(Ways).")
        self.assertGreaterEqual(int(found), CONTROLLERS)
        self.goes_on(simulation, "the ways to the subscriptions were lost")
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


class NodesTest(FleetTestCase):
    NODES = 3

    def test_inboxes_of_a_collector_that_is_lost_with_its_node_are_read_by_another_while_the_node_is_away(self):
        stays, is_lost = self.collect(node=0), self.collect(node=2)
        until("two collectors share eight inboxes", lambda: self.shares() == [4, 4])
        simulation = self.simulate()
        self.fleet.broker.nodes[2].end(signal.SIGKILL)
        until("the one that is left reads all of them", lambda: self.inboxes_of(stays) == 8)
        self.fleet.broker.start()
        is_lost.wait_for("trying again soon")
        until("they share them again", lambda: self.shares() == [4, 4])
        self.must_be_all_there(simulation)


if __name__ == "__main__":
    PROGRAMS = sys.argv.pop(1)
    unittest.main()
