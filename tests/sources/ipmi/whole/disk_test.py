"""A full disk under the state file: disk_test.py POLAIGA POLAIGA_IPMI [TEST]...
It needs root, to mount a small disk where this process and its children alone see it."""
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import system
from board import LOW
from simulator import until
from small_disk import FULL, SmallDisk, in_own_mounts
from system import SystemTest

SLOW_FAN = "sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395"


class DiskTest(SystemTest):
    def small_disk(self, server):
        disk = SmallDisk(server.file("disk"))
        self.addCleanup(disk.close)
        server.state = disk.file("state")
        return disk

    def test_a_disk_that_is_full_for_a_while(self):
        server = self.system()
        disk = self.small_disk(server)
        server.follow("--poll", "1")
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.wait_for({SLOW_FAN})
        disk.fill()
        # So much that the file grows; what it had before would have room.
        for name, sensor in server.simulator.sensors.items():
            if not sensor.tells_presence and name != "FAN1_TACH1":
                server.simulator.set(name, sensor.ladders[0][0][0])
        until("it is told", lambda: FULL in server.adapter.text() or server.adapter.has_ended())
        self.assertFalse(server.adapter.has_ended(), server.adapter.text())
        # Killed now, it knows no more than what it could write down.
        server.restart_adapter("--poll", "1")
        server.simulator.heal_all()
        disk.make_room()
        server.wait_for_truth()
        self.assertEqual(server.told_twice(), [])

    def test_a_disk_that_is_full_at_the_first_start(self):
        server = self.system()
        disk = self.small_disk(server)
        disk.fill()
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.start_adapter("--poll", "1")
        server.adapter.wait_for(FULL)
        self.assertFalse(server.adapter.has_ended(), server.adapter.text())
        self.assertEqual(server.faults(), set())
        disk.make_room()
        server.wait_for({SLOW_FAN})
        self.assertEqual(server.adapter.end(), 0)


if __name__ == "__main__":
    in_own_mounts()
    system.main()
