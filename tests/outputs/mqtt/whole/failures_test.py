"""Brokers, ledgers, engines and messages that fail: failures_test.py POLAIGA POLAIGA_MQTT [TEST]..."""
import json
import os
import signal
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import board
from board import BELOW, BoardTest, Consumer, Process, fan, retained, same_as_ledger, supply, until
from mqtt import (CONNACK, CONNECT, DISCONNECT, OddBroker, PINGREQ, PINGRESP, PUBACK, PUBLISH, SUBACK, SUBSCRIBE, UNSUBACK,
                  UNSUBSCRIBE, packet, text)

NO_CHATTERING = ("--chattering", "0")


def accepts(kind, _flags, body):
    """A broker that connects everybody, and confirms nothing."""
    if kind == CONNECT:
        return packet(CONNACK, 0, bytes([0, 0, 0]) if body[6] == 5 else bytes([0, 0]))
    if kind == SUBSCRIBE:
        return packet(SUBACK, 0, body[:2] + bytes([1]))
    return b""


class LosesTheWay:
    """A broker that confirms all, with a collector behind it that acknowledges each change. With the first change it loses the
    way to the subscriber, as a broker of several nodes may: it delivers nothing, and takes a subscription that is made once more
    for the one that it has. Only one that is ended and made anew has a way again."""

    def __init__(self):
        self.known, self.ways = set(), set()
        self.has_lost = False

    def __call__(self, kind, flags, body):
        if kind == PINGREQ:
            return packet(PINGRESP, 0, b"")
        if kind == UNSUBSCRIBE:
            self.known.discard(self.topic_of(body[2:])[0])
            self.ways &= self.known
            return packet(UNSUBACK, 0, body[:2])
        if kind == SUBSCRIBE:
            topic, _ = self.topic_of(body[2:])
            if topic not in self.known:
                self.known.add(topic)
                self.ways.add(topic)
        if kind != PUBLISH:
            return accepts(kind, flags, body)
        topic, rest = self.topic_of(body)
        confirmation = packet(PUBACK, 0, rest[:2])
        if topic != BELOW + "change":
            return confirmation
        if not self.has_lost:
            self.has_lost = True
            self.ways.clear()
        change = json.loads(rest[2:])
        if BELOW + "ack" not in self.ways:
            return confirmation
        ack = json.dumps({"ledger_id": change["ledger_id"], "through": change["number"]}).encode()
        return confirmation + packet(PUBLISH, 0, text(BELOW + "ack") + ack)

    @staticmethod
    def topic_of(body):
        """The topic at the beginning, and what follows it."""
        end = 2 + int.from_bytes(body[:2], "big")
        return body[2:end].decode(), body[end:]


