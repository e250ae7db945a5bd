"""A run from its begin to its report."""

import contextlib
import json
import os
import random
import shutil
import signal
import statistics
import subprocess
import threading
import time

import books
import comparison
import disturbances
import ledger_copy
import observers
from clients import Client
from engine import PATIENCE, Engine, Place
from events import Day

SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
CLIENTS = 6
FOLLOWERS = 2

# The limits of what the engine may take.
MOST_MEMORY = 64 * 1024  # KiB
MOST_GROWTH = 4 * 1024  # KiB, of the median of a long life's last third beside that of its second: in the first the cache is filled
LONG_LIFE = 40  # seconds
MOST_DESCRIPTORS = 24 + CLIENTS + 4 + 1  # its own files, the clients, and those who hold the control socket

# What the ledger keeps. It must be small, so that it forgets during the run, and much larger than what the copier may
# not yet have seen.
KEEPS = ("--keep-events", "20000")

REPORTED = ("acknowledged events", "events sent again", "duplicates", "refused lines", "bursts",
            "times that a client did not read", "clients that left with events on the way", "starts", "kills", "stops",
            "full disks", "starts on a full disk", "starts refused on a full disk", "changes of the tables",
            "broken tables", "frozen readers", "foreign read transactions", "questions", "cursors moved",
            "refused requests", "verifications", "excused failures")


