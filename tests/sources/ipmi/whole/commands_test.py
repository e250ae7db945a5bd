"""What polaiga-ipmi does for a moment, and from files: commands_test.py POLAIGA POLAIGA_IPMI [TEST]..."""
import json
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import system
from board import LOW, UP
from simulator import ADMINISTRATOR
from system import SystemTest, run

SLOW_FAN = "sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395"
SLOWER_FAN = "sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0396"
LOST_INPUT = "sys/rack-unit-1/psu-1/fault-F0374"
HOT_PANEL = "sys/rack-unit-1/fault-F0154"


def replayed(events):
    """The faults that are active after these lines, and the result in whole."""
    printed = run(system.POLAIGA, "replay", "-", "--json", "--log", "off", text=events).stdout
    summary = json.loads(printed.splitlines()[-1])
    return {fault["fault_dn"] for fault in summary["active"]}, summary


class CommandsTest(SystemTest):
    def test_once(self):
        server = self.system()
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.once()
        self.assertEqual(server.faults(), {SLOW_FAN})
        # Both ways of a sensor between two looks are in the log.
        server.simulator.set_value("FAN1_TACH1", LOW[1])
        server.simulator.heal("FAN1_TACH1")
        server.simulator.set_value("FP_TEMP_SENSOR", UP[0])
        server.once()
        self.assertEqual(server.faults(), {HOT_PANEL})
        self.assertEqual(server.ask(f"SELECT count(*) FROM faults WHERE fault_dn = '{SLOWER_FAN}'"), [1])
        # When nothing has happened, nothing is sent.
        before = server.ids()
        server.once()
        self.assertEqual(server.ids(), before)

    def test_once_without_an_engine(self):
        server = self.system()
        server.engine.end()
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.once(status=1)
        server.start_engine()
        server.once()
        self.assertEqual(server.faults(), {SLOW_FAN})

    def test_without_history_only_the_present_is_told(self):
        server = self.system()
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.simulator.heal("FAN1_TACH1")
        server.simulator.set_value("FP_TEMP_SENSOR", UP[0])
        server.once()
        self.assertEqual(server.faults(), {HOT_PANEL})
        self.assertEqual(server.ask(f"SELECT count(*) FROM faults WHERE fault_dn = '{SLOW_FAN}'"), [0])

    def test_with_history_all_is_told(self):
        server = self.system()
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.simulator.heal("FAN1_TACH1")
        server.simulator.set_value("FP_TEMP_SENSOR", UP[0])
        server.once("--history")
        self.assertEqual(server.faults(), {HOT_PANEL})
        self.assertEqual(server.ask(f"SELECT count(*) FROM faults WHERE fault_dn = '{SLOW_FAN}'"), [1])

    def test_print(self):
        server = self.system()
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        printed = run(system.POLAIGA_IPMI, *server.controller_options(), "--state", server.state, "--once", "--print").stdout
        events = [json.loads(line) for line in printed.splitlines()]
        self.assertEqual([(event["entity"], event["sensor"], event["offset"]) for event in events], [("fan", "FAN1_TACH1", 3)])
        self.assertEqual(replayed(printed)[0], {SLOW_FAN})
        self.assertEqual(server.faults(), set())

    def test_check(self):
        server = self.system()
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        listed = run(system.POLAIGA_IPMI, *server.controller_options(), "--check").stdout
        lines = {name: [line for line in listed.splitlines() if name in line.split()] for name in server.simulator.sensors}
        # Each sensor has the line of the mapping that takes it; one has none.
        for name, found in lines.items():
            with self.subTest(name=name):
                self.assertRegex("".join(found), r"\tno row$" if name == "VENDOR_STATE" else r"\tline [0-9]+, ")
        self.assertRegex("\n".join(lines["FAN1_TACH1"]), r"(?m)\bfan FAN1_TACH1 1\b.* would send offset/state 3/4$")
        # It sends nothing, and leaves nothing.
        self.assertFalse(os.path.exists(server.state))
        self.assertEqual(server.ids(), [])

    def test_it_changes_nothing_in_the_controller(self):
        server = self.system()
        server.user = ADMINISTRATOR  # who might change something
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        before = (server.simulator.ipmitool("sel", "list"), server.simulator.ipmitool("sdr", "info"),
                  server.simulator.ipmitool("sensor", "list"), server.simulator.ipmitool("mc", "getenables"))
        server.once("--history")
        run(system.POLAIGA_IPMI, *server.controller_options(), "--check")
        after = (server.simulator.ipmitool("sel", "list"), server.simulator.ipmitool("sdr", "info"),
                 server.simulator.ipmitool("sensor", "list"), server.simulator.ipmitool("mc", "getenables"))
        self.assertEqual(after, before)

    def test_check_of_saved_sensors(self):
        server = self.system()
        server.simulator.ipmitool("sdr", "dump", server.file("sdr.bin"))
        server.simulator.kill()
        listed = run(system.POLAIGA_IPMI, "--check", "--sdr", server.file("sdr.bin")).stdout
        for name in server.simulator.sensors:
            with self.subTest(name=name):
                self.assertRegex(listed, rf"(?m)^{name}\t.*\t" + ("no row$" if name == "VENDOR_STATE" else "line [0-9]+, "))
        self.assertRegex(listed, r"(?m)^FAN1_TACH1\t.*\bfan FAN1_TACH1 1\tits state cannot be read now$")

    def test_options_that_do_not_go_together(self):
        together = "--sel and --sdr are read in place of a controller"
        for options, words in (
                (("--sel", "F"), "--sel needs --print"),
                (("--sel", "F", "--print", "--target", "192.0.2.7"), together),
                (("--sel", "F", "--print", "--device", "/dev/ipmi0"), together),
                (("--sdr", "F", "--check", "--target", "192.0.2.7"), together),
                (("--sdr", "F"), "--sdr needs --sel or --check"),
                (("--sdr", "F", "--print"), "--sdr needs --sel or --check"),
                (("--target", "192.0.2.7"), "with --socket"),
                (("--target", "192.0.2.7", "--state", "F"), "with --socket"),
                (("--target", "192.0.2.7", "--socket", "F"), "with --state"),
                (("--target", "192.0.2.7", "--socket", "F", "--once"), "with --state"),
                (("--target", "192.0.2.7", "--device", "/dev/ipmi0", "--check"), "--target excludes --device"),
                (("--target", "192.0.2.7", "--check", "--print"), "--check excludes --print"),
                (("--target", "192.0.2.7", "--check", "--cipher", "4"), "--cipher"),
                (("--target", "192.0.2.7", "--check", "--workaround", "magic"), "there is no workaround 'magic'"),
                (("--target", "192.0.2.7", "--check", "--poll", "0"), "--poll")):
            with self.subTest(options=options):
                done = run(system.POLAIGA_IPMI, *options, status=2)
                self.assertEqual(done.stdout, "")
                self.assertIn(words, done.stderr)

    def test_a_log_and_sensors_that_ipmitool_saved(self):
        server = self.system()
        server.simulator.set_value("FAN1_TACH1", LOW[1])
        server.simulator.set_value("FP_TEMP_SENSOR", UP[0])
        server.simulator.heal("FP_TEMP_SENSOR")
        server.simulator.set_bits("PSU1_STATUS", {0, 3})
        server.simulator.ipmitool("sel", "writeraw", server.file("sel.raw"))
        server.simulator.ipmitool("sdr", "dump", server.file("sdr.bin"))
        printed = run(system.POLAIGA_IPMI, "--sel", server.file("sel.raw"), "--sdr", server.file("sdr.bin"), "--print").stdout
        active, _ = replayed(printed)
        self.assertEqual(active, {SLOWER_FAN, LOST_INPUT})
        self.assertIn(HOT_PANEL.rsplit("-", 1)[1], run(system.POLAIGA, "replay", "-", text=printed).stdout)

    def test_a_log_that_freeipmi_saved(self):
        server = self.system()
        server.simulator.set_value("FAN1_TACH1", LOW[1])
        server.simulator.set_bits("PSU1_STATUS", {0, 3})
        server.simulator.ipmitool("sdr", "dump", server.file("sdr.bin"))
        done = run("ipmi-sel", "-h", server.simulator.target, "-u", ADMINISTRATOR, "-P", "-D", "LAN_2_0", "-I", "3",
                   "-W", "opensesspriv", "--output-event-state", "--hex-dump", "--sdr-cache-directory", server.place,
                   "--quiet-cache", text=system.PASSWORD + "\n")
        saved = server.write("sel.txt", done.stdout)
        printed = run(system.POLAIGA_IPMI, "--sel", saved, "--sdr", server.file("sdr.bin"), "--print").stdout
        self.assertEqual(replayed(printed)[0], {SLOWER_FAN, LOST_INPUT})

    def test_files_that_are_not_what_they_should_be(self):
        server = self.system()
        for text in ("", "no log\n", "0x04 0x09\n"):
            path = server.write("strange", text)
            with self.subTest(text=text):
                done = run(system.POLAIGA_IPMI, "--sel", path, "--print", status=2)
                self.assertEqual(done.stdout, "")
                self.assertIn(path, done.stderr)
        run(system.POLAIGA_IPMI, "--sel", server.file("not-there"), "--print", status=2)


if __name__ == "__main__":
    system.main()
