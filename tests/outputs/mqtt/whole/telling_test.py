"""What consumers get, and what they may ask for: telling_test.py POLAIGA POLAIGA_MQTT [TEST]..."""
import json
import os
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import board
from board import BELOW, BoardTest, Consumer, described, fan, retained, same_as_ledger, supply, until

NO_CHATTERING = ("--chattering", "0")


class TellingTest(BoardTest):
    def started(self, *arguments, **more):
        server = self.board(**more)
        server.start(*arguments)
        until("it has begun", lambda: server.cursor() is not None)
        return server

    def test_changes_are_those_of_tail(self):
        server = self.started()
        consumer = server.client("change")
        server.send([fan(1, 1), supply(2, 1), fan(1, 1), fan(1, 0)])
        want = server.tail()
        until("all changes came", lambda: len(consumer.messages) >= len(want))
        told = [json.loads(message.payload) for message in consumer.messages]
        previous = 0
        for change, message in zip(want, told, strict=True):
            more = {"previous": previous, "site": "lab", "controller": "rack-1", "version": message["version"]}
            self.assertEqual(message, {**change, **more})
            previous = change["number"]
        self.assertFalse(any(message.is_retained for message in consumer.messages))
        server.wait_for_cursor()

    def test_a_late_joiner_has_the_picture_at_once(self):
        server = self.started(engine_options=NO_CHATTERING)
        server.send([supply(number, 1) for number in range(1, 401)])
        server.wait_for_cursor()
        until("the pages are as the ledger", lambda: same_as_ledger(server, retained(server)[0]))
        picture, took = retained(server)
        self.assertTrue(same_as_ledger(server, picture))
        self.assertGreater(len(picture.pages), 1)
        self.assertLess(took, 1)
        self.assertEqual(picture.status["state"], "online")
        # And so it is when most of them are over.
        server.send([supply(number, 0) for number in range(1, 391)])
        until("the pages are as the ledger again", lambda: same_as_ledger(server, retained(server)[0]))
        until("pages that are not used are gone", lambda: len(retained(server)[0].pages) == len(retained(server)[0].index["pages"]))

    def test_a_restart_goes_on_where_it_ended(self):
        server = self.started()
        consumer = Consumer(server).connect()
        server.send([fan(1, 1)])
        server.wait_for_cursor()
        server.publisher.kill()
        server.send([fan(1, 0), fan(2, 1)])
        server.start()
        server.wait_for_cursor()
        until("all changes came", lambda: consumer.have == server.last())
        self.assertEqual(consumer.numbers, [change["number"] for change in server.tail()])
        self.assertEqual((consumer.repeats, consumer.holes, consumer.gaps), (0, [], []))

    def test_pages_of_an_earlier_run_are_removed(self):
        server = self.started(engine_options=NO_CHATTERING)
        server.send([supply(number, 1) for number in range(1, 401)])
        until("there are pages", lambda: len(retained(server)[0].pages) > 2)
        server.publisher.kill()
        server.send([supply(number, 0) for number in range(1, 400)])
        server.start()
        until("only one page is left", lambda: sorted(retained(server)[0].pages) == [0])

    def test_status(self):
        server = self.started("--heartbeat", "1")
        consumer = server.client("status")
        until("the status is renewed", lambda: len(consumer.messages) >= 3)
        status = json.loads(consumer.messages[-1].payload)
        self.assertEqual((status["state"], status["engine"], status["number"]), ("online", True, 0))
        server.engine.kill()
        until("the engine is told to be away", lambda: json.loads(consumer.messages[-1].payload)["engine"] is False)
        self.assertEqual(server.publisher.end(), 0)
        until("it has stopped", lambda: json.loads(consumer.messages[-1].payload)["state"] == "offline")
        last = json.loads(consumer.messages[-1].payload)
        self.assertEqual(last["reason"], "stopped")

    def test_the_will(self):
        server = self.started()
        consumer = server.client("status")
        until("the status is kept by the broker", lambda: consumer.messages)
        server.publisher.kill()
        until("the broker publishes the will", lambda: json.loads(consumer.messages[-1].payload)["state"] == "offline")
        self.assertEqual(json.loads(consumer.messages[-1].payload)["reason"], "lost")

    def test_a_replay(self):
        server = self.started(engine_options=NO_CHATTERING)
        consumer = Consumer(server).connect()
        server.send([fan(1, 1), fan(2, 1), fan(1, 0), fan(2, 0), fan(3, 1)])
        until("all changes came", lambda: consumer.have == server.last())
        self.assertEqual(consumer.ask(2, 4)["through"], 4)
        self.assertEqual(sorted(consumer.replayed), [2, 3, 4])
        want = {change["number"]: change for change in server.tail()}
        for number, message in consumer.replayed.items():
            self.assertEqual({name: message[name] for name in want[number]}, want[number])
        self.assertEqual(consumer.ask(4, 10**12)["through"], 5)
        self.assertEqual(consumer.ask(0, 1)["refused"], "The member 'first' must be the number of a change, 1 or more")
        consumer.ledger_id = "f" * 32
        self.assertEqual(consumer.ask(1, 1, "other")["refused"], "The ledger is another one; read its id in 'status'")

    def test_a_collector_confirms(self):
        server = self.started("--confirm", "collector", engine_options=NO_CHATTERING)
        consumer = Consumer(server).connect()
        server.send([fan(1, 1), fan(2, 1), fan(1, 0)])
        until("all changes came", lambda: consumer.have == 3)
        # Nothing but its acknowledgement moves the cursor; the broker has confirmed all.
        consumer.have = 2
        consumer.ack()
        until("the cursor has moved", lambda: server.cursor() == 2)
        server.publisher.kill()
        server.start("--confirm", "collector")
        until("what was not acknowledged comes again", lambda: consumer.have == 3 and consumer.numbers[-2:] == [3, 3])
        consumer.ack()
        until("the cursor is at the end", lambda: server.cursor() == 3)

    def test_a_collector_that_is_silent_gets_no_more_than_so_many(self):
        server = self.started("--confirm", "collector", engine_options=NO_CHATTERING)
        consumer = Consumer(server).connect()
        server.send([fan(1 + i % 8, 1 - i // 8 % 2) for i in range(3000)])
        until("as many came as are allowed", lambda: len(consumer.numbers) >= 2000)
        time.sleep(0.5)  # that no more come can only be seen by waiting
        self.assertEqual(len(consumer.numbers), 2000)
        self.assertEqual(server.cursor(), 0)
        consumer.acks = True
        consumer.ack()
        until("all came", lambda: consumer.have == server.last())
        consumer.ack()
        until("the cursor is at the end", lambda: server.cursor() == server.last())
        self.assertEqual(consumer.holes, [])

    def test_sessions(self):
        for arguments, wants_replay in (((), True), (("--clean-session",), False)):
            with self.subTest(arguments=arguments):
                server = self.started(*arguments)
                server.send([fan(1, 1)])
                server.wait_for_cursor()
                consumer = Consumer(server).connect()
                ledger_id = server.ask_engine(do="status")["ledger_id"]
                server.publisher.kill()
                consumer.client.publish(BELOW + "replay", json.dumps({"ledger_id": ledger_id, "first": 1, "last": 1, "id": "x"}))
                server.start(*arguments)
                server.send([fan(2, 1)])
                until("the change came", lambda: consumer.have == server.last())
                if wants_replay:
                    # The broker kept the request.
                    until("the replay is done", lambda: any("done" in one for one in consumer.answers))
                else:
                    consumer.ledger_id = ledger_id
                    self.assertEqual(consumer.ask(1, 1, "y")["through"], 1)
                    self.assertEqual([one["replay"] for one in consumer.answers], ["y"])

    def test_messages_are_as_described(self):
        server = self.started(engine_options=NO_CHATTERING)
        everything = server.client("#")
        consumer = Consumer(server).connect()
        server.send([fan(1, 1), supply(2, 1), fan(1, 0)])
        ledger_id = server.ask_engine(do="status")["ledger_id"]
        alarm = server.tail()[1]["alarm"].split("-")[1]
        server.ask_engine(do="acknowledge", alarms=alarm, comment="seen")
        server.ask_engine(do="maintain", dn="sys/rack-unit-1/fan-module-1-1", comment="swap", **{"for": 60})
        until("all changes came", lambda: consumer.have == server.tail()[-1]["number"])
        consumer.ask(1, 2)
        consumer.client.publish(BELOW + "replay", "nonsense")
        until("it is refused", lambda: any("refused" in one for one in consumer.answers))
        until("the alarms are told", lambda: (consumer.picture.index or {}).get("number") == server.last())
        server.publisher.end()
        until("it has stopped", lambda: consumer.picture.status["state"] == "offline")
        found = {}
        for message in everything.messages:
            if message.topic == BELOW + "replay":
                continue
            found.setdefault(message.topic[len(BELOW):].split("/")[0] + ("_page" if "alarms/" in message.topic else ""),
                             []).append(json.loads(message.payload))
        for topic, schema in (("change", "mqtt_change"), ("replayed", "mqtt_replayed"), ("alarms", "mqtt_alarms"),
                              ("alarms_page", "mqtt_alarms_page"), ("status", "mqtt_status")):
            described(schema, found.pop(topic))
        self.assertEqual(found, {})
        gap = {"ledger_id": ledger_id, "gap": {"first": 1, "last": 2}, "previous": 0, "site": "lab", "controller": "rack-1",
               "version": "1.0.0"}
        described("mqtt_change", [gap])
        described("mqtt_replayed", [dict(gap, replay="x")])
        described("mqtt_ack", [{"ledger_id": ledger_id, "through": 17}])
        described("mqtt_replay", [{"ledger_id": ledger_id, "first": 1, "last": 2}])

    def test_silenced_alarms(self):
        server = self.started(engine_options=NO_CHATTERING)
        consumer = Consumer(server).connect()
        server.ask_engine(do="maintain", dn="sys/rack-unit-1/fan-module-1-1", comment="swap", **{"for": 600})
        server.send([fan(1, 1), fan(1, 0), fan(2, 1)])
        want = server.tail()
        self.assertLess(len(want), server.last())
        until("what is told came", lambda: consumer.numbers == [change["number"] for change in want])
        server.wait_for_cursor()
        self.assertEqual(consumer.holes, [])
        server.send([fan(1, 1)])
        until("the alarm is in the list", lambda: any(
            alarm["out_of_service"] for alarm in (consumer.picture.alarms() or {}).values()))
        # What was passed over does not look like a loss after a restart.
        server.wait_for_cursor()
        server.publisher.kill()
        server.start()
        server.send([fan(2, 0)])
        until("the change came", lambda: consumer.have == server.last())
        self.assertEqual(consumer.holes, [])

    def test_a_fault_that_chatters(self):
        server = self.started(engine_options=("--chattering", "2/1h"))
        consumer = Consumer(server).connect()
        server.send([fan(1, state) for _ in range(20) for state in (1, 0)])
        want = server.tail()
        self.assertLess(want[-1]["number"], server.last())
        self.assertEqual(want[-1]["change"], "chattering")
        until("what is told came", lambda: consumer.numbers == [change["number"] for change in want])
        until("the list shows it", lambda: [alarm.get("raises", 0) > 2 for alarm in (consumer.picture.alarms() or {}).values()] == [True])
        server.wait_for_cursor()


if __name__ == "__main__":
    board.main()
