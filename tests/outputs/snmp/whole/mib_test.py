"""POLAIGA-MIB and what the program answers are the same: mib_test.py POLAIGA POLAIGA_SNMP MIBS [TEST]..."""
import os
import re
import sys

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import site_of_snmp
from site_of_snmp import ROOT, SiteTest, fan, run, until


class MibTest(SiteTest):
    def test_smilint_is_silent(self):
        site = self.site()
        # It ends with status 0 whatever it found, so nothing may be said.
        environment = {**os.environ, "SMIPATH": site.file("mibs")}
        done = run("smilint", "-l", "6", os.path.join(site_of_snmp.MIBS, "POLAIGA-MIB.txt"), env=environment)
        self.assertEqual((done.stdout, done.stderr), ("", ""))
        # It finds what is wrong: the same module with one name that is not there.
        with open(os.path.join(site_of_snmp.MIBS, "POLAIGA-MIB.txt"), encoding="ascii") as file:
            wrong = site.write("POLAIGA-MIB.txt", file.read().replace("INDEX       { polaigaAlarmNumber }",
                                                                      "INDEX       { polaigaAlarmNumbers }"))
        done = run("smilint", "-l", "6", wrong, env=environment)
        self.assertIn("polaigaAlarmNumbers", done.stdout + done.stderr)

    def names(self):
        with open(os.path.join(site_of_snmp.MIBS, "POLAIGA-MIB.txt"), encoding="ascii") as file:
            return re.findall(r"^(polaiga\w+) +(?:OBJECT-TYPE|NOTIFICATION-TYPE|OBJECT IDENTIFIER|MODULE-IDENTITY|"
                              r"OBJECT-GROUP|NOTIFICATION-GROUP|MODULE-COMPLIANCE)", file.read(), re.M)

    def test_snmptranslate_knows_every_name(self):
        site = self.site()
        names = self.names()
        self.assertGreater(len(names), 80)
        numbers = run("snmptranslate", "-On", *("POLAIGA-MIB::" + name for name in names),
                      env=site.environment).stdout.split()
        self.assertEqual(len(numbers), len(names))
        back = run("snmptranslate", "-OS", *numbers, env=site.environment).stdout.split()
        self.assertEqual(back, ["POLAIGA-MIB::" + name for name in names])
        for number in numbers:
            self.assertTrue(number.startswith(".1.3.6.1.4.1.32473"), number)

    def test_all_that_is_there_has_a_name_and_all_that_has_a_name_is_there(self):
        site = self.site()
        site.start()
        site.events(fan(1, True))
        until("the alarm is there", lambda: site.picture())
        with open(os.path.join(site_of_snmp.MIBS, "POLAIGA-MIB.txt"), encoding="ascii") as file:
            readable = re.findall(r"^(polaiga\w+) OBJECT-TYPE\n    SYNTAX .*\n    MAX-ACCESS  read-only", file.read(), re.M)
        walked = site.ask("snmpbulkwalk", ROOT, output="-OsQU").splitlines()
        found = list(dict.fromkeys(re.match(r"\w+", line)[0] for line in walked))
        self.assertEqual(found, readable)
        # Values have the types and ranges of the module: with it, the tools complain of those that have not.
        self.assertNotIn("Wrong Type", site.ask("snmpbulkwalk", ROOT, output="-Os"))
        self.assertIn("minor", site.ask("snmpbulkwalk", ROOT + ".1.3", output="-Os"))

    def test_the_configuration_that_is_shipped(self):
        """As it says: the "#" is taken out, and names and addresses are put in."""
        site = self.site()
        path = os.path.join(site_of_snmp.MIBS, "../../../packaging/snmp/polaiga-snmpd.conf")
        with open(path, encoding="ascii") as file:
            lines = re.sub(r"^#(?=[a-z]+User|ro|inform|trap)", "", file.read(), flags=re.M)
        shipped = lines.replace("/var/agentx/master", "unix:" + site.master).replace("root polaiga-snmp", "root root") \
            .replace("192.0.2.0/24", "127.0.0.1").replace("192.0.2.7", f"127.0.0.1:{site.trap_port}")
        config = site.write("shipped.conf", f"agentaddress udp:127.0.0.1:{site.port}\n{shipped}")
        site.snmpd = site_of_snmp.Process("/usr/sbin/snmpd", "-f", "-Le", "-C", "-c", config, "-p", site.file("snmpd.pid"),
                                          "-I", "-smux,mteTrigger,mteTriggerConf", env=site.environment)
        until("snmpd listens", lambda: os.path.exists(site.master) or site.snmpd.has_ended())
        site.start_trapd(extra='createUser watcher SHA "a long secret" AES "another long secret"\nauthUser log watcher priv')
        site.start_publisher()
        site.wait_until_connected()
        for complaint in ("Error", "Unknown token", "Warning: "):
            self.assertNotIn(complaint, site.snmpd.text())
        site.events(fan(1, True))
        # Each of the three lines tells it.
        until("it is told three times", lambda: site.told() == [1, 1, 1])
        self.assertEqual(site.picture(), site.truth())
        version3 = ("-v3", "-u", "watcher", "-l", "authPriv", "-a", "SHA", "-A", "a long secret", "-x", "AES", "-X",
                    "another long secret")
        self.assertEqual(site.walk(ROOT + ".1.3.1.7", options=version3), {"1": "4"})
        self.assertEqual(site.walk(".1.3.6.1.2.1.25", options=version3), {})

    def test_another_enterprise_number(self):
        site = self.site()
        site.start_snmpd()
        site.start_publisher("--enterprise", "4294967295")
        site.wait_until_connected()
        self.assertEqual(len(site.walk(".1.3.6.1.4.1.4294967295.1.1.1")), 5)
        self.assertEqual(site.walk(ROOT + ".1.1"), {})


if __name__ == "__main__":
    site_of_snmp.main()