class SoakRun:
    def __init__(self, arguments, directory):
        self.arguments = arguments
        self.seed = arguments.seed
        self.chance = random.Random(self.seed)
        self.books = books.Books()
        self.place = Place(directory, f"{directory}/disk", os.path.abspath(arguments.program),
                           f"{SOURCE}/engine/tables")
        self.day = Day(f"{SOURCE}/examples/day.jsonl")
        self.engine = Engine(self.place, self.books, KEEPS)
        self.tables = disturbances.Tables(self.place)
        self.copy = ledger_copy.LedgerCopy(f"{directory}/copy.db")
        self.followers = []
        self.is_broken = threading.Event()
        # Then even a reader may fail, since it must make a file beside the ledger.
        self.disk_was_full_without_an_engine = threading.Event()
        self.excuse = threading.local()

    @contextlib.contextmanager
    def asking(self):
        """Whether the disk was full without an engine at the begin of a question; at its end it may be over."""
        self.excuse.holds = self.disk_was_full_without_an_engine.is_set()
        try:
            yield
        except Exception as error:  # of whatever the question is made with
            self.complain_unless_excused(f"{threading.current_thread().name} failed: {error!r}")
        finally:
            self.excuse.holds = False

    def complain_unless_excused(self, complaint):
        if getattr(self.excuse, "holds", False) or self.disk_was_full_without_an_engine.is_set():
            self.books.count("excused failures")
        else:
            self.books.complain(complaint)

    def verify(self, when):
        with self.asking():
            done = self.place.run("verify", "--ledger", self.place.ledger, timeout=PATIENCE)
            self.books.count("verifications")
            if done.returncode != 0:
                self.complain_unless_excused(f"`polaiga verify` {when} ended with status {done.returncode}: "
                                             f"{(done.stdout + done.stderr).strip()}")

    def run(self):
        minutes = self.arguments.minutes
        self.books.tell(f"{minutes:g} minutes, seed {self.seed}, in {self.place.directory}")
        if self.place.run("verify", "--help").returncode != 0:
            print("tools/soak needs a program that has the command `polaiga verify`")
            return 2
        self.engine.start(disturbances.START_OPTIONS)
        clients = [Client(number, self.arguments.rate / CLIENTS, self.day, self.place, self.books, self.tables, self.seed)
                   for number in range(1, CLIENTS + 1)]
        self.followers = [observers.Follower(self, f"follower {number}") for number in range(1, FOLLOWERS + 1)]
        watching = [observers.Pulse(self, "pulse"), observers.Watch(self, "watch"), observers.Copier(self, self.copy),
                    observers.Questions(self, "questions 1"), observers.Questions(self, "questions 2"),
                    observers.Publisher(self, "prompt", 10_000), observers.Publisher(self, "slow", 60),
                    observers.Publisher(self, "steady", 1000), observers.StatusQuestions(self),
                    observers.Verifier(self, "verifier")]
        schedule = disturbances.Schedule(self, 60 * minutes)
        for thread in (*clients, *self.followers, *watching, schedule):
            thread.start()
        schedule.join()
        if not self.is_broken.is_set():
            self.finish(clients, watching)
        else:
            self.abandon()
        self.report()
        return 1 if self.books.complaints else 0

    def abandon(self):
        if self.engine.life.process.poll() is None:
            self.engine.life.process.kill()
        for follower in self.followers:
            follower.process.kill()

    def finish(self, clients, watching):
        """Lets everything that was sent arrive, stops the engine, and compares."""
        self.books.tell("waiting for the last acknowledgements")
        for client in clients:
            client.stops.set()
        for client in clients:
            client.join(PATIENCE)
            if client.is_alive():
                self.books.complain(f"{client.name} waits for {len(client.kept)} acknowledgements")
        for observer in watching:
            observer.stops.set()
        for observer in watching:
            observer.join(PATIENCE)
        self.engine.end(signal.SIGTERM, {0})
        self.books.count("stops")
        self.verify("at the end")
        with contextlib.closing(ledger_copy.read_only(self.place.ledger)) as ledger:
            for complaint in self.copy.take_new(ledger) + self.copy.check_against(ledger):
                self.books.complain(complaint)
        for follower in self.followers:
            follower.end(self.copy.last("change", "number"))
        self.check_lives()
        self.compare()

    def check_lives(self):
        long_lives = 0
        for number, life in enumerate(self.engine.lives, 1):
            for age, memory in life.memory:
                if memory > MOST_MEMORY:
                    self.books.complain(f"in life {number} the engine had {memory} KiB of memory after {age:.0f} s; "
                                        f"{MOST_MEMORY} are allowed")
                    break
            for age, many in life.descriptors:
                if many > MOST_DESCRIPTORS:
                    self.books.complain(f"in life {number} the engine had {many} descriptors after {age:.0f} s; "
                                        f"{MOST_DESCRIPTORS} are allowed")
                    break
            if not life.memory or life.memory[-1][0] < LONG_LIFE:
                continue
            long_lives += 1
            self.books.tell(f"memory of life {number} in KiB: " + ", ".join(
                str(memory) for _, memory in life.memory[::max(1, len(life.memory) // 12)]))
            memory = [memory for _, memory in life.memory]
            third = len(memory) // 3
            growth = statistics.median(memory[-third:]) - statistics.median(memory[third:-third])
            self.books.note_largest("growth", growth)
            self.books.note_largest("life", life.memory[-1][0])
            if growth > MOST_GROWTH:
                self.books.complain(f"in the {life.memory[-1][0]:.0f} s of life {number} the engine's memory grew by "
                                    f"{growth:.0f} KiB; {MOST_GROWTH} are allowed")
        if long_lives == 0:
            self.books.complain(f"no life was longer than {LONG_LIFE} s, so the memory cannot be judged; run longer")

    def compare(self):
        self.books.tell("comparing with a replay")
        complaints, numbers = comparison.check_events(self.copy.inputs(), self.day)
        complaints += comparison.check_acknowledgements(numbers, self.books.acknowledged())
        complaints += comparison.check_tables(self.copy.inputs(), self.books.sent_event)
        with self.replay(numbers) as replayed:
            summary = {}
            complaints += comparison.check_records(self.copy.inputs(), self.copy.changes(), replayed(summary))
        active = self.ask("active", "--json")
        complaints += comparison.check_active(active, lambda dn: self.ask("explain", "--json", dn)[0]["reports"], summary)
        self.books.counts["events in the ledger"] = len(numbers)
        self.books.counts["active faults"] = len(active)
        for complaint in complaints:
            self.books.complain(complaint)

    def ask(self, *arguments):
        done = self.place.run(*arguments, "--ledger", self.place.ledger)
        if done.returncode != 0:
            self.books.complain(f"`polaiga {' '.join(arguments)}`: {done.stderr.strip()}")
            return [{}] if arguments[0] == "explain" else []
        return [json.loads(line) for line in done.stdout.splitlines()]

    @contextlib.contextmanager
    def replay(self, numbers):
        """Yields a function that answers with what the replay printed, and puts its summary into a dictionary."""
        path = f"{self.place.directory}/events.jsonl"
        with open(path, "w", encoding="utf-8") as file:
            for event_id in numbers:  # in the order of the numbers
                file.write(self.day.line(event_id) + "\n")
        command = [self.place.program, "replay", "--json", "--tables", self.place.first_tables, path]
        with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as process:

            def objects(summary):
                for line in process.stdout:
                    told = json.loads(line)
                    if "seq" in told:
                        yield told
                    else:
                        summary.update(told)

            yield objects
            for _ in process.stdout:  # what nobody wanted after a complaint
                pass
        if process.returncode != 0:
            self.books.complain(f"the replay ended with status {process.returncode}")

    def report(self):
        counts, largest = self.books.counts, self.books.largest
        print("\nThe soak in figures")
        rows = [(name, counts[name]) for name in REPORTED]
        rows += [("events in the ledger over time", counts["events in the ledger"]),
                 ("changes in the ledger over time", self.copy.last("change", "number")),
                 ("faults active at the end", counts["active faults"]),
                 ("largest memory, KiB", largest["memory"]),
                 ("growth of memory in the longest lives, KiB", f"{largest['growth']:.0f}"),
                 ("longest life, s", f"{largest['life']:.0f}"),
                 ("most descriptors", largest["descriptors"]),
                 ("largest file of the ledger, bytes", largest["file_bytes"]),
                 ("largest log, bytes", largest["log_bytes"]),
                 ("longest standstill of the soak itself, s", f"{largest['standstill']:.1f}"),
                 ("complaints", counts["complaints"])]
        for name, value in rows:
            print(f"  {name:45} {value:>12}")
        if self.books.complaints:
            shutil.copy(self.place.messages, f"{self.place.directory}/engine.messages")
            with contextlib.suppress(OSError):
                for name in os.listdir(self.place.disk):
                    if name.startswith("ledger"):
                        shutil.copy(f"{self.place.disk}/{name}", f"{self.place.directory}/{name}")
            print(f"\nSomething does not hold (seed {self.seed}):")
            for complaint in self.books.complaints:
                print(f"  {complaint}")
            further = counts["complaints"] - len(self.books.complaints)
            if further:
                print(f"  and {further} that are like one of these")
        else:
            print("\nEverything holds: the ledger is that of one uninterrupted replay.")
