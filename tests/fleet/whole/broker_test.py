#!/usr/bin/env python3
"""What is given to who sets up the broker of a fleet (packaging/fleet), in a real broker: it takes the definitions, and each
controller may write and read what is its own and nothing else. broker_test.py SOURCE"""
import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SOURCE = Path(__file__).resolve().parents[3]
sys.path.insert(0, str(SOURCE / "tests/support"))
sys.dont_write_bytecode = True
from fleet import Broker
from processes import PATIENCE, Process, run, until

GIVEN = SOURCE / "packaging/fleet"
BELOW = "polaiga/v1/hall-1/rack-7/"


def lines_of_configuration(place):
    """Those of rabbitmq.conf, without what differs from site to site: ports, names of nodes and places of files."""
    text = (GIVEN / "rabbitmq.conf").read_text()
    text = re.sub(r"^(mqtt\.)?listeners\.(tcp|ssl).*\n|^cluster_formation.*\n", "", text, flags=re.MULTILINE)
    text = text.replace("4GB", "50MB").replace("/etc/rabbitmq/definitions.json", str(GIVEN / "definitions.json"))
    text = text.replace("/etc/rabbitmq/fleet-ca.crt", f"{place}/ca.crt").replace("/etc/rabbitmq/", f"{place}/")
    assert "/etc" not in text, text
    return ["listeners.tcp = none", "mqtt.listeners.tcp = none", *text.splitlines()]


class BrokerTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.directory = tempfile.TemporaryDirectory(prefix="polaiga-broker-")
        cls.place = Path(cls.directory.name)
        cls.addClassCleanup(cls.directory.cleanup)
        for what in ("authority",), ("broker", "broker", "localhost", "127.0.0.1"), ("collector", "polaiga-collector"), \
                ("controller", "hall-1", "rack-7"), ("controller", "hall-1", "rack-8"):
            run(GIVEN / "certificates", cls.place, *what)
        plugins = re.findall(r"rabbitmq_\w+", (GIVEN / "enabled_plugins").read_text())
        cls.broker = Broker(cls.place / "broker", lines=lines_of_configuration(cls.place), plugins=plugins, is_encrypted=True)
        cls.addClassCleanup(cls.broker.close)
        node = cls.broker.nodes[0]
        for controller in ("rack-7", "rack-8"):
            subprocess.run([GIVEN / "controller-user", "hall-1", controller], check=True, cwd=cls.place, timeout=3 * PATIENCE,
                           env={**node.environment(), "PATH": f"/usr/lib/rabbitmq/bin:{os.environ['PATH']}"})

    def answer(self, program, user, client, *arguments):
        """What a client says until the broker has answered, or has closed the connection and the client tries anew."""
        command = ["stdbuf", "-oL", program, "-d", "-h", "localhost", "-p", self.broker.nodes[0].mqtt_port, "-V", "311", "-i", client, "--cafile",
                   self.place / "ca.crt", "--cert", self.place / f"{user}.crt", "--key", self.place / f"{user}.key", "-q", "1",
                   *arguments]
        with Process(*map(str, command)) as process:
            until("the broker answers", lambda: process.has_ended() or re.search("PUBACK|Subscribed", process.text()) or
                  process.text().count("sending CONNECT") > 1)
            return process.text()

    def publish(self, topic, user="hall-1.rack-7"):
        """Whether the broker took the message."""
        said = self.answer("mosquitto_pub", user, "polaiga-" + user.replace(".", "-"), "-t", topic, "-m", "{}")
        self.assertIn("CONNACK (0)", said)
        return "PUBACK" in said

    def messages(self):
        """How many messages wait in all inboxes."""
        said = self.broker.nodes[0].control("list_queues", "name", "messages")
        return sum(int(count) for count in re.findall(r"polaiga\.inbox\.\d+\t(\d+)", said))

    def test_definitions(self):
        node = self.broker.nodes[0]
        said = node.control("list_queues", "name", "type")
        self.assertEqual(sorted(re.findall(r"(polaiga\.[a-z.0-9]+)\tquorum", said)),
                         sorted(["polaiga.collectors", "polaiga.dead", *(f"polaiga.inbox.{i}" for i in range(8))]))
        self.assertIn("polaiga.fleet\tx-consistent-hash", node.control("list_exchanges", "name", "type"))
        bound = node.control("list_bindings", "source_name", "destination_name", "routing_key")
        self.assertEqual(sorted(re.findall(r"amq\.topic\tpolaiga\.fleet\t(.*)", bound)),
                         [f"polaiga.v1.*.*.{kind}" for kind in ("acted", "change", "replayed", "status")])
        self.assertEqual(len(re.findall(r"polaiga\.fleet\tpolaiga\.inbox\.\d+\t1", bound)), 8)

    def test_a_controller_writes_its_own_messages_and_no_others(self):
        before = self.messages()
        for kind in ("change", "status", "replayed", "acted"):
            self.assertTrue(self.publish(BELOW + kind), kind)
        until("the four messages are in the inboxes", lambda: self.messages() == before + 4)
        for topic in (BELOW + "ack", BELOW + "replay", BELOW + "action", "polaiga/v1/hall-1/rack-8/change",
                      "polaiga/v1/hall-2/rack-7/change", "polaiga/v1/hall-1/rack-77/change", "polaiga/v2/hall-1/rack-7/change",
                      "polaiga.v1.hall-1.rack-8.change", "something"):
            self.assertFalse(self.publish(topic), topic)
        self.assertTrue(self.publish("polaiga/v1/hall-1/rack-8/change", "hall-1.rack-8"))
        until("only that of the other controller came, too", lambda: self.messages() == before + 5)

    def test_a_controller_reads_what_is_meant_for_it_and_nothing_else(self):
        for topic, is_allowed in ((BELOW + "ack", True), (BELOW + "replay", True), (BELOW + "action", True), (BELOW + "change", False),
                                  ("polaiga/v1/hall-1/rack-8/action", False), ("polaiga/v1/hall-1/+/ack", False), ("#", False)):
            said = self.answer("mosquitto_sub", "hall-1.rack-7", "polaiga-hall-1-rack-7", "-c", "-t", topic)
            self.assertIn("CONNACK (0)", said)
            self.assertEqual("Subscribed (mid: 1): 1\n" in said, is_allowed, (topic, said))

    def test_nobody_comes_in_without_a_certificate_or_under_the_name_of_another(self):
        port = str(self.broker.nodes[0].mqtt_port)
        without = subprocess.run(["mosquitto_pub", "-h", "localhost", "-p", port, "-V", "311", "--cafile", self.place / "ca.crt", "-u",
                                  "hall-1.rack-7", "-P", "", "-t", BELOW + "change", "-m", "{}", "-q", "1"], timeout=PATIENCE)
        self.assertNotEqual(without.returncode, 0)
        self.assertFalse(self.publish("polaiga/v1/hall-1/rack-8/change", "hall-1.rack-7"))

    def test_names_that_could_be_rights_of_others_are_refused(self):
        for site, controller in (("hall.1", "x"), (".*", "x"), ("hall-1", ""), ("hall-1", "a b")):
            for command in ([GIVEN / "controller-user", site, controller],
                            [GIVEN / "certificates", self.place, "controller", site, controller]):
                done = subprocess.run(command, capture_output=True, text=True)
                self.assertEqual(done.returncode, 2, command)
                self.assertIn("is not allowed; a name has letters, digits, '_' and '-'", done.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
