"""Those who only look: questions, readers that follow, publishers, and the copy of the ledger."""

import contextlib
import json
import random
import signal
import subprocess
import threading
import time

import ledger_copy
from engine import PATIENCE, Connection


class Observer(threading.Thread):
    """Does its turn again and again until the end."""

    pause = 0.2

    def __init__(self, run, name):
        super().__init__(name=name, daemon=True)
        self.run_of = run
        self.place, self.books, self.engine = run.place, run.books, run.engine
        self.chance = random.Random(f"{run.seed} {name}")
        self.stops = threading.Event()

    def run(self):
        while not self.stops.is_set():
            try:
                self.turn()
            except Exception as error:  # a thread must not end unnoticed
                self.books.complain(f"{self.name} failed: {error!r}")
                time.sleep(1)
            self.stops.wait(self.pause * self.chance.uniform(0.5, 1.5))

    def turn(self):
        raise NotImplementedError


class Watch(Observer):
    """What the engine takes, and that it does not end by itself."""

    pause = 0.5

    def turn(self):
        self.engine.look()
        if self.engine.is_meant_to_run.is_set() and self.engine.life.process.poll() is not None:
            self.engine.is_meant_to_run.clear()
            self.engine.complain_of_the_end()
            self.run_of.is_broken.set()


class Pulse(Observer):
    """How long the soak itself was kept from running: what took long then was not the engine."""

    pause = 0.1

    def __init__(self, run, name):
        super().__init__(run, name)
        self.last = time.monotonic()

    def turn(self):
        now = time.monotonic()
        self.books.note_largest("standstill", now - self.last)
        self.last = now


class Copier(Observer):
    """Copies what is new in the ledger before the ledger forgets it."""

    pause = 0.5

    def __init__(self, run, copy):
        super().__init__(run, "copier")
        self.copy = copy

    def turn(self):
        with self.run_of.asking(), contextlib.closing(ledger_copy.read_only(self.place.ledger)) as ledger:
            for complaint in self.copy.take_new(ledger):
                self.books.complain(complaint)


class Questions(Observer):
    """Each command that asks the ledger must succeed at any time, with or without an engine."""

    def turn(self):
        kind = self.chance.choice(("active", "history", "explain", "tail", "text"))
        ledger = ("--ledger", self.place.ledger)
        with self.run_of.asking():
            if kind == "active":
                active = self.ask("active", "--json", *ledger)
                faults = [fault["fault_dn"] for fault in active]
                if len(faults) != len(set(faults)):
                    self.books.complain(f"`polaiga active` lists a fault twice: {faults}")
            elif kind == "history":
                self.ask("history", "--json", "--limit", "50", *ledger)
            elif kind == "tail":
                changes = self.ask("tail", "--json", "--no-follow", "-n", "200", *ledger)
                numbers = [change["number"] for change in changes]
                if numbers and numbers != list(range(numbers[0], numbers[0] + len(numbers))):
                    self.books.complain(f"`polaiga tail` leaves changes out: {numbers}")
            elif kind == "text":
                self.ask(self.chance.choice(("active", "history")), *ledger, parse=False)
            elif active := self.ask("active", "--json", *ledger):
                # It may end meanwhile, but its history is not forgotten as fast.
                self.ask("explain", "--json", self.chance.choice(active)["fault_dn"], *ledger)

    def ask(self, *arguments, parse=True):
        done = self.place.run(*arguments)
        self.books.count("questions")
        if done.returncode != 0:
            self.run_of.complain_unless_excused(
                f"`polaiga {' '.join(arguments)}` ended with status {done.returncode}: {done.stderr.strip()}")
            return []
        return [json.loads(line) for line in done.stdout.splitlines()] if parse else []


