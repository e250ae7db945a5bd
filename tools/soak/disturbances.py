"""What is done to the engine while it works."""

import contextlib
import os
import re
import signal
import threading
import time

import ledger_copy
from engine import PATIENCE, processor_time_of

BALLAST_CHUNK = 64 * 1024
START_OPTIONS = ("--keep-bytes", "8MiB")
CANNOT_WRITE = "cannot write: "
WRITES_AGAIN = "can be written again"


class Tables:
    """The host tables. Each version has its number in its descriptions; numbers only grow."""

    def __init__(self, place):
        self.place = place
        self.in_force = 0  # known to be
        self.written = 0
        self.templates = {}
        for name in ("nm.tsv", "cmc.tsv", "drive_bp.tsv"):
            with open(f"{place.tables}/{name}", encoding="utf-8") as file:
                self.templates[name] = file.read()
        self.write()
        os.makedirs(place.first_tables)
        self.write_to(place.first_tables)

    def oldest(self):
        return self.in_force

    def newest(self):
        return self.written

    def write(self):
        self.write_to(self.place.tables)

    def write_to(self, directory):
        for name, template in self.templates.items():
            content = re.sub(r"^([^#\n].*: [^\t\n]+)$", rf"\1, tables {self.written:06}", template, flags=re.MULTILINE)
            if content == template:
                raise ValueError(f"{name}: no row has a description")
            self.replace(directory, name, content)

    @staticmethod
    def replace(directory, name, content):
        with open(f"{directory}/{name}.new", "w", encoding="utf-8") as file:
            file.write(content)
        os.replace(f"{directory}/{name}.new", f"{directory}/{name}")

    def break_one(self):
        """What a reload must refuse."""
        with open(f"{self.place.tables}/nm.tsv", encoding="utf-8") as file:
            content = file.read()
        self.replace(self.place.tables, "nm.tsv", content.replace("\t46\t", "\tforty-six\t", 1))


