"""What polaiga-mqtt does for a fleet: it answers requests for the active alarms, and does what operators ask for. With the
real program, a real engine and a real mosquitto: fleet_test.py POLAIGA POLAIGA_MQTT [TEST]..."""
import json
import os
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "support"))
import board
from board import BELOW, BoardTest, Consumer, Picture, described, fan, retained, same_as_ledger, supply, until
from processes import Process, free_port

GATEWAY = ("--gateway", str(os.geteuid()))


def later(seconds):
    return time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(time.time() + seconds))


class Operator:
    """Sends actions, and keeps what is told of them and what answers requests."""

    def __init__(self, server, name="operator"):
        self.server, self.acted, self.replayed, self.sizes = server, [], [], []
        self.client = server.client("acted", "replayed", name=name, on_message=self.take)

    def take(self, message):
        value = json.loads(message.payload)
        self.sizes.append(len(message.payload))
        (self.acted if message.topic == BELOW + "acted" else self.replayed).append(value)

    def act(self, name, expires=60, ledger_id=None, **request):
        self.client.publish(BELOW + "action", json.dumps({
            "id": name, "ledger_id": ledger_id or self.server.ask_ledger_id(), "expires": later(expires),
            "person": "anna", "request": request}))

    def answers(self, count):
        """What became of actions, once there are so many answers."""
        until(f"there are {count} answers: {self.acted}; {self.server.publisher.text()[-2000:]}", lambda: len(self.acted) >= count)
        told, self.acted = self.acted, []
        return [(one["id"], one["done"], one.get("why", "")) for one in told]


