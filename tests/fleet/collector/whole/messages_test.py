#!/usr/bin/env python3
"""What polaiga-collector does with single messages: they are in the database once and acknowledged, or dead letters with a
reason. messages_test.py PROGRAMS"""
import json
import struct
import sys
import tempfile
import threading
import time
import unittest

from collected import LEDGER, Collected, change
from mqtt import PUBLISH, packet, text
from processes import until

PROGRAMS = ""
FLOOD_SECONDS = 10


class MessagesTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        directory = tempfile.TemporaryDirectory(prefix="polaiga-collector-")
        cls.addClassCleanup(directory.cleanup)
        cls.all = Collected(directory.name, PROGRAMS)
        cls.addClassCleanup(cls.all.close)
        cls.collector = cls.all.begin()

    def test_a_change_is_there_once_and_is_acknowledged(self):
        self.all.send("change", change(1))
        self.all.wait_for_ack(1)
        self.assertEqual(self.all.told("ack")[-1], {"ledger_id": LEDGER, "through": 1})
        self.assertEqual(self.all.numbers(), [1])
        before = len(self.all.told("ack"))
        self.all.send("change", change(1))
        until("the repeat is acknowledged", lambda: len(self.all.told("ack")) > before)
        self.assertEqual(self.all.told("ack")[-1], {"ledger_id": LEDGER, "through": 1})
        self.assertEqual(self.all.numbers(), [1])
        self.assertEqual(self.all.query("select fault_dn, severity from alarm join controller using (controller_id) "
                                        "where controller.name = 'rack-1' and ended = ''"), ["sys/fan-1/fault-F0395|4"])

    def test_what_is_missing_is_asked_for_and_taken_in_order(self):
        self.all.send("change", change(1, "gaps"), "gaps")
        self.all.wait_for_ack(1, "gaps")
        # The list of a new ledger goes before changes that are missing.
        request = until("the list is asked for", lambda: self.all.told("replay", "gaps"))[0]
        self.assertEqual((request["ledger_id"], request["alarms"], request["after"]), (LEDGER, True, 0))
        self.all.send("replayed", {"ledger_id": LEDGER, "replay": request["id"], "number": 1, "after": 0, "through": 1, "last": True,
                                   "alarms": [], "site": "lab", "controller": "gaps", "version": "1.0.0"}, "gaps")
        until("the list is taken", lambda: self.all.query(
            "select is_list_wanted from ledger join controller using (controller_id) where name = 'gaps'") == ["f"])
        self.all.send("change", change(4, "gaps"), "gaps")
        request = until("the changes are asked for",
                        lambda: [one for one in self.all.told("replay", "gaps") if "alarms" not in one])[0]
        self.assertEqual((request["ledger_id"], request["first"]), (LEDGER, 2))
        self.assertEqual(self.all.numbers("gaps"), [1])
        for number in 2, 3, 4:
            self.all.send("replayed", {**change(number, "gaps"), "replay": request["id"]}, "gaps")
        self.all.wait_for_ack(4, "gaps")
        self.assertEqual(self.all.numbers("gaps"), [1, 2, 3, 4])

    def test_dead_letters_say_why_and_what_follows_is_taken(self):
        cases = [
            ("change", b"{", "The message is not JSON in UTF-8"),
            ("change", b'"\xff"', "The message is not JSON in UTF-8"),
            ("change", b"\0", "The message is not JSON in UTF-8"),
            ("change", change(1, "another"), "The member 'controller' is 'another', but the routing key names 'bad'"),
            ("change", b" " * 65537, "The message has 65537 bytes; at most 65536 are allowed"),
            ("status", b"[]", "The message is not a JSON object"),
        ]
        for number, (kind, message, reason) in enumerate(cases, 1):
            with self.subTest(reason=reason):
                self.all.send(kind, message, "bad")
                self.must_be_dead(reason, f"polaiga.v1.lab.bad.{kind}", message)
                self.all.send("change", change(number, "bad"), "bad")
                self.all.wait_for_ack(number, "bad")
        self.assertEqual(self.all.numbers("bad"), list(range(1, len(cases) + 1)))

    def must_be_dead(self, reason, routing_key, message):
        headers, body = self.all.take_dead_letter()
        self.assertEqual(headers["reason"], reason)
        self.assertEqual(headers["routing-key"], routing_key)
        self.assertTrue(headers["collector"].endswith(f":{self.collector.pid}"), headers)
        self.assertRegex(headers["at"], r"^20\d\d-\d\d-\d\dT\d\d:\d\d:\d\dZ$")
        self.assertEqual(body, message if isinstance(message, bytes) else json.dumps(message).encode())

    def test_dead_letters_wait_until_their_queue_is_there_again(self):
        channel = self.all.channel()
        channel.queue_delete("polaiga.dead")
        channel.connection.close()
        self.all.send("status", b"{", "nowhere")
        self.collector.wait_for("there is no queue polaiga.dead, which is made anew")
        until("the queue is made anew", lambda: "polaiga.dead" in self.all.broker.nodes[0].control("list_queues", "name"))
        self.must_be_dead("The message is not JSON in UTF-8", "polaiga.v1.lab.nowhere.status", b"{")

    def test_a_gap_takes_the_place_of_a_change_that_is_not_understood(self):
        cases = [
            (change(1, "later", change="teleported"), "The member 'change' must be a change that this version knows"),
            (change(2, "later", record={"descr": "a\0b"}),
             "The member 'record.descr' must be a text of at most 4096 bytes, in UTF-8 and without NUL"),
            (change(3, "later", at="0001-01-01T00:00:00Z"), "The member 'at' must be a time as 2025-01-31T23:59:59Z"),
        ]
        for message, reason in cases:
            self.all.send("change", message, "later")
            self.must_be_dead(reason, "polaiga.v1.lab.later.change", message)
            self.all.wait_for_ack(message["number"], "later")
        self.all.send("change", change(4, "later"), "later")
        self.all.wait_for_ack(4, "later")
        self.assertEqual(self.all.numbers("later"), [4])
        self.assertEqual(self.all.query("select first, last from gap join ledger using (ledger_no) join controller "
                                        "using (controller_id) where name = 'later' order by first"), ["1|1", "2|2", "3|3"])

    def test_what_a_ledger_lost_that_was_put_back_is_deleted(self):
        for number in 1, 2, 3:
            self.all.send("change", change(number, "back"), "back")
        self.all.wait_for_ack(3, "back")
        self.all.send("change", {"ledger_id": LEDGER, "previous": 3, "gap": {"first": 2, "last": 3}, "site": "lab",
                                 "controller": "back", "version": "1.0.0"}, "back")
        until("it is acknowledged", lambda: self.all.told("ack", "back")[-1]["through"] == 1)
        self.assertEqual(self.all.numbers("back"), [1])
        self.all.send("change", change(2, "back", record={"descr": "another one"}), "back")
        until("the change is taken", lambda: self.all.told("ack", "back")[-1]["through"] == 2)
        self.assertEqual(self.all.numbers("back"), [1, 2])
        self.assertEqual(self.all.query("select number, description from alarm join controller using (controller_id) "
                                        "where controller.name = 'back' and number > 1"), ["2|another one"])

    def test_a_name_with_a_dot_reaches_no_controller(self):
        # The broker makes '.' of each '/', so the key has more parts than any binding; the message goes nowhere.
        self.all.client("x").publish("polaiga/v1/lab/a.b/change", json.dumps(change(1, "a.b")))
        self.all.send("change", change(1, "x"), "x")
        self.all.wait_for_ack(1, "x")
        self.assertEqual(self.all.number("select count(*) from controller where name like 'a%b'"), 0)

    def test_texts_are_only_texts(self):
        words = "'); drop table polaiga.change; -- \\ \" {a,b} $1 %s \u20ac \U0001f525 \t\n null NULL"
        self.all.send("change", change(1, "texts", record={"descr": words, "cause": "null", "name": "{}"}), "texts")
        self.all.wait_for_ack(1, "texts")
        found = self.all.query("select to_json(description), to_json(cause), to_json(alarm.name) from alarm "
                               "join controller using (controller_id) where controller.name = 'texts' and number is not null")
        self.assertEqual([json.loads(one) for one in found[0].split("|")], [words, "null", "{}"])

    def test_odd_messages_that_are_understood_stop_nobody(self):
        odd = [
            {"at": "1970-01-01T00:00:00Z"}, {"at": "9999-12-31T23:59:59Z"}, {"seq": 2**63 - 1, "shown_seq": 2**63 - 1},
            {"reporters": 2**32 - 1}, {"record": {"code": 2**32 - 1}}, {"later": {"a": ["\0", "\ud83d\ude00"]}},
            {"record": {"descr": ""}}, {"record": {"descr": "\u20ac" * 1365}}]
        number = 0
        for members in odd:
            number += 1
            with self.subTest(members=members):
                self.all.send("change", change(number, "odd", **members), "odd")
                self.all.wait_for_ack(number, "odd", 10)
        self.all.send("change", change(2**63 - 1, "odd", previous=number), "odd")
        self.all.wait_for_ack(2**63 - 1, "odd", 10)
        self.assertEqual(self.all.numbers("odd"), [*range(1, number + 1), 2**63 - 1])

    def test_a_controller_that_sends_without_end_keeps_nobody_back(self):
        flood = self.all.client("flood")
        is_over = threading.Event()
        sent = 0

        def send():
            nonlocal sent
            topic = "polaiga/v1/lab/flood/change"
            while not is_over.is_set():
                for _ in range(200):
                    sent += 1
                    message = json.dumps(change(sent, "flood")).encode()
                    flood.send(packet(PUBLISH, 2, text(topic) + struct.pack("!H", flood.new_id()) + message))
                sent += 1
                flood.publish(topic, json.dumps(change(sent, "flood")))
        sender = threading.Thread(target=send)
        sender.start()
        try:
            end, number, longest = time.monotonic() + FLOOD_SECONDS, 0, 0
            while time.monotonic() < end:
                number += 1
                for neighbour in range(8):  # some of them share its inbox
                    begin = time.monotonic()
                    name = f"calm-{neighbour}"
                    self.all.send("change", change(number, name), name)
                    self.all.wait_for_ack(number, name, 10)
                    longest = max(longest, time.monotonic() - begin)
        finally:
            is_over.set()
            sender.join()
        print(f"{sent} messages of one controller in {FLOOD_SECONDS} s; the others waited {longest:.2f} s at most")
        self.assertLess(longest, 5)
        self.collector.wait_for("messages of controllers that send too much were passed over; their changes are asked for again")


if __name__ == "__main__":
    PROGRAMS = sys.argv.pop(1)
    unittest.main()