class Disturbances:
    def __init__(self, run):
        self.run = run
        self.place, self.books, self.engine, self.tables, self.chance = (
            run.place, run.books, run.engine, run.tables, run.chance)

    # Those that end the engine, and those that do not.
    RESTARTING = ("kill", "kill", "stop", "kill_on_a_full_disk", "stop_on_a_full_disk")
    LASTING = ("change_tables", "break_tables", "freeze_a_reader", "hold_a_read_transaction", "fill_the_disk")

    def options(self):
        """Of the next life."""
        return ("--commit-within", self.chance.choice(("0ms", "0ms", "5ms", "50ms")),
                "--keep-bytes", self.chance.choice(("4MiB", "8MiB", "16MiB")))

    def restart(self):
        self.tables.write()
        self.engine.start(self.options())
        self.tables.in_force = self.tables.written

    def kill(self):
        self.engine.end(signal.SIGKILL, {-signal.SIGKILL})
        self.books.count("kills")
        self.look_at_the_stopped_ledger()
        self.restart()

    def stop(self):
        self.engine.end(signal.SIGTERM, {0})
        self.books.count("stops")
        self.look_at_the_stopped_ledger()
        self.restart()

    def look_at_the_stopped_ledger(self):
        if self.chance.random() < 0.5:
            self.run.verify("after the engine's end")

    def change_tables(self):
        self.tables.written += 1
        self.tables.write()
        times = self.engine.messages().count("The tables were loaded again") + 1
        self.hang_up("The tables were loaded again", times)
        self.tables.in_force = self.tables.written
        self.books.count("changes of the tables")

    def break_tables(self):
        self.tables.break_one()
        times = self.engine.messages().count("the tables stay as they were") + 1
        self.hang_up("the tables stay as they were", times)
        self.tables.write()
        self.books.count("broken tables")

    def hang_up(self, text, times):
        self.engine.life.process.send_signal(signal.SIGHUP)
        if not self.engine.waits_to_say(text, times):
            self.books.complain(f"{PATIENCE} s after SIGHUP the engine has not said: {text}")

    def freeze_a_reader(self):
        follower = self.chance.choice(self.run.followers)
        follower.freeze()
        time.sleep(self.chance.uniform(1, 8))
        follower.thaw()
        self.books.count("frozen readers")

    def hold_a_read_transaction(self):
        with self.a_read_transaction():
            time.sleep(self.chance.uniform(1, 8))

    @contextlib.contextmanager
    def a_read_transaction(self):
        """Another program's, so that the log cannot be emptied."""
        with contextlib.closing(ledger_copy.read_only(self.place.ledger)) as ledger:
            ledger.execute("BEGIN")
            ledger.execute("SELECT count(*) FROM publisher_cursor").fetchone()
            self.books.count("foreign read transactions")
            yield

    @contextlib.contextmanager
    def full_disk(self):
        """A log that can be emptied is used again, and needs no more space. So somebody reads."""
        # An engine that has not noticed yet that the disk has space again would not say a second time that it is full.
        problems = self.engine.messages().count(CANNOT_WRITE)
        if not self.engine.waits_to_say(WRITES_AGAIN, problems):
            self.books.complain(f"the disk had space for {PATIENCE} s, but the engine has not said that it writes")
        with self.a_read_transaction():
            with open(self.place.ballast, "wb", buffering=0) as ballast:
                with contextlib.suppress(OSError):
                    while ballast.write(bytes(BALLAST_CHUNK)) == BALLAST_CHUNK:
                        pass
            try:
                self.books.count("full disks")
                if not self.engine.waits_to_say(CANNOT_WRITE, problems + 1):
                    self.books.complain(f"the disk is full for {PATIENCE} s, but the engine has not said so")
                yield
            finally:
                os.unlink(self.place.ballast)
                self.run.disk_was_full_without_an_engine.clear()

    def fill_the_disk(self):
        with self.full_disk():
            self.wait_patiently()
            again = self.engine.messages().count(CANNOT_WRITE)
        if not self.engine.waits_to_say(WRITES_AGAIN, again):
            self.books.complain(f"{PATIENCE} s after the disk had space again, the engine has not said so")

    def wait_patiently(self):
        """An engine that cannot write waits, and does not use the processor to do so."""
        pid, begun = self.engine.life.process.pid, time.monotonic()
        used = processor_time_of(pid)
        time.sleep(self.chance.uniform(1.5, 4))
        used = processor_time_of(pid) - used
        passed = time.monotonic() - begun
        if used > 0.5 * passed:
            self.books.complain(f"with a full disk the engine used the processor for {used:.1f} of {passed:.1f} s")

    def kill_on_a_full_disk(self):
        self.end_on_a_full_disk(signal.SIGKILL, {-signal.SIGKILL})
        self.books.count("kills")

    def stop_on_a_full_disk(self):
        # 2: what could not be written was not acknowledged.
        self.end_on_a_full_disk(signal.SIGTERM, {0, 2})
        self.books.count("stops")

    def end_on_a_full_disk(self, how, allowed):
        with self.full_disk():
            time.sleep(self.chance.uniform(0, 1))
            self.run.disk_was_full_without_an_engine.set()
            self.engine.end(how, allowed)
            # A start on the full disk may fail, but must say so.
            self.tables.write()
            started = self.engine.try_to_start(self.options())
            self.books.count("starts on a full disk" if started else "starts refused on a full disk")
            if started:
                self.tables.in_force = self.tables.written
            elif self.engine.life.process.returncode != 2 or "full" not in self.engine.messages():
                self.books.complain(f"on a full disk the start ended with status {self.engine.life.process.returncode}; "
                                    f"messages: {self.engine.messages()}")
            self.engine.check_messages()
        if not started:
            self.restart()

    def names(self, may_restart):
        return self.RESTARTING + self.LASTING if may_restart else self.LASTING


class Schedule(threading.Thread):
    """Chooses what is done next. In the middle third of the run the engine is left to live, so that its memory and
    its descriptors can be seen over a long time."""

    def __init__(self, run, seconds):
        super().__init__(name="schedule", daemon=True)
        self.run_of = run
        self.seconds = seconds

    def run(self):
        disturbances = Disturbances(self.run_of)
        chance, books = self.run_of.chance, self.run_of.books
        begun = time.monotonic()
        first = list(dict.fromkeys(disturbances.names(True)))
        chance.shuffle(first)
        try:
            while (passed := time.monotonic() - begun) < self.seconds and not self.run_of.is_broken.is_set():
                is_calm = self.seconds / 3 <= passed <= self.seconds * 2 / 3
                names = disturbances.names(not is_calm)
                wanted = [name for name in first if name in names]
                name = wanted[0] if wanted else chance.choice(names)
                if name in first:
                    first.remove(name)
                books.tell(name.replace("_", " "))
                getattr(disturbances, name)()
                self.run_of.is_broken.wait(chance.uniform(0.3, 4))
        except Exception as error:  # a thread must not end unnoticed
            books.complain(f"the schedule failed: {error!r}")
            self.run_of.is_broken.set()
        if first and not self.run_of.is_broken.is_set():
            books.complain(f"the run was too short for: {', '.join(first)}")
