"""What managers are told, as they get it: notifications_test.py POLAIGA POLAIGA_SNMP MIBS [TEST]..."""
import json
import os
import socket
import sys

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import site_of_snmp
from site_of_snmp import ROOT, SECRET, USER, Process, SiteTest, fan, free_port, run, until

DN = "sys/rack-unit-1/fan-module-1-1/fan-1"
INDEX = f"{len(DN)}." + ".".join(str(ord(letter)) for letter in DN)
ENGINE_ID = "8000000001020304"
RAISED, CLEARED, CHANGED, HEARTBEAT = 1, 2, 3, 4
# Columns of polaigaChangeTable, in the order in which they follow the first variables of a notification.
COLUMNS = (2, 3, 4, 5, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21)


def polaiga(site, *arguments):
    return run(site_of_snmp.POLAIGA, *arguments, env={**os.environ, "POLAIGA_LEDGER": site.ledger,
                                                      "POLAIGA_CONTROL": site.control}).stdout


class SecondManager(Process):
    def __init__(self, test):
        self.port = free_port(socket.SOCK_DGRAM)
        script = os.path.join(os.path.dirname(__file__), "../support/second_manager.py")
        super().__init__(sys.executable, "-B", script, str(self.port), ENGINE_ID)
        test.addCleanup(self.kill)
        self.wait_for("ready\n")

    def seen(self):
        """Types and variables of ours."""
        found = []
        for line in list(self.said):
            if line.startswith("{"):
                said = json.loads(line)
                kind = said["variables"].get("1.3.6.1.6.3.1.1.4.1.0", "")
                if kind.startswith(ROOT[1:]):
                    found.append((said["level"], int(kind.rsplit(".", 1)[1]), said["variables"]))
        return found


