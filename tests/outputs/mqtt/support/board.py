"""What the tests of the whole share: an engine, a mosquitto and polaiga-mqtt between them, as their users start them."""
import atexit
import contextlib
import json
import os
import shutil
import signal
import socket
import sqlite3
import sys
import tempfile
import threading
import time
import unittest
from pathlib import Path

from mqtt import Client

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "support"))
from processes import PATIENCE, Process, free_port, run, until

ROOT = Path(__file__).resolve().parents[4]
POLAIGA, POLAIGA_MQTT = "", ""  # the programs, which main() is told
SITE, CONTROLLER = "lab", "rack-1"
BELOW = f"polaiga/v1/{SITE}/{CONTROLLER}/"


class Broker:
    """A mosquitto. `lines` are more lines of its configuration."""

    def __init__(self, place, *lines, name="broker"):
        self.place, self.name, self.port, self.lines, self.process = place, name, free_port(), lines, None
        self.start()

    def start(self):
        path = os.path.join(self.place, self.name + ".conf")
        with open(path, "w", encoding="ascii") as file:
            file.write("\n".join([f"listener {self.port} 127.0.0.1", "allow_anonymous true", "max_queued_messages 0",
                                  "user root" if os.geteuid() == 0 else "", *self.lines]) + "\n")
        self.process = Process("/usr/sbin/mosquitto", "-c", path)
        until("the broker listens", self.is_there)

    def is_there(self):
        assert not self.process.has_ended(), self.process.text()
        try:
            socket.create_connection(("127.0.0.1", self.port), timeout=1).close()
        except OSError:
            return False
        return True

    def restart(self, how=signal.SIGKILL):
        self.process.end(how)
        self.start()

    def close(self):
        if self.process is not None:
            self.process.kill()