class FailuresTest(BoardTest):
    def test_a_broker_that_is_killed_forgets_nothing_that_matters(self):
        server = self.board("persistence true", engine_options=NO_CHATTERING)
        server.start()
        until("it has begun", lambda: server.cursor() is not None)
        server.send([supply(number, 1) for number in range(1, 101)])
        server.wait_for_cursor()
        until("the list is that of the ledger", lambda: same_as_ledger(server, retained(server)[0]))
        server.broker.restart(signal.SIGKILL)
        server.publisher.wait_for("it is tried again")
        until("the list is there again", lambda: same_as_ledger(server, retained(server)[0]))
        self.assertEqual(retained(server)[0].status["state"], "online")

    def test_a_broker_that_is_away_costs_no_memory(self):
        server = self.board(engine_options=NO_CHATTERING)
        server.start()
        until("it has begun", lambda: server.cursor() is not None)
        server.broker.process.kill()
        server.send([supply(1 + i % 300, 1 - i // 300 % 2) for i in range(1000)])
        before = server.publisher.memory()
        for part in range(4):
            server.send([supply(1 + i % 300, 1 - (i + part * 3000 + 1000) // 300 % 2) for i in range(3000)])
        self.assertLess(server.publisher.memory() - before, 4_000_000)
        self.assertEqual(server.cursor(), 0)
        outputs = server.ask_engine(do="status")["publishers"]
        self.assertEqual((outputs[0]["connected"], outputs[0]["behind"]), (False, server.last()))
        server.broker.start()
        consumer = Consumer(server).connect()
        server.wait_for_cursor()
        until("the end came", lambda: consumer.have == server.last())

    def test_a_broker_that_never_answers(self):
        silent = OddBroker(lambda *_: b"")
        self.addCleanup(silent.close)
        server = self.board(broker=False)
        server.start(port=silent.port)
        server.publisher.wait_for("it does not answer within 10 s")
        self.assertEqual(len(silent.packets), 1)
        began = time.monotonic()
        self.assertEqual(server.publisher.end(), 0)
        self.assertLess(time.monotonic() - began, 5)

    def test_a_broker_that_is_stopped_is_noticed_at_the_end(self):
        server = self.board()
        server.start()
        until("it has begun", lambda: server.cursor() is not None)
        server.broker.process.send_signal(signal.SIGSTOP)
        server.send([fan(1, 1)])
        began = time.monotonic()
        self.assertEqual(server.publisher.end(), 0)
        self.assertLess(time.monotonic() - began, 9)
        self.assertEqual(server.cursor(), 0)
        server.broker.process.send_signal(signal.SIGCONT)
        consumer = Consumer(server).connect()
        server.start()
        server.wait_for_cursor()
        until("the change came", lambda: consumer.have == 1)

    def test_a_broker_of_the_older_version(self):
        def old(kind, flags, body):
            if kind == CONNECT and body[6] == 5:
                return packet(CONNACK, 0, bytes([0, 1]))
            if kind == PUBLISH:
                end = 2 + int.from_bytes(body[:2], "big")
                return packet(PUBACK, 0, body[end:end + 2])
            return accepts(kind, flags, body)
        broker = OddBroker(old)
        self.addCleanup(broker.close)
        server = self.board(broker=False)
        server.start(port=broker.port)
        server.publisher.wait_for("connected by MQTT 3.1.1")
        server.send([fan(1, 1)])
        server.wait_for_cursor()
        self.assertEqual([packets[0][2][6] for packets in broker.packets], [5, 4])

    def test_a_broker_that_closes_on_the_newer_version(self):
        broker = OddBroker(lambda kind, flags, body: None if kind == CONNECT and body[6] == 5 else accepts(kind, flags, body))
        self.addCleanup(broker.close)
        server = self.board(broker=False)
        server.start(port=broker.port)
        server.publisher.wait_for("connected by MQTT 3.1.1")

    def test_two_programs_of_one_name(self):
        handed_over = []

        def hands_over(kind, flags, body):
            """Confirms all up to the first change, and then does as a broker when another client of the same id comes."""
            if kind == CONNECT:
                handed_over.clear()
            if handed_over:
                return None
            if kind == SUBSCRIBE:
                return packet(SUBACK, 0, body[:2] + bytes([0, 1]))
            if kind != PUBLISH:
                return accepts(kind, flags, body)
            end = 2 + int.from_bytes(body[:2], "big")
            confirmation = packet(PUBACK, 0, body[end:end + 2])
            is_change = body[2:end] == (BELOW + "change").encode()
            if not is_change:
                return confirmation
            handed_over.append(True)
            return confirmation + packet(DISCONNECT, 0, bytes([0x8E, 0]))
        broker = OddBroker(hands_over)
        self.addCleanup(broker.close)
        server = self.board(broker=False)
        server.start(port=broker.port)
        until("it has begun", lambda: server.cursor() is not None)
        # Each connection tells a change that is confirmed, so it was of use; and yet the pauses grow.
        for number in range(1, 5):
            server.send([fan(number, 1)])
            until("it has tried again", lambda: len(broker.times) > number)
        server.publisher.wait_for("another program has the same site and controller")
        server.wait_for_cursor()
        # The pauses are between half and all of 0.5 s, 1 s, 2 s and 4 s.
        self.assertGreater(broker.times[4] - broker.times[0], 3.7)

    def test_a_broker_that_has_lost_the_way_to_the_publisher(self):
        broker = OddBroker(LosesTheWay())
        self.addCleanup(broker.close)
        server = self.board(broker=False)
        server.start("--protocol", "3.1.1", "--confirm", "collector", port=broker.port)
        until("it has begun", lambda: server.cursor() is not None)
        server.send([fan(1, 1)])
        server.publisher.wait_for("The collector has acknowledged nothing for 30 s", patience=60)
        server.wait_for_cursor()
        self.assertEqual(len(broker.times), 1, "the connection has lasted")

    def test_only_mosquittos_older_version(self):
        server = self.board()
        server.start("--protocol", "3.1.1")
        server.publisher.wait_for("connected by MQTT 3.1.1")
        server.send([fan(1, 1)])
        server.wait_for_cursor()
        until("the list is that of the ledger", lambda: same_as_ledger(server, retained(server)[0]))

    def test_a_ledger_that_comes_later(self):
        server = self.board()
        server.publisher = Process(board.POLAIGA_MQTT, *server.options()[2:], "--ledger", server.file("later.db"))
        until("the status is there", lambda: retained_status(server) is not None)
        self.assertNotIn("ledger_id", retained_status(server))
        server.engine.end()
        server.ledger = server.file("later.db")
        server.start_engine()
        server.send([fan(1, 1)])
        until("the list is there", lambda: same_as_ledger(server, retained(server)[0]))
        self.assertEqual(server.publisher.end(), 0)

    def test_another_ledger(self):
        server = self.board()
        server.start()
        until("it has begun", lambda: server.cursor() is not None)
        consumer = Consumer(server).connect()
        server.send([fan(1, 1)])
        until("the change came", lambda: consumer.have == 1)
        server.wait_for_cursor()
        first = consumer.ledger_id
        server.engine.end()
        for name in os.listdir(server.place):
            if name.startswith("ledger.db"):
                os.remove(server.file(name))
        server.start_engine()
        server.send([fan(2, 1), fan(3, 1)])
        until("the list is that of the new ledger", lambda: same_as_ledger(server, consumer.picture))
        server.send([fan(3, 0)])
        server.wait_for_cursor()
        until("the change came", lambda: consumer.have == server.last())
        self.assertNotEqual(consumer.ledger_id, first)

    def test_changes_that_are_gone(self):
        server = self.board(engine_options=("--chattering", "0", "--keep-events", "50"))
        server.start()
        until("it has begun", lambda: server.cursor() is not None)
        consumer = Consumer(server).connect()
        server.send([fan(1, 1)])
        until("the change came", lambda: consumer.have == 1)
        server.wait_for_cursor()
        server.publisher.kill()
        server.ask_engine(do="forget", publisher="mqtt")
        for i in range(30):
            server.send([supply(1 + j % 30, 1 - (i + j // 30) % 2) for j in range(60)])
        until("changes are gone", lambda: server.ask_engine(do="status")["oldest_number"] > 100)
        # The cursor of before is told again, as after a power cut that took it back.
        self.assertEqual(server.ask_engine(do="cursor", publisher="mqtt", through=1, ledger_id=consumer.ledger_id), {"ok": True})
        until("the engine has written it", lambda: server.cursor() == 1)
        server.start()
        until("the end came", lambda: consumer.have == server.last())
        oldest = server.ask_engine(do="status")["oldest_number"]
        self.assertEqual(len(consumer.gaps), 1)
        self.assertEqual(consumer.gaps[0][0], 2)
        self.assertLessEqual(consumer.gaps[0][1], oldest)
        self.assertEqual(consumer.holes, [])
        server.wait_for_cursor()
        outputs = server.ask_engine(do="status")["publishers"]
        self.assertEqual(outputs[0]["lost"], consumer.gaps[0][1] - 1)
        until("the list is that of the ledger", lambda: same_as_ledger(server, retained(server)[0]))

    def test_an_engine_that_is_away(self):
        server = self.board()
        server.start()
        until("it has begun", lambda: server.cursor() is not None)
        server.send([fan(1, 1)])
        server.engine.kill()
        consumer = Consumer(server).connect()
        until("the list is that of the ledger", lambda: same_as_ledger(server, retained(server)[0]))
        server.publisher.wait_for("the changes are told all the same")
        server.start_engine()
        server.wait_for_cursor()
        server.send([fan(1, 0)])
        until("the change came", lambda: consumer.have == 2)

    def test_messages_that_are_nonsense(self):
        server = self.board()
        server.start("--confirm", "collector")
        until("it has begun", lambda: server.cursor() is not None)
        consumer = Consumer(server).connect()
        server.send([fan(1, 1)])
        until("the change came", lambda: consumer.have == 1)
        ledger_id = consumer.ledger_id
        other = server.client(name="other")
        for payload in (b"", b"\xff\xfe", b"{}", b"[" * 1000, b"x" * 70_000, json.dumps({"ledger_id": ledger_id, "through": 2}).encode(),
                        json.dumps({"ledger_id": "0" * 32, "through": 1}).encode()):
            other.publish(BELOW + "ack", payload)
            other.publish(BELOW + "replay", payload)
        other.publish(BELOW + "ack", json.dumps({"ledger_id": ledger_id, "through": 1}), retain=True)
        until("a right one counts", lambda: server.cursor() == 1)
        server.publisher.kill()
        consumer.client.close()
        other.publish(BELOW + "alarms", b"nonsense", retain=True)
        server.send([fan(2, 1)])
        server.start("--confirm", "collector")
        server.publisher.wait_for("is retained, and is ignored")
        until("the list is that of the ledger", lambda: same_as_ledger(server, retained(server)[0]))


def retained_status(server):
    statuses = []
    client = server.client("status", name=f"status-{time.monotonic()}", on_message=lambda message: statuses.append(message.payload))
    try:
        until("there is a status", lambda: statuses, 1)
    except AssertionError:
        return None
    finally:
        client.close()
        server.clients.remove(client)
    return json.loads(statuses[0])


if __name__ == "__main__":
    board.main()
