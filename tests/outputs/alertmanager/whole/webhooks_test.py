"""Changes of an engine as events for a webhook: webhooks_test.py POLAIGA PUBLISHER SOURCE [TEST]..."""
import hashlib
import json
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import peers
from peers import WholeTest, dn_of_fan, fan, run, until


class WebhooksTest(WholeTest):
    def start(self, *arguments, engine_arguments=("--chattering", "0")):
        engine, receiver = self.engine(*engine_arguments), self.receiver()
        publisher = self.publisher(engine, "--webhook", receiver.url + "/hook", *arguments)
        until("the picture comes", lambda: receiver.taken)
        return engine, receiver, publisher

    def wait_for(self, receiver, ids):
        until("the events come", lambda: len(receiver.ids()) >= len(ids))
        self.assertEqual(receiver.ids(), ids)

    def wait_for_cursor(self, engine, number):
        until("the engine has the cursor", lambda: [one["through"] for one in engine.publishers().values()] == [number])

    def check_schema(self, events):
        """Every event is what docs/schemas describes."""
        text = "".join(json.dumps(event) + "\n" for event in events)
        answers = run("/usr/bin/python3", os.path.join(self.source, "tests/engine/support/validate_json.py"),
                      os.path.join(self.source, "docs/schemas/cloudevent.schema.json"), text=text).stdout.splitlines()
        self.assertEqual(len(answers), len(events))
        for answer, event in zip(answers, events):
            self.assertEqual(answer, "accepted", event)

    def test_every_change_is_an_event(self):
        engine, receiver, _ = self.start("--site", "berlin")
        engine.feed(fan(1), fan(1, 4, 1))
        engine.ask(do="acknowledge", alarms="1", comment="seen")
        engine.ask(do="maintain", dn=dn_of_fan(2), comment="swap", **{"for": 3600})
        engine.feed(fan(1, 4, 4), fan(1, 3, 0))
        self.wait_for(receiver, ["snapshot-0-1", *(str(number) for number in range(1, engine.number() + 1))])
        events = receiver.taken[1:]
        self.assertEqual([event["type"].removeprefix("polaiga.change.") for event in events],
                         ["raised", "superseded", "raised", "acknowledged", "out_of_service", "superseded", "raised", "cleared"])
        self.assertEqual([event["data"]["previous"] for event in events], list(range(0, len(events))))
        self.assertEqual({event["source"] for event in events}, {"/polaiga/berlin/web1"})
        self.assertEqual([event["subject"] for event in events], [dn_of_fan(2 if i == 4 else 1) for i in range(8)])
        self.assertEqual(receiver.headers[-1]["Content-Type"], "application/cloudevents+json")
        self.assertEqual(receiver.paths[-1], "/hook")
        # The data is what the engine's own commands print.
        told = run(peers.POLAIGA, "tail", "--json", "--ledger", engine.ledger, "--after", "0", "--no-follow").stdout
        printed = [json.loads(line) for line in told.splitlines()]
        self.assertEqual([{name: value for name, value in event["data"].items() if name != "previous"} for event in events],
                         printed)
        self.check_schema(receiver.taken)

    def test_it_begins_with_the_picture(self):
        engine, receiver = self.engine(), self.receiver()
        engine.feed(*(fan(number) for number in range(1, 101)))
        number = engine.number()
        self.publisher(engine, "--webhook", receiver.url)
        self.wait_for(receiver, [f"snapshot-{number}-1", f"snapshot-{number}-2"])
        alarms = [alarm for event in receiver.taken for alarm in event["data"]["alarms"]]
        self.assertEqual([alarm["dn"] for alarm in alarms], [dn_of_fan(one) for one in range(1, 101)])
        self.check_schema(receiver.taken)
        engine.feed(fan(1, 3, 0))
        until("the next change comes", lambda: len(receiver.taken) == 3)
        self.assertEqual(receiver.taken[2]["data"]["previous"], number)

    def test_a_restart_goes_on_where_it_was(self):
        engine, receiver, publisher = self.start()
        engine.feed(fan(1), fan(2))
        self.wait_for(receiver, ["snapshot-0-1", "1", "2"])
        self.wait_for_cursor(engine, 2)
        publisher.kill()
        engine.feed(fan(3))
        self.publisher(engine, "--webhook", receiver.url + "/hook")
        self.wait_for(receiver, ["snapshot-0-1", "1", "2", "3"])
        self.assertEqual(receiver.taken[3]["data"]["previous"], 2)

    def test_only_what_was_not_answered_comes_twice(self):
        engine, receiver, publisher = self.start()
        self.wait_for_cursor(engine, 0)
        receiver.behaviour = "hold"
        engine.feed(fan(1), fan(2), fan(3))
        until("the first one is taken", lambda: len(receiver.taken) == 2)
        publisher.kill()
        receiver.behaviour = "take"
        receiver.wake()
        self.publisher(engine, "--webhook", receiver.url + "/hook")
        until("the last one comes", lambda: receiver.ids()[-1] == "3")
        self.assertEqual(receiver.ids(), ["snapshot-0-1", "1", "1", "2", "3"])

    def test_a_receiver_that_fails_gets_all_in_order(self):
        engine, receiver, publisher = self.start()
        receiver.behaviour = 503
        engine.feed(*(fan(number) for number in range(1, 151)))
        until("it refuses", lambda: len(receiver.refused) > 2)
        self.assertEqual({event["data"]["number"] for event in receiver.refused}, {1})
        receiver.behaviour = "take"
        self.wait_for(receiver, ["snapshot-0-1", *(str(number) for number in range(1, 151))])
        self.wait_for_cursor(engine, 150)
        self.assertIn("it takes what it is told again", publisher.text())

    def test_chattering_is_told_with_the_numbers_before(self):
        engine, receiver, _ = self.start(engine_arguments=("--chattering", "2/2s"))
        for _ in range(6):
            engine.feed(fan(1), fan(1, 3, 0))
        until("it has settled", lambda: receiver.taken[-1]["type"] == "polaiga.change.settled")
        numbers = [event["data"]["number"] for event in receiver.taken[1:]]
        self.assertEqual([event["data"]["previous"] for event in receiver.taken[1:]], [0, *numbers[:-1]])
        self.assertLess(len(numbers), engine.number())
        self.check_schema(receiver.taken)

    def test_what_is_silenced_is_not_told(self):
        engine, receiver, publisher = self.start()
        engine.ask(do="maintain", dn=dn_of_fan(1), comment="swap", **{"for": 3600})
        engine.feed(fan(1), fan(2))
        until("the other one comes", lambda: receiver.taken[-1].get("subject") == dn_of_fan(2))
        self.assertEqual(receiver.ids(), ["snapshot-0-1", "1", "3"])
        self.assertEqual(receiver.taken[-1]["data"]["previous"], 1)
        # After a restart, too, what was passed over is not taken for what was told last.
        engine.feed(fan(1, 4, 1))
        self.wait_for_cursor(engine, 5)
        publisher.kill()
        self.publisher(engine, "--webhook", receiver.url + "/hook")
        engine.feed(fan(3))
        until("the next one comes", lambda: receiver.ids()[-1] == "6")
        self.assertEqual(receiver.taken[-1]["data"]["previous"], 3)

    def test_a_gap_is_told(self):
        engine, receiver, publisher = self.start(engine_arguments=("--chattering", "0", "--keep-events", "1000"))
        engine.feed(fan(1))
        self.wait_for(receiver, ["snapshot-0-1", "1"])
        self.wait_for_cursor(engine, 1)
        publisher.kill()
        engine.ask(do="forget", publisher=next(iter(engine.publishers())))  # so that it holds nothing back
        for _ in range(6):
            engine.feed(*(event for number in range(1, 501) for event in (fan(number, 3, 0), fan(number))))
        until("changes are gone", lambda: engine.ask(do="status")["oldest_number"] > 2)
        engine.ask(do="cursor", publisher=publisher_name(receiver), through=1)
        self.publisher(engine, "--webhook", receiver.url + "/hook")
        until("the picture comes", lambda: len(receiver.taken) > 3 and receiver.taken[-1]["data"].get("part") == 8)
        gap = receiver.taken[2]
        self.assertEqual(gap["type"], "polaiga.gap")
        self.assertEqual((gap["data"]["first"], gap["data"]["last"]), (2, engine.ask(do="status")["oldest_number"] - 1))
        alarms = [alarm["dn"] for event in receiver.taken[3:] for alarm in event["data"]["alarms"]]
        self.assertEqual(set(alarms), {one["dn"] for one in engine.active()})
        self.check_schema(receiver.taken[2:])

    def test_an_event_that_is_refused_again_and_again(self):
        engine, receiver = self.engine(), self.receiver()
        receiver.refuses = lambda event: event["id"].endswith("-1") and "snapshot" not in event["id"]
        publisher = self.publisher(engine, "--webhook", receiver.url)
        until("the picture comes", lambda: receiver.taken)
        engine.feed(fan(1), fan(2))
        until("it is tried again", lambda: len(receiver.refused) >= 3)
        self.assertNotIn("passed over", publisher.text())
        self.assertEqual(receiver.ids(), ["snapshot-0-1"])


def publisher_name(receiver):
    return "webhook-" + hashlib.sha256((receiver.url + "/hook").encode()).hexdigest()[:12]


if __name__ == "__main__":
    peers.main()
