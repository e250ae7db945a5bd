#!/usr/bin/env python3
"""What publishers whose peers hang cost the engine: outputs_bench.py POLAIGA DAY POLAIGA_MQTT POLAIGA_ALERTMANAGER
Each of their peers takes the connection and never answers. The engine's rate beside them is compared with its rate
without them, in turns, so that a machine that does other things meanwhile disturbs both alike. polaiga-snmp has no
network peer that could hang: it speaks to the agent of its own machine."""
import json
import socket
import statistics
import sys
import tempfile
import threading
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "tests/support"))
sys.dont_write_bytecode = True
from figures import Figures
from processes import Process, until

ROUNDS = 5
EVENTS = 30_000  # in a round
LEAST = 0.8      # of the rate without publishers


class SilentPeer:
    """Takes connections, reads what comes, and says nothing."""

    def __init__(self):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        threading.Thread(target=self.run, daemon=True).start()

    def run(self):
        while True:
            client, _ = self.listener.accept()
            threading.Thread(target=self.read, args=(client,), daemon=True).start()

    @staticmethod
    def read(client):
        while client.recv(65536):
            pass


class Engine:
    def __init__(self, program, directory):
        self.ledger, self.events, self.control = (str(directory / name) for name in ("ledger.db", "events", "control"))
        self.process = Process(program, "run", "--ledger", self.ledger, "--socket", self.events, "--control", self.control)
        self.process.wait_for("ready: ")
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(self.events)

    def rate(self, lines):
        """Durable events a second."""
        text = b"".join(lines)
        sender = threading.Thread(target=self.socket.sendall, args=(text,))
        began = time.monotonic()
        sender.start()
        answers = 0
        while answers < len(lines):
            part = self.socket.recv(1 << 20)
            if not part:
                sys.exit("the engine has ended")
            answers += part.count(b"\n")
        sender.join()
        return len(lines) / (time.monotonic() - began)

    def publishers(self):
        with socket.socket(socket.AF_UNIX) as control:
            control.connect(self.control)
            control.sendall(b'{"do":"status"}\n')
            return {one["publisher"] for one in json.loads(control.makefile().readline())["publishers"]}


def main():
    program, day, mqtt, alertmanager = sys.argv[1:]
    cycle = Path(day).read_bytes().splitlines(keepends=True)
    lines = (cycle * (EVENTS // len(cycle) + 1))[:EVENTS]
    peer = SilentPeer()
    alone, beside = [], []
    with tempfile.TemporaryDirectory() as directory:
        engine = Engine(program, Path(directory))
        engine.rate(lines)  # the ledger begins
        common = ["--ledger", engine.ledger, "--control", engine.control]
        for _ in range(ROUNDS):
            alone.append(engine.rate(lines))
            with (Process(mqtt, *common, "--broker", f"127.0.0.1:{peer.port}", "--site", "bench", "--controller", "one"),
                  Process(alertmanager, *common, "--url", f"http://127.0.0.1:{peer.port}")):
                until("the publishers report to the engine", lambda: len(engine.publishers()) >= 2)
                beside.append(engine.rate(lines))
        engine.process.end()
    figures = Figures()
    figures.note("events a second alone", statistics.median(alone))
    figures.note("events a second beside publishers whose peers hang", statistics.median(beside))
    figures.at_least("their ratio", statistics.median(beside) / statistics.median(alone), LEAST)
    sys.exit(1 if figures.missed else 0)


main()