class NotificationsTest(SiteTest):
    def raise_change_clear(self, site):
        site.events(fan(1, True))
        until("the alarm is told", lambda: site.cursor() == 1)
        polaiga(site, "ack", DN + "/fault-F0395", "--comment", "spare part ordered")
        until("the acknowledgement is told", lambda: site.cursor() == 2)
        site.events(fan(1, False))
        until("all is told", lambda: site.cursor() == 3)

    def check(self, notifications):
        until("three notifications came", lambda: len(notifications()) >= 3)
        self.assertEqual([kind for kind, _ in notifications()], [RAISED, CHANGED, CLEARED])

    def test_each_variable(self):
        site = self.site()
        site.start()
        self.raise_change_clear(site)
        self.check(site.notifications)
        found = [variables for _, variables in site.notifications()]
        ledger_id = site.get(ROOT + ".1.1.1.0")[0].strip('"')
        # Number, change before, severity after, worst severity of the object.
        for number, previous, after, worst in ((1, 0, 4, 4), (2, 1, 4, 4), (3, 2, 1, 1)):
            variables = found[number - 1]
            names = [name for name in variables if not name.startswith(".")]
            self.assertEqual(names, ["1.1.0", "1.6.0", "1.7.0", f"5.1.6.{number}", f"4.1.2.{INDEX}",
                                     *(f"5.1.{column}.{number}" for column in COLUMNS)])
            self.assertEqual((variables["1.1.0"], variables["1.6.0"], variables["1.7.0"], variables[f"5.1.6.{number}"]),
                             (ledger_id, str(number), str(previous), str(after)))
            self.assertEqual(variables[f"4.1.2.{INDEX}"], str(worst))
        value = lambda number, column: found[number - 1][f"5.1.{column}.{number}"]
        self.assertEqual([value(number, 2) for number in (1, 2, 3)], ["1", "1", "1"])
        self.assertEqual([value(number, 3) for number in (1, 2, 3)], ["1", "8", "4"])  # raised, acknowledged, cleared
        self.assertEqual([value(number, 5) for number in (1, 2, 3)], ["1", "4", "4"])
        self.assertEqual(value(1, 7), DN + "/fault-F0395")
        self.assertEqual(value(1, 8), DN)
        self.assertEqual(value(1, 9), "395")
        self.assertEqual(value(1, 10), "fltEquipmentFanPerfThresholdNonCritical")
        self.assertEqual(value(1, 11), "FAN1_TACH1")
        self.assertTrue(value(1, 12).startswith("FAN1_TACH1: Fan speed for fan-1"))
        self.assertEqual(value(1, 13), "performance-problem")
        explained = json.loads(polaiga(site, "explain", DN + "/fault-F0395", "--json"))
        self.assertEqual(value(1, 14), "." + explained["raise"]["record"]["oid"])
        self.assertEqual(value(2, 14), ".0.0")
        self.assertEqual((value(1, 15), value(1, 16)), ("3", "532"))
        self.assertEqual(value(2, 21), "spare part ordered")
        self.assertNotEqual(value(2, 20), "")
        # The rows of the table say the same.
        for number in (1, 2, 3):
            for column in COLUMNS:
                row = site.get(f"{ROOT}.1.5.1.{column}.{number}")[0].strip('"')
                self.assertEqual(row, value(number, column), column)

    def test_informs(self):
        site = self.site()
        site.start(sink=f"informsink 127.0.0.1:{site.trap_port} public")
        self.raise_change_clear(site)
        self.check(site.notifications)

    def test_version_3_authenticated_and_encrypted(self):
        for inform in ("", "-Ci "):
            with self.subTest(inform=bool(inform)):
                site = self.site()
                known = "" if inform else f"-e 0x{ENGINE_ID} "
                site.start_snmpd(sink=f"trapsess {inform}-v3 {known}-u {USER} -l authPriv -a SHA -A {SECRET} -x AES "
                                      f"-X {SECRET} 127.0.0.1:{site.trap_port}")
                site.start_trapd(extra=f"createUser {known}{USER} SHA {SECRET} AES {SECRET}\nauthUser log {USER} priv")
                site.start_publisher()
                site.wait_until_connected()
                self.raise_change_clear(site)
                self.check(site.notifications)

    def test_a_manager_of_another_library(self):
        site = self.site()
        manager = SecondManager(self)
        site.start_snmpd(sink=f"""trap2sink 127.0.0.1:{manager.port} public
informsink 127.0.0.1:{manager.port} public
trapsess -v3 -e 0x{ENGINE_ID} -u {USER} -l authPriv -a SHA -A {SECRET} -x AES -X {SECRET} 127.0.0.1:{manager.port}""")
        site.start_publisher()
        site.wait_until_connected()
        self.raise_change_clear(site)
        # Each three times: as a trap, as an inform, and by version 3.
        until("all notifications came", lambda: len(manager.seen()) >= 9)
        for level, times in (("1", 2), ("3", 1)):
            seen = [(kind, variables) for at, kind, variables in manager.seen() if at == level]
            self.assertEqual(sorted(kind for kind, _ in seen), sorted([RAISED, CHANGED, CLEARED] * times))
        last = [variables for _, kind, variables in manager.seen() if kind == CLEARED]
        for variables in last:
            self.assertEqual(variables[ROOT[1:] + ".1.1.6.0"], "3")
            self.assertEqual(variables[ROOT[1:] + ".1.1.7.0"], "2")
            self.assertEqual(variables[ROOT[1:] + ".1.5.1.8.3"], DN)

    def test_silenced_alarms(self):
        site = self.site()
        site.start()
        polaiga(site, "maintain", DN, "--for", "1h", "--comment", "fan is being replaced")
        site.events(fan(1, True), fan(2, True))
        until("the other fan is told", lambda: len(site.told()) == 2)
        # The object's own change and that of the other fan; the alarm of the silenced one is in the tables alone.
        silenced, other = sorted(site.truth())
        self.assertEqual(site.told(), [1, other])
        self.assertEqual(site.get(f"{ROOT}.1.3.1.20.{silenced}", f"{ROOT}.1.5.1.22.{silenced}", f"{ROOT}.1.5.1.22.{other}",
                                  ROOT + ".1.2.7.0", f"{ROOT}.1.4.1.4.{INDEX}"), ["1", "1", "2", "1", "1"])
        # It is told when it is heard again, with the severity that it has.
        polaiga(site, "maintain", "--end", DN)
        until("it is told", lambda: any(variables.get(f"5.1.2.{variables.get('1.6.0')}") == str(silenced)
                                        for _, variables in site.notifications()))
        kind, variables = [(kind, one) for kind, one in site.notifications()
                           if one[f"5.1.2.{one['1.6.0']}"] == str(silenced)][0]
        self.assertEqual((kind, variables[f"5.1.6.{variables['1.6.0']}"]), (CHANGED, "4"))
        # An alarm that was told and is shelved then: its end is told.
        told_before = len(site.told())
        polaiga(site, "shelve", "--yes", "--under", "sys", "--for", "1h", "--comment", "silent")
        site.events(fan(1, False), fan(2, False))
        until("shelves and ends are told", lambda: len(site.told()) >= told_before + 4)
        self.assertEqual([kind for kind, _ in site.notifications()][-2:], [CLEARED, CLEARED])

    def test_a_fault_that_chatters(self):
        site = self.site("--chattering", "2/3s")
        site.start()
        for _ in range(20):
            site.events(fan(1, True), fan(1, False))
        # Managers are told that it chatters, take it for active, and hear when it has settled.
        until("it is told to have settled", lambda: any(
            variables[f"5.1.3.{variables['1.6.0']}"] == "17" for _, variables in site.notifications()))
        kinds = [(kind, variables[f"5.1.3.{variables['1.6.0']}"]) for kind, variables in site.notifications()]
        self.assertEqual(kinds[-1], (CLEARED, "17"))
        self.assertEqual(kinds[-2], (CHANGED, "16"))
        self.assertLess(len(kinds), 12)
        # Each tells the one before it, also where changes are left out, and the table has the same rows.
        numbers = site.told()
        self.assertEqual([int(one["1.7.0"]) for _, one in site.notifications()], [0, *numbers[:-1]])
        self.assertEqual([int(number) for number in site.walk(ROOT + ".1.5.1.3")], numbers)
        self.assertEqual(site.picture(), {})

    def test_heartbeats(self):
        site = self.site()
        site.heartbeat = 1
        site.start()
        site.events(fan(1, True))
        until("a heartbeat tells the alarm", lambda: any(kind == HEARTBEAT and variables["2.1.0"] == "1"
                                                         for kind, variables in site.notifications()))
        beat = [variables for kind, variables in site.notifications() if kind == HEARTBEAT][-1]
        self.assertEqual({name: value for name, value in beat.items() if name != "1.1.0" and not name.startswith(".")},
                         {"1.4.0": "1", "1.2.0": "1", "1.3.0": "1", "2.1.0": "1"})


if __name__ == "__main__":
    site_of_snmp.main()
