#!/usr/bin/env python3
"""A fleet of a hundred controllers, in which everything is killed once while changes come: afterwards the database has each
change once, and the alarms that the controllers have. fleet_test.py PROGRAMS"""
import signal
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "support"))
sys.dont_write_bytecode = True
from processes import until
from whole_fleet import Fleet

PROGRAMS = ""
CONTROLLERS = 100
RATE = 100


class FleetTest(unittest.TestCase):
    def test_everything_is_killed_once(self):
        with tempfile.TemporaryDirectory(prefix="polaiga-fleet-") as place, Fleet(place, PROGRAMS) as fleet:
            simulation = fleet.simulate("--controllers", CONTROLLERS, "--sites", 4, "--rate", RATE, "--seed", 7, "--wait", 90)

            def acked():
                return simulation.figures().get("acked", 0)

            def goes_on(what):
                before = acked()
                until(f"changes are acknowledged after {what}", lambda: acked() > before + 3 * RATE)

            goes_on("the beginning")
            fleet.collectors.pop(0).kill()
            goes_on("a collector was killed")
            fleet.add_collector()
            leader = fleet.broker.leader_of("polaiga.inbox.0")
            leader.end(signal.SIGKILL)
            goes_on("the leader of an inbox was killed")
            leader.start()
            fleet.broker.wait()
            fleet.database.primary.end(signal.SIGKILL)
            fleet.database.promote()
            goes_on("the database was killed and its standby took its place")
            figures = simulation.stop()
            self.assertEqual(figures["status"], 0, simulation.process.text()[-2000:])
            self.assertEqual(figures["made"], figures["acked"])
            self.assertEqual(fleet.differences(simulation.record), [])
            self.assertEqual(fleet.number("select count(*) from controller"), CONTROLLERS)
            self.assertEqual(fleet.number("select count(*) from change"), figures["made"])
            print(f"{figures['made']} changes, {figures['reconnects']} connections lost, {figures['replays']} replays, "
                  f"99 of 100 within {figures['p99_ms']} ms")


if __name__ == "__main__":
    PROGRAMS = sys.argv.pop(1)
    unittest.main()
