"""What managers read: tables_test.py POLAIGA POLAIGA_SNMP MIBS [TEST]..."""
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import site_of_snmp
from site_of_snmp import ROOT, SiteTest, fan, run, until

ALARM_MIB, ITU_ALARM_MIB = ".1.3.6.1.2.1.118", ".1.3.6.1.2.1.121"
NOTHING = ("No Such Instance currently exists at this OID", "No Such Object available on this agent at this OID")


def temperature(offset, state):
    return {"entity": "front_panel", "sensor": "FP_TEMP", "offset": offset, "state": state}


class TablesTest(SiteTest):
    def started(self, *options):
        site = self.site(*options)
        site.start()
        return site

    def wait_for_truth(self, site):
        until("the tables have all", lambda: int(site.get(ROOT + ".1.1.2.0")[0]) == site.last_change())
        self.assertEqual(site.picture(), site.truth())

    def test_active_alarms_and_their_objects(self):
        site = self.started()
        for number in range(1, 6):
            site.events(fan(number, True))
        site.events(temperature(105, 1), temperature(106, 5))
        self.wait_for_truth(site)
        truth = site.truth()
        self.assertEqual(site.get(*(f"{ROOT}.1.2.{count}.0" for count in range(1, 8))),
                         [str(len(truth)), *(str(list(truth.values()).count(severity)) for severity in (6, 5, 4, 3, 2)), "0"])
        objects = site.walk(ROOT + ".1.4.1.3")
        self.assertEqual(sum(int(count) for count in objects.values()), len(truth))
        self.assertEqual(site.get(ROOT + ".1.2.8.0"), [str(len(objects))])
        # The worst severity of each object is that of its alarms.
        worst = {}
        for number, dn in site.walk(ROOT + ".1.3.1.4").items():
            index = f"{len(dn)}." + ".".join(str(ord(letter)) for letter in dn)
            worst[index] = max(worst.get(index, 0), truth[int(number)])
        self.assertEqual({index: int(value) for index, value in site.walk(ROOT + ".1.4.1.2").items()}, worst)
        for number in range(1, 6):
            site.events(fan(number, False))
        self.wait_for_truth(site)
        # The alarm that goes on at another level keeps its row, and has another severity.
        self.assertEqual(len(site.walk(ROOT + ".1.4.1.2")), 1)

    def test_ordered_and_whole(self):
        site = self.started()
        for number in range(1, 6):
            site.events(fan(number, True), fan(number, False), fan(number, True))
        self.wait_for_truth(site)
        for subtree in (ROOT, ALARM_MIB, ITU_ALARM_MIB):
            lines = [line.split(" = ")[0] for line in site.ask("snmpbulkwalk", "-Cr100", subtree).splitlines()]
            oids = [tuple(int(arc) for arc in line[1:].split(".")) for line in lines]
            self.assertEqual(oids, sorted(set(oids)))
            one_by_one = [line.split(" = ")[0] for line in site.ask("snmpwalk", subtree).splitlines()]
            self.assertEqual(lines, one_by_one)
        changes = [int(number) for number in site.walk(ROOT + ".1.5.1.2")]
        self.assertEqual(changes, list(range(1, site.last_change() + 1)))

    def test_the_standard_tables(self):
        site = self.started()
        site.events(fan(1, True), fan(2, True), fan(2, False))
        self.wait_for_truth(site)
        active = site.walk(ALARM_MIB + ".1.2.2.1.13")
        self.assertEqual(len(active), 1)
        (index, pointer), = active.items()
        date = [int(arc) for arc in index.split(".")]
        # A list without a name, eleven bytes of a date in UTC, and the number of the raise.
        self.assertEqual((date[:2], date[10:]), ([0, 11], [43, 0, 0, 1]))
        self.assertEqual(pointer, ALARM_MIB + ".1.1.2.1.3.0.395.4")
        # The pointers lead somewhere: to the notification, to the model, and to what ITU-ALARM-MIB says of both.
        self.assertEqual(site.get(pointer, ALARM_MIB + ".1.1.2.1.5.0.395.4", ALARM_MIB + ".1.1.2.1.4.0.395.4"),
                         [ROOT + ".0.1", "4", "6"])
        model = site.get(ALARM_MIB + ".1.1.2.1.7.0.395.4")[0]
        self.assertEqual(model, ITU_ALARM_MIB + ".1.1.1.1.2.0.395.5")
        self.assertEqual(site.get(ITU_ALARM_MIB + ".1.1.1.1.5.0.395.5"), [pointer])
        specific = site.get(f"{ALARM_MIB}.1.2.2.1.14.{index}")[0]
        self.assertEqual(site.get(specific), ["2"])
        resource = site.get(f"{ALARM_MIB}.1.2.2.1.10.{index}")[0]
        self.assertEqual(site.get(resource), ["4"])
        log = site.get(f"{ALARM_MIB}.1.2.2.1.12.{index}")[0]
        self.assertEqual((log, site.get(log)), (ROOT + ".1.5.1.2.1", ["1"]))
        # The alarm that is over is in the table of those, under the number of its raise.
        (index, log_index), = site.walk(ALARM_MIB + ".1.3.2.1.9").items()
        self.assertEqual((index.rsplit(".", 1)[1], log_index), ("2", "0"))  # there is no log
        self.assertEqual(site.get(f"{ALARM_MIB}.1.3.2.1.10.{index}", f"{ALARM_MIB}.1.3.2.1.7.{index}"),
                         [ALARM_MIB + ".1.1.2.1.3.0.395.1", ROOT + ".0.2"])
        self.assertEqual(site.walk(ITU_ALARM_MIB + ".1.2.2.1"), {"1.0": "0", "2.0": "0", "3.0": "0", "4.0": "1", "5.0": "0"})

    def test_states_of_operators(self):
        site = self.started()
        site.events(fan(1, True))
        self.wait_for_truth(site)
        environment = {**os.environ, "POLAIGA_LEDGER": site.ledger, "POLAIGA_CONTROL": site.control}
        state = lambda: site.get(ROOT + ".1.3.1.19.1")[0]
        self.assertEqual(state(), "1")
        for command, number in ((["ack"], "2"), (["close", "--yes", "--comment", "x"], "3"),
                                (["shelve", "--for", "1h", "--comment", "é" * 200], "4"), (["unshelve"], "3"),
                                (["unack"], "5")):
            run(site_of_snmp.POLAIGA, command[0], "sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395", *command[1:],
                env=environment)
            until(f"the state after {command[0]} is {number}", lambda: state() == number)
        # The long comment was cut between two characters.
        shelved = next(number for number, kind in site.walk(ROOT + ".1.5.1.3").items() if kind == "12")
        comment = site.get(f"{ROOT}.1.5.1.21.{shelved}")[0].strip('"')
        self.assertIn("...", comment)
        until("the engine knows that it was cut", lambda: '"cut":1' in run(
            site_of_snmp.POLAIGA, "outputs", "--control", site.control, "--json").stdout.replace(" ", ""))

    def test_hostile_questions(self):
        site = self.started()
        site.events(fan(1, True))
        self.wait_for_truth(site)
        long = ".".join(["4294967295"] * 100)
        for oid in (ROOT + ".1.3.1.7.0", ROOT + ".1.3.1.7.1.1", ROOT + ".1.3.1.7." + long, ROOT + ".1.3.1.99.1",
                    ROOT + ".1.3.1.1.1", ROOT + ".1.5.1.2.4294967295", ROOT + ".1.4.1.2.4294967295.1", ROOT + ".1.1.1.1",
                    ROOT + ".1.1.6.0", ROOT + ".9", ALARM_MIB + ".1.2.2.1.4." + long, ROOT):
            answer = self.raw(site, "snmpget", oid)
            self.assertTrue(any(nothing in answer for nothing in NOTHING), (oid, answer))
        # What comes after them is what comes after them.
        for oid, after in ((ROOT + ".1.3.1.7.0", ROOT + ".1.3.1.7.1"), (ROOT + ".1.3.1.7.1." + long, ROOT + ".1.3.1.8.1"),
                           (ROOT + ".1.5.1.2.4294967295", ROOT + ".1.5.1.3.1"), (ROOT + ".1.1", ROOT + ".1.1.1.0"),
                           (ROOT + ".1.1.1.0.7", ROOT + ".1.1.2.0")):
            self.assertEqual(self.raw(site, "snmpgetnext", oid).split(" = ")[0], after, oid)
        # Very many repetitions, of very many variables.
        everything = [f"{ROOT}.1.3.1.{column}" for column in range(2, 22)]
        answer = self.raw(site, "snmpbulkget", "-Cn0", "-Cr100000", *everything)
        self.assertGreaterEqual(len(answer.splitlines()), 20)
        # Nothing can be written.
        refused = run("snmpset", "-v2c", "-c", "private", "-On", f"127.0.0.1:{site.port}", ALARM_MIB + ".1.3.1.0", "u", "7",
                      env={**site.environment, "MIBS": ""}, status=2)
        self.assertIn("notWritable", refused.stderr)
        self.assertFalse(site.publisher.has_ended())
        self.assertEqual(site.picture(), site.truth())

    @staticmethod
    def raw(site, command, *arguments):
        return run(command, "-v2c", "-c", "public", "-OnQUb", f"127.0.0.1:{site.port}", *arguments,
                   env={**site.environment, "MIBS": ""}).stdout

    def test_nothing_of_the_system_is_read_or_written(self):
        site = self.site()
        site.start_snmpd()
        trace = site.file("trace")
        home = site.file("home")
        os.mkdir(home)
        site.publisher = site_of_snmp.Process(
            "strace", "-D", "-f", "-e", "trace=file", "-o", trace, site_of_snmp.POLAIGA_SNMP, "--ledger", site.ledger,
            "--control", site.control, "--agentx", "unix:" + site.master,
            env={"PATH": os.environ["PATH"], "HOME": home, "MIBS": "ALL"})
        site.wait_until_connected()
        site.events(fan(1, True))
        until("the alarm is there", lambda: site.picture())
        until("it is told", lambda: site.cursor() == 1)
        self.assertEqual(site.publisher.end(), 0)
        with open(trace, encoding="utf-8") as file:
            text = file.read()
        self.assertIn(site.ledger, text)
        for never in ("/etc/snmp", "/usr/share/snmp", "/var/lib/snmp", ".snmp", "snmp.conf", "mibs"):
            self.assertNotIn(never, text)
        self.assertEqual(os.listdir(home), [])


if __name__ == "__main__":
    site_of_snmp.main()