class Board:
    """A directory with an engine in it, and a broker. They are started with it, polaiga-mqtt is not."""

    def __init__(self, *lines, engine_options=(), broker=True):
        self.place = tempfile.mkdtemp(prefix="mqtt.")
        atexit.register(self.close)
        self.ledger, self.socket, self.control = (self.file(name) for name in ("ledger.db", "events.sock", "control.sock"))
        self.engine = self.publisher = self.broker = None
        self.clients, self.engine_options = [], engine_options
        self.start_engine()
        if broker:
            self.broker = Broker(self.place, *lines)

    def file(self, name):
        return os.path.join(self.place, name)

    def write(self, name, content, mode=0o600):
        path = self.file(name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(content)
        os.chmod(path, mode)
        return path

    def start_engine(self, *options):
        self.engine = Process(POLAIGA, "run", "--ledger", self.ledger, "--socket", self.socket, "--control", self.control,
                              *self.engine_options, *options)
        self.engine.wait_for("ready: ")

    def options(self, port=None):
        return ["--ledger", self.ledger, "--control", self.control, "--broker", f"127.0.0.1:{port or self.broker.port}",
                "--site", SITE, "--controller", CONTROLLER]

    def start(self, *arguments, port=None):
        """Starts polaiga-mqtt."""
        self.publisher = Process(POLAIGA_MQTT, *self.options(port), *arguments)
        return self.publisher

    def client(self, *topics, name="consumer", **more):
        client = Client(self.broker.port, name, [BELOW + topic for topic in topics], **more)
        self.clients.append(client)
        return client

    def send(self, events):
        """Gives the engine events, and waits until they are durable."""
        with socket.socket(socket.AF_UNIX) as connection:
            connection.settimeout(PATIENCE)
            connection.connect(self.socket)
            lines = [json.dumps(event) for event in events]
            sender = threading.Thread(target=connection.sendall, args=(("\n".join(lines) + "\n").encode(),))
            sender.start()
            answers = b""
            while answers.count(b"\n") < len(lines):
                some = connection.recv(1 << 16)
                assert some, answers[-500:]
                answers += some
            sender.join()
        assert b"error" not in answers, answers[:500]

    def ask_engine(self, **request):
        with socket.socket(socket.AF_UNIX) as connection:
            connection.settimeout(PATIENCE)
            connection.connect(self.control)
            connection.sendall((json.dumps(request) + "\n").encode())
            answer = b""
            while not answer.endswith(b"\n"):
                answer += connection.recv(1 << 16)
        return json.loads(answer)

    def ask_ledger_id(self):
        return self.ask_engine(do="status")["ledger_id"]

    def ask(self, question):
        with contextlib.closing(sqlite3.connect(f"file:{self.ledger}?mode=ro", uri=True, timeout=PATIENCE)) as ledger:
            return list(ledger.execute(question))

    def cursor(self):
        found = self.ask("SELECT change FROM publisher_cursor WHERE name = 'mqtt'")
        return found[0][0] if found else None

    def last(self):
        """The number of the last change."""
        return self.ask("SELECT coalesce(max(number), 0) FROM changes")[0][0]

    def tail(self, after=0):
        """The changes that outputs are told, as the program itself lists them."""
        told = run(POLAIGA, "tail", "--ledger", self.ledger, "--json", "--after", str(after), "--no-follow").stdout
        changes = [json.loads(line) for line in told.splitlines()]
        return [change for change in changes if not change["quiet"] and not change["folded"]]

    def active(self):
        listed = run(POLAIGA, "active", "--ledger", self.ledger, "--json", "--all").stdout
        return [json.loads(line) for line in listed.splitlines()]

    def wait_for_cursor(self, patience=PATIENCE):
        """Until the engine knows that all has been told."""
        until(f"the cursor is at the end: {self.cursor()} of {self.last()}; {self.publisher.text()[-2000:]}",
              lambda: self.cursor() == self.last(), patience)

    def close(self):
        for client in self.clients:
            client.close()
        self.clients = []
        for process in (self.publisher, self.engine):
            if process is not None:
                process.kill()
        if self.broker is not None:
            self.broker.close()
        shutil.rmtree(self.place, ignore_errors=True)


def fan(unit, state, tach=1):
    """A fan that is slow (1), or well (0)."""
    return {"entity": "fan", "sensor": f"FAN{unit}_TACH{tach}", "instance": unit, "offset": 3, "state": state}


def supply(instance, state):
    """A power supply that is missing (1), or there (0); of any instance, so that there may be many alarms."""
    return {"entity": "ps", "sensor": f"PS{instance}_STATUS", "instance": instance, "offset": 30, "state": state}


class Picture:
    """What a consumer has of the retained messages: docs/mqtt.md tells how to read them."""

    def __init__(self):
        self.index, self.pages, self.status = None, {}, None

    def take(self, message):
        if not message.topic.startswith(BELOW):
            return
        topic = message.topic[len(BELOW):]
        value = json.loads(message.payload) if message.payload else None
        if topic == "alarms":
            self.index = value
        elif topic == "status":
            self.status = value
        elif topic.startswith("alarms/"):
            if value is None:
                self.pages.pop(int(topic[7:]), None)
            else:
                self.pages[int(topic[7:])] = value

    def is_whole(self):
        if self.index is None:
            return False
        for one in self.index["pages"]:
            page = self.pages.get(one["page"])
            if page is None or page["number"] != one["number"] or page["ledger_id"] != self.index["ledger_id"]:
                return False
        return True

    def alarms(self):
        """By their ids; nothing while pages are on their way."""
        if not self.is_whole():
            return None
        found = {}
        for one in self.index["pages"]:
            for alarm in self.pages[one["page"]]["alarms"]:
                assert alarm["alarm"] not in found, alarm
                found[alarm["alarm"]] = alarm
        assert len(found) == self.index["count"], (len(found), self.index)
        return found


class Consumer:
    """Takes the changes as docs/mqtt.md tells a consumer to: repeats are passed over, and what is missing is asked for."""

    def __init__(self, board, name="collector", clean=True, acks=False):
        self.board, self.name, self.clean, self.acks = board, name, clean, acks
        self.have, self.ledger_id, self.numbers, self.repeats, self.gaps, self.holes = None, None, [], 0, [], []
        self.replayed, self.answers, self.picture, self.client = {}, [], Picture(), None
        self.lock = threading.Lock()

    def connect(self):
        """Again and again, until there is a broker."""
        self.client = None

        def connected():
            try:
                self.client = self.board.client("change", "replayed", "alarms", "alarms/+", "status", name=self.name,
                                                clean=self.clean, on_message=self.take)
            except (OSError, AssertionError):
                return False
            return True
        until("the consumer is connected", connected)
        with self.lock:
            if self.acks and self.have is not None:
                self.ack()
        return self

    def take(self, message):
        with self.lock:
            topic = message.topic[len(BELOW):]
            if topic == "replayed":
                self.take_replayed(json.loads(message.payload))
            elif topic == "change":
                self.take_change(json.loads(message.payload))
            else:
                self.picture.take(message)

    def take_replayed(self, value):
        if "number" in value:
            self.replayed[value["number"]] = value
        else:
            self.answers.append(value)

    def take_change(self, value):
        if value["ledger_id"] != self.ledger_id:
            self.ledger_id, self.have = value["ledger_id"], value["previous"]
        if "gap" in value:
            first, last = value["gap"]["first"], value["gap"]["last"]
            self.gaps.append((first, last))
            is_put_back = value["previous"] == last
            self.have = min(self.have, first - 1) if is_put_back else max(self.have, last)
            if self.acks:
                self.ack()
            return
        if value["number"] <= self.have:
            self.repeats += 1
            # Its acknowledgement may have been lost.
            if self.acks and self.repeats % 50 == 0:
                self.ack()
            return
        if value["previous"] > self.have:
            self.holes.append((self.have + 1, value["previous"]))
        self.numbers.append(value["number"])
        self.have = value["number"]
        if self.acks and self.have % 50 == 0:
            self.ack()

    def ack(self):
        """From the thread that reads, so nothing waits for the broker's answer."""
        from mqtt import PUBLISH, packet, text
        import struct
        payload = json.dumps({"ledger_id": self.ledger_id, "through": self.have}).encode()
        self.client.send(packet(PUBLISH, 2, text(BELOW + "ack") + struct.pack("!H", self.client.new_id()) + payload))

    def ask(self, first, last, name=None):
        """Asks for a range again, and waits until it is told."""
        name = name or f"{first} to {last} {time.monotonic()}"
        request = {"ledger_id": self.ledger_id, "first": first, "last": last, "id": name}
        self.client.publish(BELOW + "replay", json.dumps(request))
        return until("the replay is done", lambda: next(
            (one for one in list(self.answers) if one.get("replay") == name and ("done" in one or "refused" in one)), None))

    def fill_holes(self):
        for first, last in self.holes:
            assert "done" in self.ask(first, last)
        self.holes = []

    def all_numbers(self):
        return sorted(set(self.numbers) | set(self.replayed))


def retained(board, patience=PATIENCE, **more):
    """The picture of one who joins now, and how long it took to be whole."""
    picture, lock = Picture(), threading.Lock()

    def take(message):
        with lock:
            picture.take(message)
    began = time.monotonic()
    client = board.client("#", name=f"joiner-{began}", on_message=take, **more)

    def whole():
        with lock:
            return picture.is_whole() and picture.status is not None
    until("the picture is whole", whole, patience)
    took = time.monotonic() - began
    client.close()
    board.clients.remove(client)
    return picture, took


def same_as_ledger(board, picture):
    """Whether the alarms are those of the ledger, in what both tell."""
    told = picture.alarms()
    if told is None:
        return False
    active = {alarm["alarm"]: alarm for alarm in board.active()}
    names = ("fault_dn", "severity", "since", "count", "reporters", "operator_state", "out_of_service", "created")
    def shown(alarms):
        return {key: tuple(alarm[name] for name in names) for key, alarm in alarms.items()}
    return shown(told) == shown(active)


def described(schema, values):
    """Every one of the messages is as docs/schemas says, and none would be with a member that is not known."""
    assert values, schema
    lines = [json.dumps(value) for value in values] + [json.dumps(dict(value, Unknown=1)) for value in values]
    verdicts = run("/usr/bin/python3", str(ROOT / "tests/engine/support/validate_json.py"),
                   str(ROOT / f"docs/schemas/{schema}.schema.json"), text="\n".join(lines) + "\n").stdout.splitlines()
    assert len(verdicts) == len(lines), verdicts
    for line, verdict, want in zip(lines, verdicts, ["accepted"] * len(values) + ["refused"] * len(values)):
        assert verdict.startswith(want), (schema, verdict, line)


class BoardTest(unittest.TestCase):
    def board(self, *lines, **more):
        board = Board(*lines, **more)
        self.addCleanup(board.close)
        return board


def main():
    """Runs the tests of the script: SCRIPT POLAIGA POLAIGA_MQTT [TEST]..."""
    global POLAIGA, POLAIGA_MQTT
    POLAIGA, POLAIGA_MQTT = sys.argv[1:3]
    del sys.argv[1:3]
    unittest.main(module="__main__", verbosity=2)