class Follower(Observer):
    """A `polaiga tail` that stays through all restarts. It must print each change once, in order."""

    def __init__(self, run, name):
        super().__init__(run, name)
        self.last = 0
        self.process = subprocess.Popen(
            [self.place.program, "tail", "--json", "--after", "0", "--ledger", self.place.ledger],
            stdout=subprocess.PIPE, stderr=open(f"{self.place.directory}/{name}.messages", "wb"), text=True)

    def run(self):
        for line in self.process.stdout:
            number = json.loads(line)["number"]
            if number != self.last + 1:
                self.books.complain(f"{self.name}: after change {self.last} comes change {number}")
            self.last = number

    def freeze(self):
        self.process.send_signal(signal.SIGSTOP)

    def thaw(self):
        self.process.send_signal(signal.SIGCONT)

    def end(self, last):
        """Waits until it has printed the last change."""
        end = time.monotonic() + PATIENCE
        while self.last < last and time.monotonic() < end:
            time.sleep(0.05)
        if self.last != last:
            self.books.complain(f"{self.name} ended with change {self.last}, but the last one is {last}")
        self.process.send_signal(signal.SIGINT)
        try:
            status = self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            status = self.process.wait()
        if status != 0:
            self.books.complain(f"{self.name} ended with status {status}")


class ControlObserver(Observer):
    """Holds a connection to the control socket, and makes a new one when the engine has ended."""

    def __init__(self, run, name):
        super().__init__(run, name)
        self.connection = None

    def ask(self, request):
        """The answer, or None when the engine is away."""
        try:
            if self.connection is None:
                self.connection = Connection(self.place.control)
            return self.connection.ask(request)
        except TimeoutError:
            self.run_of.complain_unless_excused(f"{self.name}: no answer to {request} for {PATIENCE} s")
        except OSError:
            pass
        self.connection = None
        return None


class Publisher(ControlObserver):
    """Reads changes in order, and moves its cursor; an acknowledged cursor never goes back."""

    def __init__(self, run, name, most_at_once):
        super().__init__(run, name)
        self.most_at_once = most_at_once
        self.cursor = 0  # as acknowledged, or as the status told it
        self.asked = 0  # as asked for last, whether acknowledged or not

    def turn(self):
        status = self.ask({"do": "status"})
        if status is None:
            return
        cursors = {publisher["publisher"]: publisher["through"] for publisher in status["publishers"]}
        there = cursors.get(self.name, 0)
        if there not in (self.cursor, self.asked):
            self.books.complain(f"{self.name}: the cursor is {there}, but {self.cursor} was acknowledged")
        self.cursor = there  # what was asked for may have been done without an answer, before the engine was killed
        self.asked = min(status["last_number"], there + self.chance.randrange(1, self.most_at_once))
        answer = self.ask({"do": "cursor", "publisher": self.name, "through": self.asked})
        if answer == {"ok": True}:
            self.cursor = self.asked
            self.books.count("cursors moved")
        elif answer is not None:
            self.books.count("refused requests")
            if "again later" not in answer.get("error", ""):
                self.books.complain(f"{self.name}: the cursor {self.asked} is answered {answer}")


class StatusQuestions(ControlObserver):
    """The status goes on with the numbers that clients were told, through all restarts."""

    def __init__(self, run):
        super().__init__(run, "status")
        self.last = {"last_seq": 0, "last_number": 0}

    def turn(self):
        if self.chance.random() < 0.1 and self.ask({"do": "nothing"}) is not None:
            self.books.count("refused requests")
        acknowledged = self.books.largest_acknowledged
        status = self.ask({"do": "status"})
        if status is None:
            return
        self.books.count("questions")
        for name, before in self.last.items():
            if status[name] < before:
                self.books.complain(f"the status tells {name} {status[name]}, but told {before} before")
            self.last[name] = status[name]
        if status["last_seq"] < acknowledged:
            self.books.complain(f"the status tells last_seq {status['last_seq']}, but {acknowledged} was acknowledged")
        self.books.note_largest("file_bytes", status["file_bytes"])
        self.books.note_largest("log_bytes", status["log_bytes"])


class Verifier(Observer):
    """Verifies the ledger now and then while the engine runs."""

    pause = 15

    def turn(self):
        self.run_of.verify("while the engine runs")
