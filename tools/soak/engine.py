"""The engine under test: starting it, ending it, and looking at what it takes."""

import json
import os
import re
import shutil
import signal
import socket
import subprocess
import threading
import time

# Seconds that anything may take. A machine with much else to do takes long for what takes a moment otherwise.
PATIENCE = 300

# What the engine says only when it has lost something, or is broken.
ALARMING = re.compile(r"damaged|set aside|malformed|terminate called|[Ss]anitizer|Assertion|bad_alloc")


class Place:
    """Where everything of a run is."""

    def __init__(self, directory, disk, program, tables):
        self.program = program
        self.directory = directory
        self.disk = disk
        self.ledger = f"{disk}/ledger.db"
        self.ballast = f"{disk}/ballast"
        self.events = f"{directory}/events.sock"
        self.control = f"{directory}/control.sock"
        self.messages = f"{directory}/messages"
        self.tables = f"{directory}/tables"
        self.first_tables = f"{directory}/first-tables"
        shutil.copytree(tables, self.tables)

    def run(self, *arguments, timeout=PATIENCE, **more):
        """Another command of the program."""
        return subprocess.run([self.program, *arguments], capture_output=True, text=True, timeout=timeout, check=False,
                              **more)


class Life:
    """From a start of the engine to its end: what it took, second by second."""

    def __init__(self, process):
        self.process = process
        self.begun = time.monotonic()
        self.memory = []  # (seconds since the start, KiB)
        self.descriptors = []  # (seconds since the start, how many)

    def age(self):
        return time.monotonic() - self.begun


def memory_of(pid):
    """VmRSS in KiB; None when the process is gone."""
    try:
        with open(f"/proc/{pid}/status", encoding="ascii") as status:
            found = re.search(r"VmRSS:\s+(\d+) kB", status.read())
    except OSError:
        return None
    return int(found[1]) if found else None


def descriptors_of(pid):
    try:
        return len(os.listdir(f"/proc/{pid}/fd"))
    except OSError:
        return None


def processor_time_of(pid):
    """In seconds."""
    with open(f"/proc/{pid}/stat", encoding="ascii") as stat:
        fields = stat.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


class Engine:
    def __init__(self, place, books, options):
        self.place = place
        self.books = books
        self.options = options
        self.life = None
        self.lives = []
        self.is_meant_to_run = threading.Event()
        self.said_before = 0

    def try_to_start(self, more=()):
        """Returns whether it is ready; if not, it has ended and `life.process.returncode` says how."""
        command = [self.place.program, "run", "--ledger", self.place.ledger, "--socket", self.place.events,
                   "--control", self.place.control, "--tables", self.place.tables, "--chattering", "0",
                   *self.options, *more]  # a replay, which the ledger is compared with, has no chattering faults
        self.said_before = os.path.getsize(self.place.messages) if os.path.exists(self.place.messages) else 0
        with open(self.place.messages, "ab") as messages:
            process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=messages)
        self.life = Life(process)
        end = time.monotonic() + PATIENCE
        while time.monotonic() < end:
            if "ready: " in self.messages():
                self.lives.append(self.life)
                self.is_meant_to_run.set()
                self.books.count("starts")
                return True
            if process.poll() is not None:
                return False
            time.sleep(0.005)
        self.books.complain(f"the engine was not ready {PATIENCE} s after its start")
        process.kill()
        process.wait()
        return False

    def start(self, more=()):
        if not self.try_to_start(more):
            raise RuntimeError(f"the engine does not start; its messages: {self.messages()}")

    def messages(self):
        """Of its present life."""
        with open(self.place.messages, "rb") as messages:
            messages.seek(self.said_before)
            return messages.read().decode(errors="replace")

    def waits_to_say(self, text, times, seconds=PATIENCE):
        """Waits until the engine has said so this often in its present life."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            if self.messages().count(text) >= times:
                return True
            time.sleep(0.01)
        return False

    def end(self, how, allowed):
        """Ends it with a signal; complains unless the status is one of those allowed."""
        self.is_meant_to_run.clear()
        process = self.life.process
        if process.poll() is not None:
            self.complain_of_the_end()
            return process.returncode
        process.send_signal(how)
        try:
            process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.books.complain(f"the engine had not ended {PATIENCE} s after {signal.Signals(how).name}")
            process.kill()
            process.wait()
        if process.returncode not in allowed:
            self.books.complain(f"the engine ended with status {process.returncode} after {signal.Signals(how).name}; "
                                f"its messages: {self.messages()[-2000:]}")
        self.check_messages()
        return process.returncode

    def check_messages(self):
        for line in self.messages().splitlines():
            if ALARMING.search(line):
                self.books.complain(f"the engine says: {line}")

    def complain_of_the_end(self):
        self.books.complain(f"the engine ended by itself, with status {self.life.process.returncode}; its messages: "
                            f"{self.messages()[-2000:]}")

    def look(self):
        """Notes what the engine takes now."""
        life = self.life
        memory, descriptors = memory_of(life.process.pid), descriptors_of(life.process.pid)
        if memory is None or descriptors is None or not self.is_meant_to_run.is_set():
            return
        life.memory.append((life.age(), memory))
        life.descriptors.append((life.age(), descriptors))
        self.books.note_largest("memory", memory)
        self.books.note_largest("descriptors", descriptors)


class Connection:
    """A client of one of the engine's sockets, which speaks lines."""

    def __init__(self, path, timeout=PATIENCE):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.socket.settimeout(timeout)
        self.received = b""
        try:
            self.socket.connect(path)
        except OSError:
            self.socket.close()
            raise

    def close(self):
        self.socket.close()

    def lines(self):
        """Those that are there now; raises ConnectionError when the other end is gone."""
        got = self.socket.recv(65536)
        if not got:
            raise ConnectionResetError("the engine closed the connection")
        *lines, self.received = (self.received + got).split(b"\n")
        return [line.decode() for line in lines]

    def ask(self, request):
        """One request, one answer."""
        self.socket.sendall(json.dumps(request).encode() + b"\n")
        while True:
            lines = self.lines()
            if lines:
                return json.loads(lines[0])
