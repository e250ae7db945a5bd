#!/usr/bin/env python3
"""What publishers whose peers hang cost the engine: outputs_bench.py POLAIGA DAY POLAIGA_MQTT POLAIGA_ALERTMANAGER
Each of their peers takes the connection and never answers. The engine's rate beside them is compared with its rate
without them, in turns, so that a machine that does other things meanwhile disturbs both alike. polaiga-snmp has no
network peer that could hang: it speaks to the agent of its own machine."""
import json
import os
import socket
import statistics
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

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
        self.process = subprocess.Popen([program, "run", "--ledger", self.ledger, "--socket", self.events, "--control",
                                         self.control], stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        for line in self.process.stderr:
            if "ready" in line:
                break
        threading.Thread(target=self.process.stderr.read, daemon=True).start()
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


def end(process):
    process.terminate()
    process.wait(30)


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
            with open(os.devnull, "w", encoding="ascii") as nowhere:
                publishers = [
                    subprocess.Popen([mqtt, *common, "--broker", f"127.0.0.1:{peer.port}", "--site", "bench",
                                      "--controller", "one"], stderr=nowhere),
                    subprocess.Popen([alertmanager, *common, "--url", f"http://127.0.0.1:{peer.port}"], stderr=nowhere)]
                began = time.monotonic()
                while len(engine.publishers()) < 2:
                    if time.monotonic() - began > 30:
                        sys.exit("the publishers do not report to the engine")
                    time.sleep(0.05)
                beside.append(engine.rate(lines))
                for publisher in publishers:
                    end(publisher)
        end(engine.process)
    ratio = statistics.median(beside) / statistics.median(alone)
    holds = ratio >= LEAST
    print(f"events a second alone {statistics.median(alone):,.0f}, beside publishers whose peers hang "
          f"{statistics.median(beside):,.0f}: ratio {ratio:.2f}   >= {LEAST:.2f}{'' if holds else '  MISSED'}")
    sys.exit(0 if holds else 1)


main()
