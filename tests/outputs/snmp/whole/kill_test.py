"""Publisher, engine, snmpd and snmptrapd are killed at random moments amid a stream of changes:
kill_test.py POLAIGA POLAIGA_SNMP MIBS [KILLS [SEED]]
Afterwards the manager's picture, made of notifications and of the rows that it read when some were missing, is that of the
ledger. In the first half of the kills snmptrapd is left alone, and it has received every change."""
import collections
import os
import random
import signal
import sys
import threading

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import site_of_snmp
from manager import Manager
from site_of_snmp import ROOT, Site, fan, until

OFTEN = 6  # the pictures are compared after so many kills


class Stream:
    """Fans that slow down and recover at random. While it is held, it sends nothing."""

    def __init__(self, site, chance):
        self.site, self.chance = site, chance
        self.lock, self.is_over, self.sent = threading.Lock(), threading.Event(), 0
        self.thread = threading.Thread(target=self.run)
        self.thread.start()

    def run(self):
        while not self.is_over.wait(0.005):
            with self.lock:
                self.site.events(fan(self.chance.randint(1, 12), self.chance.random() < 0.5))
                self.sent += 1

    def end(self):
        self.is_over.set()
        self.thread.join()


def compare(site, manager):
    until("the cursor is at the end", lambda: site.cursor() == site.last_change())
    until("the tables have all", lambda: site.get(ROOT + ".1.1.2.0") == [str(site.last_change())])
    until("the picture of the tables is that of the ledger", lambda: site.picture() == site.truth())
    manager.catch_up()
    assert manager.alarms == site.truth(), (manager.alarms, site.truth())


def main():
    site_of_snmp.POLAIGA, site_of_snmp.POLAIGA_SNMP, site_of_snmp.MIBS = sys.argv[1:4]
    kills = int(sys.argv[4]) if len(sys.argv) > 4 else 18
    seed = int(sys.argv[5]) if len(sys.argv) > 5 else random.randrange(10**6)
    print("The seed is", seed, flush=True)
    chance = random.Random(seed)
    site = Site("--chattering", "0")
    counts = collections.Counter()
    try:
        site.heartbeat = 1
        site.start()
        manager = Manager(site)
        stream = Stream(site, random.Random(seed + 1))
        try:
            for number in range(1, kills + 1):
                stream.is_over.wait(chance.uniform(0, 0.3))  # a moment of any kind, not a wait for something
                # In the first half snmptrapd is there, so that it shows what the master agent was told.
                receivers = ("snmptrapd",) if number > kills // 2 else ()
                what = chance.choice(("publisher", "publisher", "engine", "snmpd", "snmpd", *receivers))
                counts[what] += 1
                if what == "publisher":
                    site.publisher.kill()
                    site.start_publisher()
                elif what == "engine":
                    with stream.lock:
                        site.end_engine(signal.SIGKILL)
                        site.start_engine()
                elif what == "snmpd":
                    site.kill_snmpd()
                    stream.is_over.wait(chance.uniform(0, 0.3))
                    site.start_snmpd()
                else:
                    site.trapd.kill()
                    stream.is_over.wait(chance.uniform(0, 0.3))
                    site.start_trapd()
                if number % OFTEN == 0 or number == kills:
                    with stream.lock:
                        compare(site, manager)
                if number == kills // 2:
                    with stream.lock:
                        compare(site, manager)
                        through = site.last_change()
                        missing = set(range(1, through + 1)) - set(site.told())
                        assert not missing, sorted(missing)
                    print(f"After {number} kills each of {through} changes was told.", flush=True)
        finally:
            stream.end()
        assert site.publisher.end() == 0
        print(f"{kills} kills ({dict(counts)}) amid {stream.sent} events; the manager read {manager.filled} changes in the "
              f"table, and heard {manager.repeated} again.")
    finally:
        site.close()
    print("All is well.")


if __name__ == "__main__":
    main()
