#!/usr/bin/env python3
"""How fast polaiga-mqtt tells, and in how much memory, with limits: mqtt_bench.py POLAIGA POLAIGA_MQTT [CHANGES]
It tells a mosquitto on this machine."""
import sys
import threading
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "tests/outputs/mqtt/support"))
sys.dont_write_bytecode = True
import board
from board import Board, fan, retained, supply, until
from figures import Figures

PART = 10_000  # events that are sent at once
EVENTS = 20
figures = Figures()


def make_changes(server, count):
    """Supplies that come and go, each event a change."""
    sent = 0
    while server.last() < count:
        server.send([supply(1 + i % 300, 1 - i // 300 % 2) for i in range(sent, sent + PART)])
        sent += PART
    return server.last()


def speed(changes, *options):
    server = Board(engine_options=("--chattering", "0", "--keep-events", "0", "--keep-bytes", "0"))
    try:
        server.start(*options)
        until("it has begun", lambda: server.cursor() is not None)
        server.publisher.kill()
        last = make_changes(server, changes)
        began = time.monotonic()
        server.start(*options)
        until("all is confirmed", lambda: server.cursor() == last, 300)
        figures.at_least(f"changes a second, confirmed {' '.join(options)}", last / (time.monotonic() - began), 5000)
        figures.at_most(f"memory for {last} changes, MiB", server.publisher.most_memory() / 2**20, 40)
    finally:
        server.close()


def promptness():
    server = Board(engine_options=("--chattering", "0"))
    try:
        server.start()
        until("it has begun", lambda: server.cursor() is not None)
        came = threading.Event()
        server.client("change", on_message=lambda message: came.set())
        longest = 0.0
        for i in range(EVENTS):
            came.clear()
            began = time.monotonic()
            server.send([fan(1, 1 - i % 2)])
            assert came.wait(10)
            longest = max(longest, time.monotonic() - began)
        figures.at_most("from an event to its message, the longest, s", longest, 0.25)
    finally:
        server.close()


def many_alarms():
    server = Board(engine_options=("--chattering", "0"))
    try:
        server.start()
        until("it has begun", lambda: server.cursor() is not None)
        server.send([{"entity": "mem", "sensor": "DIMM", "instance": i, "offset": 66, "state": 4} for i in range(1, 10_001)])
        server.wait_for_cursor()
        count = len(server.active())
        until("the list is whole", lambda: retained(server)[0].index["count"] == count)
        picture, took = retained(server)
        assert len(picture.alarms()) == count
        figures.at_most(f"until one who joins has the list of {count} alarms, s", took, 1)
        figures.at_most("memory with it, MiB", server.publisher.most_memory() / 2**20, 60)
    finally:
        server.close()


def main():
    board.POLAIGA, board.POLAIGA_MQTT = sys.argv[1:3]
    changes = int(sys.argv[3]) if len(sys.argv) > 3 else 50_000
    speed(changes)
    speed(changes, "--protocol", "3.1.1")
    promptness()
    many_alarms()
    return 1 if figures.missed else 0


if __name__ == "__main__":
    sys.exit(main())
