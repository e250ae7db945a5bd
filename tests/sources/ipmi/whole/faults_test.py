"""What goes wrong with a server becomes alarms, and ends: faults_test.py POLAIGA POLAIGA_IPMI [TEST]..."""
import os
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import system
from board import LOW, UP
from simulator import until
from system import SystemTest

SLOW_FAN = "sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395"
HOT_PANEL = "sys/rack-unit-1/fault-F0154"


class FaultsTest(SystemTest):
    def test_a_slow_fan_raises_its_alarm_and_clears_it(self):
        server = self.system()
        server.follow()
        began = time.monotonic()
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.wait_for({SLOW_FAN})
        print(f"alarm after {time.monotonic() - began:.1f} s", flush=True)
        server.simulator.set_value("FAN1_TACH1", LOW[1])
        server.wait_for({"sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0396"})
        server.simulator.heal("FAN1_TACH1")
        server.wait_for(set())
        self.assertEqual(server.adapter.end(), 0)

    def test_every_sensor_up_and_down_leaves_nothing(self):
        server = self.system()
        server.follow("--poll", "1")
        # What was told of a unit before it went stays, so those that tell of its presence come first.
        names = sorted(server.simulator.sensors, key=lambda name: not server.simulator.sensors[name].tells_presence)
        longest = max(len(ladder) for sensor in server.simulator.sensors.values() for ladder in sensor.ladders)
        ways = max(len(sensor.ladders) for sensor in server.simulator.sensors.values())
        # All sensors at once, the rungs of each ladder one after the other.
        seen = set()
        for way in range(ways):
            told, expected = set(), set()
            for rung in range(longest):
                for name in names:
                    ladders = server.simulator.sensors[name].ladders
                    if way < len(ladders) and rung < len(ladders[way]):
                        server.simulator.set(name, ladders[way][rung][0])
                server.wait_for_truth()
                told |= server.faults()
                expected |= server.simulator.faults()
            self.assertEqual(told, expected)
            seen |= told
            server.simulator.heal_all()
            server.wait_for(set())
        # Those of units that were missing meanwhile come now.
        for name in names:
            sensor = server.simulator.sensors[name]
            if sensor.part_of and not sensor.tells_presence:
                for to, faults in (rung for ladder in sensor.ladders for rung in ladder):
                    if not faults <= seen:
                        server.simulator.set(name, to)
                        server.wait_for(faults)
                        seen |= faults
                server.simulator.heal(name)
        server.wait_for(set())
        self.assertEqual(seen, {fault for name in names for ladder in server.simulator.sensors[name].ladders
                                for _, faults in ladder for fault in faults})
        self.assertEqual(server.told_twice(), [])
        ids = server.ids()
        self.assertTrue(all(id.startswith(("sel:", "now:")) and len(id) <= 64 for id in ids), ids)

    def test_a_missed_deassertion_ends_by_the_readings(self):
        server = self.system()
        server.follow()
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.simulator.set_bits("PSU1_STATUS", {0, 3})
        server.wait_for_truth()
        entries = server.simulator.log_entries()
        server.simulator.heal("FAN1_TACH1", event=False)
        server.simulator.heal("PSU1_STATUS", event=False)
        # The log does not tell of it. The sensors are read once a minute.
        server.wait_for(set(), patience=180)
        self.assertEqual(server.simulator.log_entries(), entries)

    def test_what_is_wrong_at_the_start_is_told(self):
        server = self.system()
        server.simulator.set_value("FP_TEMP_SENSOR", UP[0], event=False)
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.start_adapter()
        server.wait_for_truth()
        self.assertEqual(server.faults(), {HOT_PANEL, SLOW_FAN})

    def test_records_from_outside(self):
        server = self.system()
        server.follow("--poll", "1")
        # A sensor whose state cannot be read: a record alone raises and ends its alarm.
        bios = server.simulator.sensors["BIOSPOST_TIMEOUT"]
        server.simulator.add_event(bios.number, bios.type, 0x03, (0x01, 0xFF, 0xFF))
        server.wait_for(next(faults for _, faults in bios.ladders[0]))
        server.simulator.add_event(bios.number, bios.type, 0x83, (0x01, 0xFF, 0xFF))
        server.wait_for(set())
        # Records of other types, of a sensor without an SDR, and of one that no row takes, harm nothing.
        server.simulator.add_entry(bytes([0, 0, 0xC0, *range(13)]))
        server.simulator.add_entry(bytes([0, 0, 0xE0, *range(13)]))
        for bits in ({0}, {1}):
            server.simulator.add_event(0xEE, 0xC1, 0x01, (0x50, 1, 2))
            server.simulator.set_bits("VENDOR_STATE", bits)
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.wait_for_truth()
        # Of each of the two sensors without a row it is told once, although each has several records.
        untaken = [line for line in server.adapter.said if "no row of the mapping takes the records" in line]
        self.assertEqual(len(untaken), 2, untaken)
        self.assertEqual(sum("VENDOR_STATE" in line for line in untaken), 1, untaken)

    def test_a_time_that_is_not_set_is_not_sent(self):
        server = self.system()
        server.follow("--poll", "1")
        fan = server.simulator.sensors["FAN1_TACH1"]
        server.simulator.set_value("FAN1_TACH1", LOW[0], event=False)
        server.simulator.add_event(fan.number, fan.type, 0x01, (0x50, 0x38, 0x40), time=2047)
        server.wait_for({SLOW_FAN})
        self.assertEqual(server.ask("SELECT time FROM inputs WHERE time IS NOT NULL"), [])

    def test_a_missing_supply_holds_back_what_else_it_tells(self):
        server = self.system()
        server.follow("--poll", "1")
        missing = "sys/rack-unit-1/psu-1/fault-F0378"
        server.simulator.set_bits("PSU1_STATUS", ())
        server.wait_for({missing})
        server.simulator.set_value("PSU1_TEMP", UP[0])
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.wait_for({missing, SLOW_FAN})
        server.simulator.heal("PSU1_STATUS")
        server.wait_for({"sys/rack-unit-1/psu-1/fault-F0381", SLOW_FAN})

    def test_two_sensors_of_one_fault_do_not_end_each_others(self):
        server = self.system()
        server.follow("--poll", "1")
        hot = "sys/rack-unit-1/board/fault-F0410"
        server.simulator.set_value("RISER1_INLET_TMP", UP[0])
        server.simulator.set_value("RISER2_INLET_TMP", UP[0])
        until("two report it", lambda: server.ask("SELECT count(*) FROM report") == [2])
        server.simulator.heal("RISER1_INLET_TMP")
        until("one reports it", lambda: server.ask("SELECT count(*) FROM report") == [1])
        self.assertEqual(server.faults(), {hot})
        server.simulator.heal("RISER2_INLET_TMP")
        server.wait_for(set())


if __name__ == "__main__":
    system.main()
