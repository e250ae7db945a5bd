"""Adapter, engine and controller are killed at random moments amid a stream of events, and the disk is full now and then:
kill_test.py POLAIGA POLAIGA_IPMI [KILLS [SEED]]
Then every alarm is what the board stands for, and nothing was told twice. It needs root, to mount a small disk where
this process and its children alone see it."""
import collections
import os
import random
import signal
import sys
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import system
from small_disk import FULL, SmallDisk, in_own_mounts
from system import System

LONGEST = 0.4  # seconds of events between two kills
OFTEN = 10  # the alarms are compared after so many kills


class Stream:
    """Sensors that get worse and better at random, until it is stopped. Only between `pause` and `resume` may somebody else
    use the simulator."""

    def __init__(self, simulator, chance):
        self.simulator, self.chance = simulator, chance
        self.lock, self.is_over, self.steps = threading.Lock(), threading.Event(), 0
        # What is only logged is lost with its record when the log is cleared, and when the controller is reset.
        # What was told of a unit before it went stays, so which faults are active would depend on the order.
        self.rungs = {name: [to for ladder in sensor.ladders[sensor.tells_presence:] for to, _ in ladder]
                      for name, sensor in simulator.sensors.items() if not sensor.only_logged}
        self.names = [name for name, rungs in self.rungs.items() if rungs]
        self.thread = threading.Thread(target=self.run)
        self.thread.start()

    def run(self):
        while not self.is_over.wait(0.005):
            with self.lock:
                self.step()

    def step(self):
        name = self.chance.choice(self.names)
        if self.chance.random() < 0.4:
            self.simulator.heal(name)
        else:
            self.simulator.set(name, self.chance.choice(self.rungs[name]))
        self.steps += 1

    def end(self):
        self.is_over.set()
        self.thread.join()


def compare(server):
    server.wait_for_truth(patience=240)


def restart_adapter(server):
    """It may have ended by itself only when it could not start because the disk was full, and it said so."""
    status = server.adapter.end(signal.SIGKILL)
    assert status == -signal.SIGKILL or FULL in server.adapter.text(), (status, server.adapter.text())
    server.start_adapter("--poll", "1")


def main():
    system.POLAIGA, system.POLAIGA_IPMI = sys.argv[1:3]
    kills = int(sys.argv[3]) if len(sys.argv) > 3 else 20
    seed = int(sys.argv[4]) if len(sys.argv) > 4 else random.randrange(10**6)
    print("The seed is", seed, flush=True)
    chance = random.Random(seed)
    server = System(log_entries=60000)
    disk = SmallDisk(server.file("disk"), "2m")
    try:
        server.state = disk.file("state")
        server.follow("--poll", "1")
        counts = collections.Counter()
        stream = Stream(server.simulator, random.Random(seed + 1))
        try:
            for number in range(1, kills + 1):
                time.sleep(chance.uniform(0, LONGEST))  # a moment of any kind, not a wait for something
                what = chance.choice(("adapter", "adapter", "engine", "controller", "disk", "log"))
                counts[what] += 1
                if what == "adapter":
                    restart_adapter(server)
                elif what == "engine":
                    server.engine.kill()
                    server.start_engine()
                elif what == "controller":
                    with stream.lock:
                        server.simulator.kill()
                        server.simulator.start()
                elif what == "disk":
                    disk.fill()
                    time.sleep(chance.uniform(0, LONGEST))  # the disk is full for a while
                    restart_adapter(server)
                    disk.make_room()
                else:
                    with stream.lock:
                        server.simulator.clear_log()
                if server.adapter.has_ended():
                    restart_adapter(server)
                if number % OFTEN == 0 or number == kills:
                    with stream.lock:
                        compare(server)
        finally:
            stream.end()
        server.simulator.heal_all()
        server.wait_for(set(), patience=240)
        twice = server.told_twice()
        assert not twice, twice
        assert server.adapter.end() == 0
        server.engine.end()
        system.run(system.POLAIGA, "verify", "--ledger", server.ledger)
        print(f"{kills} kills ({dict(counts)}) amid {stream.steps} changes of sensors and {len(server.ids())} events.")
    finally:
        disk.close()
        server.close()
    print("All is well.")



if __name__ == "__main__":
    in_own_mounts()
    main()
