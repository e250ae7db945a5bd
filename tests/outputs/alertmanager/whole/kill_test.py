"""Publisher, engine, Alertmanager and webhook are killed at random moments amid a stream of events:
kill_test.py POLAIGA PUBLISHER SOURCE [KILLS [SEED]]
Then the alerts are the ledger's alarms, and the webhook has every change in order; only those that were on their way at a
kill come a second time."""
import collections
import os
import random
import sys
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import peers
from peers import DOWN, UP, Alertmanager, Engine, Receiver, fan, until

FANS = 40
LONGEST = 0.4  # seconds of events between two kills


class Stream:
    """Fans that get worse and better at random."""

    def __init__(self, engine, chance):
        self.engine, self.chance = engine, chance
        self.levels = [0] * FANS
        self.lock, self.is_over = threading.Lock(), threading.Event()
        self.thread = threading.Thread(target=self.run)
        self.thread.start()

    def run(self):
        while not self.is_over.wait(0.01):
            with self.lock:
                self.step()

    def step(self):
        number = self.chance.randrange(FANS)
        is_up = self.levels[number] == 0 or (self.levels[number] < 3 and self.chance.random() < 0.5)
        offset, state = (UP if is_up else DOWN)[self.levels[number]]
        self.engine.feed(fan(number + 1, offset, state))
        self.levels[number] += 1 if is_up else -1

    def end(self):
        self.is_over.set()
        self.thread.join()


def check_webhook(receiver, last):
    """Each change comes, in order; a kill may bring back those of the last moment."""
    events = list(receiver.taken)
    assert events[0]["type"] == "polaiga.snapshot", events[0]
    repeats, known = 0, events[0]["data"]["number"]
    for event in events[1:]:
        assert event["type"].startswith("polaiga.change."), event["type"]
        number, previous = event["data"]["number"], event["data"]["previous"]
        assert previous is not None and previous <= known, (previous, known)
        repeats += number <= known
        known = max(known, number)
    assert known == last, (known, last)
    return repeats


def test_kills_at_random_moments(kills, seed):
    chance = random.Random(seed)
    engine = Engine("--chattering", "0")
    alertmanager, receiver = Alertmanager(engine), Receiver()
    urls = "--url", alertmanager.url, "--webhook", receiver.url
    publisher = engine.publisher(*urls)
    until("the webhook has the picture", lambda: receiver.taken)
    until("the engine has the cursor", lambda: len(engine.publishers()) == 2)
    counts = collections.Counter()
    stream = Stream(engine, random.Random(seed + 1))
    try:
        for _ in range(kills):
            time.sleep(chance.uniform(0, LONGEST))  # a moment of any kind, not a wait for something
            what = chance.choice(("publisher", "publisher", "engine", "alertmanager", "webhook"))
            counts[what] += 1
            if what == "publisher":
                publisher.kill()
                time.sleep(chance.uniform(0, LONGEST))  # it is away for a while
                publisher = engine.publisher(*urls)
            elif what == "engine":
                with stream.lock:
                    engine.kill()
                    engine.start()
            elif what == "alertmanager":
                alertmanager.kill()
                alertmanager.start()
            else:
                receiver.stop()
                time.sleep(chance.uniform(0, LONGEST))
                receiver.start()
    finally:
        stream.end()
    alertmanager.wait_for_truth(engine)
    expected = {level for level in stream.levels if level}
    assert {severity for _, _, severity in alertmanager.picture()} == {peers.SEVERITY[level] for level in expected}
    last = engine.number()
    try:
        until("the webhook has the last change",
              lambda: max(event["data"].get("number", 0) for event in list(receiver.taken)) == last)
    except AssertionError:
        print(last, receiver.ids()[-5:], engine.publishers(), publisher.text(), sep="\n")
        raise
    repeats = check_webhook(receiver, last)
    until("the cursors are there", lambda: {one["through"] for one in engine.publishers().values()} == {last})
    assert publisher.end() == 0, publisher.text()
    print(f"{kills} kills ({dict(counts)}) amid {last} changes; {repeats} changes came to the webhook a second time.")
    engine.kill()
    alertmanager.kill()
    receiver.stop()


def main():
    peers.POLAIGA, peers.PUBLISHER = sys.argv[1:3]
    kills = int(sys.argv[4]) if len(sys.argv) > 4 else 16
    seed = int(sys.argv[5]) if len(sys.argv) > 5 else random.randrange(10**6)
    print("The seed is", seed, flush=True)
    test_kills_at_random_moments(kills, seed)
    print("All is well.")


if __name__ == "__main__":
    main()
