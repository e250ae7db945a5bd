"""The server is killed at random moments while it pushes events: kill_test.py POLAIGA POLAIGA_WEB [KILLS [SEED]]
Each change comes once. Those that were on their way at a kill may come a second time; none is missing, and they come in
order."""
import collections
import os
import random
import signal
import sys
import threading
import time

from service import Directory, Engine, Receiver, Web, make_users, slow, subscribe, until


def check(numbers, cuts):
    """`cuts` are how many had come at each kill."""
    goes_back = [at for at in range(1, len(numbers)) if numbers[at] <= numbers[at - 1]]
    for at in range(1, len(numbers)):
        assert numbers[at] <= numbers[at - 1] + 1, ("missing", numbers[at - 1], numbers[at])
    assert numbers[0] == 1, numbers[0]
    assert len(goes_back) <= len(cuts), (goes_back, cuts)
    most = max(collections.Counter(numbers).values())
    assert most <= 2, most
    return len(goes_back), len(numbers) - len(set(numbers))


def main():
    polaiga, polaiga_web = sys.argv[1:3]
    kills = int(sys.argv[3]) if len(sys.argv) > 3 else 20
    seed = int(sys.argv[4]) if len(sys.argv) > 4 else random.randrange(10**6)
    print("The seed is", seed, flush=True)
    chance = random.Random(seed)
    with Directory() as directory:
        state = directory + "/state"
        os.mkdir(state)
        engine = Engine(polaiga, directory)
        users = make_users(polaiga_web, directory)
        start = lambda: Web(polaiga_web, polaiga, engine, "--listen", "127.0.0.1:0", "--users", users, "--state", state,
                            "--push-local", "--push-retry", "1")
        web, receiver = start(), Receiver()
        until("the server reads the ledger", lambda: web.ask("/redfish/v1/Systems")[0] == 200)
        subscribe(web, receiver, DeliveryRetryPolicy="RetryForever")

        is_over, fed = threading.Event(), [0]

        def feed():
            while not is_over.is_set():
                # Each is a change of its own, since no fault is raised so often that it is taken for chattering.
                engine.feed(slow(fed[0] // 2 % 1000 + 1, 1 - fed[0] % 2))
                fed[0] += 1
                is_over.wait(0.002)

        feeder = threading.Thread(target=feed)
        feeder.start()
        cuts = []
        try:
            for number in range(kills):
                before = max(receiver.numbers(), default=0)
                # So many are more than one request, so what was on its way at the last kill is done with.
                until("pushes go on", lambda: max(receiver.numbers(), default=0) > before + 100)
                time.sleep(chance.uniform(0, 0.1))
                if number % 2 == 1:  # now the receiver has taken something, and the server does not know that yet
                    receiver.woken.clear()
                    receiver.behaviour = "hold"
                    taken = len(receiver.taken)
                    until("something is held", lambda: len(receiver.taken) > taken)
                web.end(signal.SIGKILL)
                receiver.behaviour = "take"
                receiver.woken.set()
                until("the receiver has read what was sent", lambda: receiver.busy == 0)
                cuts.append(len(receiver.numbers()))
                web = start()
        finally:
            is_over.set()
            feeder.join()
        engine.feed(slow(2000))
        until("the last one comes", lambda: receiver.records()[-1]["MessageArgs"][0].endswith("fan-module-1-2000/fan-1"))
        numbers = receiver.numbers()
        went_back, twice = check(numbers, cuts)
        assert numbers[-1] >= fed[0], (numbers[-1], fed[0])
        assert went_back >= kills // 2, went_back
        print(f"{kills} kills amid {numbers[-1]} changes; after {went_back} of them, {twice} changes came a second time.")
        web.end()
        engine.end()
    print("All is well.")


if __name__ == "__main__":
    main()
