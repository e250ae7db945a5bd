#!/usr/bin/env python3
"""What polaiga-ipmi costs, and how soon it tells, with limits: ipmi_bench.py POLAIGA POLAIGA_IPMI
It asks a simulated controller on this machine."""
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "tests/sources/ipmi/support"))
sys.dont_write_bytecode = True
import system
from board import BOARD, CONTROLLER, LOW, THRESHOLDS
from figures import Figures
from system import System

IDLE = 70  # seconds; the sensors are read once a minute
EVENTS = 10
RECORDS = 4000


def long_log():
    """A fan that slows down and recovers, again and again."""
    fan = next(sensor for sensor in BOARD if sensor.name == "FAN1_TACH1")
    for id in range(1, RECORDS + 1):
        event = 0x01 if id % 2 else 0x81
        yield (id.to_bytes(2, "little") + bytes([2]) + (0x66000000 + id).to_bytes(4, "little") +
               bytes([CONTROLLER, 0, 4, fan.type, fan.number, event, 0x50, LOW[0], THRESHOLDS[0]]))


def main():
    system.POLAIGA, system.POLAIGA_IPMI = sys.argv[1:]
    figures = Figures()
    server = System()
    server.follow()

    # The longest of several: what happens just after a look waits for the next one.
    slowest = 0.0
    for number in range(EVENTS):
        began = time.monotonic()
        if number % 2 == 0:
            server.simulator.set_value("FAN1_TACH1", LOW[0])
        else:
            server.simulator.heal("FAN1_TACH1")
        server.wait_for_truth()
        slowest = max(slowest, time.monotonic() - began)
    figures.at_most("an event until it is in the ledger, seconds", slowest, 3)

    before = server.adapter.processor_time()
    time.sleep(IDLE)  # this is what is measured
    figures.at_most("idle, per cent of a processor", 100 * (server.adapter.processor_time() - before) / IDLE, 1)
    figures.at_most("memory, MiB", server.adapter.most_memory() / 2**20, 16)
    server.close()

    server = System(log=list(long_log()), log_entries=RECORDS + 1000)
    began = time.monotonic()
    printed = system.run(system.POLAIGA_IPMI, *server.controller_options(), "--state", server.state, "--once",
                         "--history", "--print").stdout
    figures.at_most(f"{RECORDS} records of a log, seconds", time.monotonic() - began, 2)
    events = len(printed.splitlines())
    if events < RECORDS:
        sys.exit(f"only {events} events came of {RECORDS} records")
    server.close()
    sys.exit(1 if figures.missed else 0)


if __name__ == "__main__":
    main()
