"""Broker, publisher and engine are killed at random moments amid a stream of changes:
kill_test.py POLAIGA POLAIGA_MQTT [CHANGES [SEED]]
Then a consumer that keeps to docs/mqtt.md has every change, and who joins late has the list of the ledger. It is done once
with the broker's word for it that a change has arrived, and once with a collector's."""
import collections
import os
import random
import sys
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import board
from board import Board, Consumer, retained, same_as_ledger, supply, until

AT_ONCE = 200  # events


class Stream:
    """Power supplies that come and go, until so many changes were made. The engine may be killed only between two parts."""

    def __init__(self, server, changes, chance):
        self.server, self.left, self.chance = server, changes, chance
        self.lock, self.states = threading.Lock(), collections.defaultdict(int)
        self.thread = threading.Thread(target=self.run)
        self.thread.start()

    def run(self):
        while self.left > 0:
            events = []
            for _ in range(min(AT_ONCE, self.left)):
                number = self.chance.randrange(1, 301)
                self.states[number] = 1 - self.states[number]
                events.append(supply(number, self.states[number]))
            with self.lock:
                self.server.send(events)
            self.left -= len(events)
            time.sleep(0.1)


def test_kills(changes, chance, options):
    server = Board(engine_options=("--chattering", "0"))
    counts = collections.Counter()
    consumer = Consumer(server, acks=bool(options)).connect()
    try:
        server.start(*options)
        until("it has begun", lambda: server.cursor() is not None)
        stream = Stream(server, changes, chance)
        while stream.left > 0:
            time.sleep(chance.uniform(0.02, 0.25))  # a moment of any kind
            what = chance.choice(("broker", "broker", "publisher", "engine"))
            counts[what] += 1
            if what == "broker":
                server.broker.restart()
            elif what == "publisher":
                server.publisher.kill()
                server.start(*options)
            else:
                with stream.lock:
                    server.engine.kill()
                    server.start_engine()
            if consumer.client.is_lost:
                consumer.connect()
        stream.thread.join()
        # One more, so that a loss at the end is seen, too. A broker that was killed may have dropped what it confirmed.
        def comes_through():
            if consumer.client.is_lost:
                consumer.connect()
            stream.states[1] = 1 - stream.states[1]
            server.send([supply(1, stream.states[1])])
            end = time.monotonic() + 5
            while consumer.have != server.last() and time.monotonic() < end:
                time.sleep(0.05)
            return consumer.have == server.last()
        until("the last change came", comes_through)
        holes = list(consumer.holes)
        consumer.fill_holes()
        want = [change["number"] for change in server.tail()]
        missing = sorted(set(want) - set(consumer.all_numbers()))
        assert not missing, (missing[:20], len(missing), holes[-5:], server.publisher.text())
        assert set(consumer.all_numbers()) <= set(want)
        assert not consumer.gaps, consumer.gaps
        if options:
            consumer.ack()
        server.wait_for_cursor()
        until("the list is that of the ledger", lambda: same_as_ledger(server, retained(server)[0]))
        assert server.publisher.end() == 0
        print(f"{len(want)} changes, {dict(counts)} killed, {consumer.repeats} repeats, "
              f"{sum(last - first + 1 for first, last in holes)} lost by the broker and replayed: all is well.", flush=True)
    finally:
        server.close()


def main():
    board.POLAIGA, board.POLAIGA_MQTT = sys.argv[1:3]
    changes = int(sys.argv[3]) if len(sys.argv) > 3 else 4000
    seed = int(sys.argv[4]) if len(sys.argv) > 4 else random.randrange(10**6)
    print("The seed is", seed, flush=True)
    for options in ((), ("--confirm", "collector")):
        test_kills(changes, random.Random(seed), options)


if __name__ == "__main__":
    main()
