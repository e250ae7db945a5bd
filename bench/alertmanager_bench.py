#!/usr/bin/env python3
"""How fast polaiga-alertmanager tells, and what it costs, with limits: alertmanager_bench.py POLAIGA PUBLISHER
It tells a real Alertmanager on this machine, and a webhook that does nothing."""
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "tests/outputs/alertmanager/support"))
sys.dont_write_bytecode = True
import peers
from figures import Figures
from peers import Alertmanager, Engine, Receiver, fan, until

ALARMS = 10000
IDLE = 20  # seconds
CHANGES = 2000


def cursor(engine):
    return next(iter(engine.publishers().values()), {}).get("through")


def main():
    peers.POLAIGA, peers.PUBLISHER = sys.argv[1:]
    figures = Figures()
    engine = Engine("--chattering", "0", "--max-active", str(2 * ALARMS))
    engine.feed(*(fan(number) for number in range(1, ALARMS + 1)))
    alertmanager = Alertmanager(engine)

    began = time.monotonic()
    publisher = engine.publisher("--url", alertmanager.url, "--resend", "10s")
    until("all are told", lambda: cursor(engine) == ALARMS)
    figures.at_most(f"{ALARMS} active alarms until Alertmanager has them, s", time.monotonic() - began, 15)
    assert len(alertmanager.picture()) == ALARMS

    slowest = 0.0
    for number in range(10):
        began = time.monotonic()
        engine.feed(fan(ALARMS + 1, 3, 1 - number % 2))
        until("it is told", lambda: (alertmanager.alert(peers.dn_of_fan(ALARMS + 1)) is None) == (number % 2 == 1))
        slowest = max(slowest, time.monotonic() - began)
    figures.at_most("an event until Alertmanager shows it among them, s", slowest, 2)

    before = publisher.processor_time()
    time.sleep(IDLE)  # this is what is measured
    figures.at_most("telling all again each 10 s, per cent of a processor",
                    100 * (publisher.processor_time() - before) / IDLE, 10)
    figures.at_most("memory, MiB", publisher.most_memory() / 2**20, 64)
    assert publisher.end() == 0

    receiver = Receiver()
    publisher = engine.publisher("--webhook", receiver.url)
    until("the picture is told", lambda: len(receiver.taken) * 64 >= ALARMS)
    until("the engine has the cursor", lambda: max(one["through"] for one in engine.publishers().values()) == engine.number())
    taken = len(receiver.taken)
    began = time.monotonic()
    engine.feed(*(fan(number, 4, 1) for number in range(1, CHANGES // 2 + 1)))
    until("all changes came", lambda: len(receiver.taken) == taken + CHANGES)
    figures.at_most(f"{CHANGES} changes until the webhook has them, s", time.monotonic() - began, 15)
    figures.at_most("memory with a webhook, MiB", publisher.most_memory() / 2**20, 64)
    assert publisher.end() == 0
    for one in (alertmanager, engine):
        one.kill()
    receiver.stop()
    sys.exit(1 if figures.missed else 0)


if __name__ == "__main__":
    main()