class FleetTest(BoardTest):
    def begun(self, *options, **more):
        server = self.board(**more)
        server.start(*options)
        until("it has begun", lambda: server.cursor() is not None)
        return server

    def test_an_action_is_done_once_and_answered_twice(self):
        server = self.begun("--accept-actions", engine_options=GATEWAY)
        operator = Operator(server)
        server.send([fan(1, 1), fan(2, 1)])
        operator.act("fleet-1", do="acknowledge", alarms="1", comment="seen")
        self.assertEqual(operator.answers(1), [("fleet-1", True, "")])
        last = server.last()
        done = [change for change in server.tail() if change["change"] == "acknowledged"]
        self.assertEqual(len(done), 1)
        self.assertEqual((done[0]["action"]["on_behalf_of"], done[0]["action"]["comment"]), ("anna", "seen"))
        self.assertEqual([alarm["operator_state"] for alarm in server.active()], ["acknowledged", "none"])
        operator.act("fleet-1", do="acknowledge", alarms="1", comment="seen")
        self.assertEqual(operator.answers(1), [("fleet-1", True, "")])
        # Another program than before knows nothing of it, but the engine does.
        server.publisher.end()
        server.start("--accept-actions")
        operator.act("fleet-1", do="acknowledge", alarms="1", comment="seen")
        operator.act("fleet-2", do="shelve", alarms="9", comment="noise", **{"for": 60})
        self.assertEqual([one[:2] for one in operator.answers(2)], [("fleet-1", True), ("fleet-2", False)])
        self.assertEqual(server.last(), last)

    def test_each_kind_of_action(self):
        server = self.begun("--accept-actions", engine_options=GATEWAY)
        operator = Operator(server)
        server.send([fan(1, 1), fan(2, 1), fan(2, 0)])
        missed = server.last()
        requests = [dict(do="acknowledge", alarms="1"), dict(do="unacknowledge", alarms="1"),
                    dict(do="comment", alarms="1", comment="ticket 4711"), dict(do="shelve", alarms="1", comment="noise", **{"for": 60}),
                    dict(do="unshelve", alarms="1"), dict(do="close", alarms="1", comment="replaced"),
                    dict(do="maintain", dn="sys/rack-unit-1", comment="swap", until=later(60)),
                    dict(do="end_maintenance", dn="sys/rack-unit-1"), dict(do="acknowledge_missed", through=missed)]
        for number, request in enumerate(requests):
            operator.act(f"fleet-{number}", **request)
        self.assertEqual(operator.answers(len(requests)), [(f"fleet-{number}", True, "") for number in range(len(requests))])

    def test_an_action_that_comes_while_the_program_is_away(self):
        server = self.begun("--accept-actions", engine_options=GATEWAY)
        operator = Operator(server)
        server.send([fan(1, 1)])
        server.publisher.kill()
        operator.act("late", expires=-1, do="acknowledge", alarms="1")
        operator.act("in time", do="comment", alarms="1", comment="still there")
        server.start("--accept-actions")
        self.assertEqual(sorted(operator.answers(2)), [("in time", True, ""),
                                                       ("late", False, "It came after it had expired, by the clock of this controller")])
        self.assertEqual([alarm["operator_state"] for alarm in server.active()], ["none"])

    def test_without_the_option_no_action_is_taken(self):
        server = self.begun("--accept-actions", engine_options=GATEWAY)
        operator = Operator(server)
        server.send([fan(1, 1)])
        server.publisher.end()
        server.start()
        server.publisher.wait_for("connected by MQTT")
        self.ask(server, operator, "first")
        operator.act("a", do="acknowledge", alarms="1")
        self.ask(server, operator, "second")
        server.publisher.end()
        server.start("--accept-actions")
        server.publisher.wait_for("connected by MQTT")
        self.ask(server, operator, "third")
        operator.act("b", do="comment", alarms="1", comment="x")
        self.assertEqual(operator.answers(1), [("b", True, "")])
        self.assertEqual([alarm["operator_state"] for alarm in server.active()], ["none"])

    def ask(self, server, operator, name):
        """Asks for the alarms, and returns the parts of the answer."""
        operator.client.publish(BELOW + "replay", json.dumps({"ledger_id": server.ask_ledger_id(), "alarms": True, "id": name}))
        parts = lambda: [one for one in list(operator.replayed) if one["replay"] == name]
        until(f"the answer is there; {server.publisher.text()[-2000:]}", lambda: any(one.get("last") or "refused" in one for one in parts()))
        return parts()

    def test_an_engine_that_is_away(self):
        server = self.begun("--accept-actions", engine_options=GATEWAY)
        operator = Operator(server)
        server.send([fan(1, 1)])
        ledger_id = server.ask_ledger_id()
        server.engine.kill()
        operator.act("short", expires=3, ledger_id=ledger_id, do="acknowledge", alarms="1")
        operator.act("long", expires=600, ledger_id=ledger_id, do="comment", alarms="1", comment="x")
        (name, done, why), = operator.answers(1)
        self.assertEqual((name, done), ("short", False))
        self.assertTrue(why.startswith("It expired before the engine answered ("), why)
        server.start_engine()
        self.assertEqual(operator.answers(1), [("long", True, "")])

    def test_actions_that_the_engine_refuses(self):
        server = self.begun("--accept-actions")
        operator = Operator(server)
        server.send([fan(1, 1)])
        operator.act("a", do="acknowledge", alarms="1")
        (_, done, why), = operator.answers(1)
        self.assertFalse(done)
        self.assertIn("may not act on behalf of others; --gateway of the engine allows it", why)
        operator.act("b", ledger_id="0" * 32, do="acknowledge", alarms="1")
        (_, done, why), = operator.answers(1)
        self.assertFalse(done)
        self.assertIn("The request is for the ledger " + "0" * 32, why)

    def test_the_alarms_in_parts(self):
        server = self.begun()
        operator = Operator(server)
        server.send([supply(number, 1) for number in range(1, 256)])
        server.wait_for_cursor()
        parts = self.ask(server, operator, "list")
        self.assertGreater(len(parts), 1)
        self.assertLessEqual(max(operator.sizes), 64 * 1024)
        self.assertEqual([part["after"] for part in parts], [0] + [part["through"] for part in parts[:-1]])
        self.assertEqual([part["last"] for part in parts], [False] * (len(parts) - 1) + [True])
        self.assertEqual(parts[-1]["through"], server.last())
        told = [alarm["alarm"] for part in parts for alarm in part["alarms"]]
        self.assertEqual(told, [f"{server.ask_ledger_id()}-{number}" for number in range(1, 256)])
        self.assertEqual(sorted(told), sorted(alarm["alarm"] for alarm in server.active()))

    def test_without_the_list(self):
        server = self.begun()
        server.send([supply(number, 1) for number in range(1, 256)])
        server.wait_for_cursor()
        until("the list is that of the ledger", lambda: same_as_ledger(server, retained(server)[0]))
        server.publisher.end()
        kept, operator = Picture(), Operator(server)
        server.client("alarms", "alarms/+", name="joiner", on_message=kept.take)
        until("the broker has the list", kept.is_whole)
        server.start("--no-list")
        until("the list is gone", lambda: kept.index is None and not kept.pages)
        consumer = Consumer(server, name="changes").connect()
        server.send([fan(1, 1)])
        until("the change comes all the same", lambda: consumer.have == server.last())
        server.wait_for_cursor()
        self.assertEqual(sum(len(part["alarms"]) for part in self.ask(server, operator, "list")), 256)
        self.assertEqual((kept.index, kept.pages), (None, {}))
        self.assertEqual(server.ask_engine(do="status")["publishers"][0].get("cut", 0), 0)

    def test_schemas(self):
        server = self.begun("--accept-actions", engine_options=GATEWAY)
        operator, sent = Operator(server), []
        server.client("action", "replay", name="listener", on_message=lambda message: sent.append((message.topic, json.loads(message.payload))))
        server.send([fan(1, 1)])
        operator.act("a", do="acknowledge", alarms="1")
        operator.act("b", do="acknowledge", alarms="9")
        acted = until("both are answered", lambda: list(operator.acted) if len(operator.acted) == 2 else None)
        self.ask(server, operator, "list")
        described("mqtt_acted", acted)
        described("mqtt_replayed", operator.replayed)
        described("mqtt_action", [value for topic, value in sent if topic == BELOW + "action"])
        described("mqtt_replay", [value for topic, value in sent if topic == BELOW + "replay"])

    def test_names_with_a_dot(self):
        server = self.board(broker=False)
        for option, is_warned in (("--accept-actions", True), ("--confirm=collector", True), ("--confirm=broker", False)):
            told = Process(board.POLAIGA_MQTT, "--ledger", server.ledger, "--control", server.control, "--broker",
                           f"127.0.0.1:{free_port()}", "--site", "a.b", "--controller", "c", option)
            told.wait_for("ready: ")
            self.assertEqual(told.end(), 0)
            self.assertEqual("--site is 'a.b'; a fleet's names have no '.'" in told.text(), is_warned, told.text())
            self.assertNotIn("--controller is", told.text())


if __name__ == "__main__":
    board.main()
