#!/usr/bin/env python3
"""fleet-sim with a mosquitto and a consumer in place of the collectors: program_test.py POLAIGA FLEET_SIM"""
import json
import signal
import subprocess
import sys
import tempfile
import threading
import unittest
from pathlib import Path

import jsonschema

ROOT = Path(__file__).resolve().parents[3]
sys.path[:0] = [str(ROOT / "tests/support"), str(ROOT / "tests/outputs/mqtt/support")]
sys.dont_write_bytecode = True
from board import Broker
from mqtt import PUBLISH, Client, packet, text
from processes import Process, run, until

POLAIGA, FLEET_SIM = "", ""
CONTROLLERS = 20


def check_by_schema(messages):
    """All messages are as docs/schemas says: pairs of the last part of the topic and of what it says."""
    store = {path.name: json.loads(path.read_text()) for path in (ROOT / "docs/schemas").glob("*.json")}
    checkers = {}
    for kind in ("change", "status", "replayed"):
        name = f"mqtt_{kind}.schema.json"
        resolver = jsonschema.RefResolver(name, store[name], store=store)
        checkers[kind] = jsonschema.Draft202012Validator(store[name], resolver=resolver)
    for kind, message in messages:
        checkers[kind].validate(message)


class Consumer:
    """Takes changes in their order and acknowledges them, as a collector does. While `is_deaf`, it does neither."""

    def __init__(self, port):
        self.seen = []
        self.lock = threading.Lock()
        self.numbers, self.statuses, self.replayed, self.repeats, self.is_deaf = {}, [], [], 0, False
        self.connect(port)

    def connect(self, port):
        self.client = Client(port, "consumer", ["polaiga/v1/+/+/change", "polaiga/v1/+/+/status", "polaiga/v1/+/+/replayed"],
                             clean=False, on_message=self.take)

    def take(self, message):
        _, _, site, controller, kind = message.topic.split("/")
        payload = json.loads(message.payload)
        with self.lock:
            self.seen.append((kind, payload))
            if kind == "status":
                self.statuses.append(payload)
            elif kind == "replayed":
                self.replayed.append(payload)
            elif not self.is_deaf:
                self.take_change(payload, f"polaiga/v1/{site}/{controller}/")

    def take_change(self, change, below):
        numbers = self.numbers.setdefault(change["ledger_id"], [0])
        if change["number"] <= numbers[-1]:
            self.repeats += 1
        elif change["previous"] == numbers[-1]:
            numbers.append(change["number"])
        else:
            return
        ack = json.dumps({"ledger_id": change["ledger_id"], "through": numbers[-1]})
        # The thread that reads may not wait until the broker confirms it.
        self.client.send(packet(PUBLISH, 0, text(below + "ack") + ack.encode()))

    def has(self):
        with self.lock:
            return sum(len(numbers) - 1 for numbers in self.numbers.values())


class ProgramTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="polaiga-simulator-")
        self.addCleanup(directory.cleanup)
        self.place = Path(directory.name)
        self.recording = self.place / "recording.jsonl"
        self.recording.write_text(run(ROOT / "tools/fleet-recording", POLAIGA).stdout)
        self.broker = Broker(directory.name)
        self.addCleanup(self.broker.close)
        self.consumer = Consumer(self.broker.port)

    def tearDown(self):
        check_by_schema(self.consumer.seen)

    def simulate(self, *options):
        return Process(FLEET_SIM, "--broker", f"127.0.0.1:{self.broker.port}", "--recording", str(self.recording), "--record",
                       str(self.place / "record"), "--controllers", str(CONTROLLERS), "--sites", "3", "--seed", "5", *options)

    def made(self):
        """The numbers of the changes that were made, by ledger."""
        made = {}
        for line in (self.place / "record").read_text().splitlines():
            one = json.loads(line)
            made[one["ledger_id"]] = [number for part in one["changes"] for number in range(part["first"], part["last"] + 1)]
        return made

    def end(self, simulator):
        """Its last figures."""
        self.assertEqual(simulator.wait(), 0, simulator.text())
        return json.loads(simulator.said[-1])

    def test_all_that_is_made_is_told_and_acknowledged(self):
        simulator = self.simulate("--rate", "200", "--duration", "3")
        figures = self.end(simulator)
        self.assertEqual((figures["made"], figures["acked"]), (self.consumer.has(), self.consumer.has()))
        self.assertGreater(figures["made"], 500)
        self.assertEqual(figures["acked_within_2_s"], figures["acked"])
        self.assertEqual({ledger: numbers[1:] for ledger, numbers in self.consumer.numbers.items()}, self.made())
        self.assertEqual(len(self.made()), CONTROLLERS)
        until("all say that they were stopped",
              lambda: [one.get("reason") for one in list(self.consumer.statuses)].count("stopped") == CONTROLLERS)

    def test_a_broker_that_is_killed_loses_nothing(self):
        simulator = self.simulate("--rate", "200")
        until("changes come", lambda: self.consumer.has() > 100)
        self.broker.restart()
        self.consumer.connect(self.broker.port)
        before = self.consumer.has()
        until("changes come again", lambda: self.consumer.has() > before + 100)
        simulator.send_signal(signal.SIGTERM)
        figures = self.end(simulator)
        self.assertEqual(figures["reconnects"], CONTROLLERS)
        self.assertEqual({ledger: numbers[1:] for ledger, numbers in self.consumer.numbers.items()}, self.made())

    def test_who_is_killed_is_lost(self):
        simulator = self.simulate()
        until("changes come", lambda: self.consumer.has() > 0)
        simulator.kill()
        until("the broker tells it of all",
              lambda: [one.get("reason") for one in list(self.consumer.statuses)].count("lost") == CONTROLLERS)

    def test_changes_and_alarms_are_told_again_when_asked_for(self):
        simulator = self.simulate("--rate", "100", "--kept", "1000")
        until("changes come", lambda: self.consumer.has() > 200)
        with self.consumer.lock:
            ledger, numbers = max(self.consumer.numbers.items(), key=lambda one: len(one[1]))
            numbers = list(numbers[1:])
            name = next(one for one in self.consumer.statuses if one["ledger_id"] == ledger)
        below = f"polaiga/v1/{name['site']}/{name['controller']}/"
        self.consumer.client.publish(below + "replay", json.dumps({"ledger_id": ledger, "first": 1, "last": numbers[-1], "id": "a"}))
        self.consumer.client.publish(below + "replay", json.dumps({"ledger_id": ledger, "alarms": True, "id": "b"}))
        until("both are answered", lambda: any(one.get("last") for one in list(self.consumer.replayed)))
        told = [one for one in self.consumer.replayed if one["replay"] == "a"]
        self.assertEqual([one["number"] for one in told[:-1]], numbers)
        self.assertEqual((told[-1]["done"], told[-1]["through"]), (True, numbers[-1]))
        simulator.send_signal(signal.SIGTERM)
        self.end(simulator)

    def test_what_nobody_acknowledges_is_told_at_the_end(self):
        self.consumer.is_deaf = True
        simulator = self.simulate("--rate", "50", "--duration", "1", "--wait", "0.5")
        self.assertEqual(simulator.wait(), 1)
        figures = json.loads(simulator.said[-1])
        self.assertEqual(figures["acked"], 0)
        self.assertEqual(figures["waiting"], figures["made"])

    def test_options_that_are_wrong(self):
        address = ["--broker", "127.0.0.1:1"]
        for options, words in ((["--recording", str(self.recording)], "--broker is required"),
                               ([*address, "--recording", "nowhere"], "cannot read 'nowhere'"),
                               ([*address, "--recording", "/dev/null"], "no alarm in it begins and ends"),
                               ([*address, "--recording", str(self.recording), "--burst", "--rate", "0.1"], "--burst needs a greater --rate"),
                               (["--broker", "a b", "--recording", str(self.recording)], "'a b' is no broker")):
            done = subprocess.run([FLEET_SIM, *options], capture_output=True, text=True)
            self.assertEqual(done.returncode, 2, options)
            self.assertIn(words, done.stderr)


if __name__ == "__main__":
    POLAIGA, FLEET_SIM = sys.argv.pop(1), sys.argv.pop(1)
    unittest.main()
