#!/usr/bin/env python3
"""polaiga-collector while the broker takes no messages, since it has too little memory: it empties the inboxes all the same,
which is what helps the broker. blocked_test.py PROGRAMS"""
import json
import sys
import tempfile
import unittest

import pika
from collected import Collected, change
from processes import until

PROGRAMS = ""
CONTROLLERS = 1000
TIMES = 120  # so often each tells its change: the acknowledgements are more than the sockets on the way can hold
LONG = 180


class BlockedTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="polaiga-collector-")
        self.addCleanup(directory.cleanup)
        self.all = Collected(directory.name, PROGRAMS)
        self.addCleanup(self.all.close)
        self.all.begin().end()  # it makes the queues
        self.node = self.all.broker.nodes[0]

    def fill(self):
        connection = pika.BlockingConnection(pika.ConnectionParameters("127.0.0.1", self.node.amqp_port))
        channel = connection.channel()
        names = [f"full-{number}" for number in range(CONTROLLERS)]
        messages = [(f"polaiga.v1.lab.{name}.change", json.dumps(change(1, name))) for name in names]
        messages.insert(CONTROLLERS // 2, ("polaiga.v1.lab.bad.change", "{"))
        for _ in range(TIMES):
            for key, message in messages:
                channel.basic_publish("polaiga.fleet", key, message, pika.BasicProperties(delivery_mode=2))
            messages = [one for one in messages if one[1] != "{"]
        connection.close()
        until("all messages wait", lambda: self.waiting("messages_ready") == TIMES * CONTROLLERS + 1)

    def waiting(self, what):
        rows = [row.split("\t") for row in self.node.control("list_queues", "name", what).splitlines()]
        return sum(int(count) for name, count in rows if name.startswith("polaiga.inbox."))

    def test_the_inboxes_are_emptied_while_the_broker_takes_no_messages(self):
        self.fill()
        self.node.control("set_vm_memory_high_watermark", "0.0001")
        until("the broker has too little memory",
              lambda: "memory" in self.node.control("alarms", program="rabbitmq-diagnostics").lower())
        collector = self.all.start()
        collector.wait_for("the broker takes no messages", LONG)
        until("only the dead letter is left in the inboxes", lambda: self.waiting("messages") == 1, LONG)
        self.assertEqual(self.all.number("select count(*) from change"), CONTROLLERS)
        self.assertEqual(self.waiting("messages_unacknowledged"), 1)
        self.assertNotIn("trying again soon", collector.text())
        self.node.control("set_vm_memory_high_watermark", "0.4")
        collector.wait_for("the broker takes messages again")
        headers, body = self.all.take_dead_letter()
        self.assertEqual((headers["routing-key"], body), ("polaiga.v1.lab.bad.change", b"{"))
        until("the inboxes are empty", lambda: self.waiting("messages") == 0)
        self.all.send("change", change(2, "full-7"), "full-7")
        self.all.wait_for_ack(2, "full-7")
        self.assertEqual(collector.end(), 0)


if __name__ == "__main__":
    PROGRAMS = sys.argv.pop(1)
    unittest.main()
