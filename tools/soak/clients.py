"""The clients that send events, and lose none: what is not acknowledged they send again."""

import collections
import json
import random
import select
import threading
import time

import events
from engine import Connection

ROUND = 0.05  # seconds; a client sends in rounds


class Client(threading.Thread):
    """Sends events at a rate. Now and then it bursts, does not read for some seconds, or leaves in the midst."""

    MOST_ON_THE_WAY = 2000

    def __init__(self, number, rate, day, place, books, tables, seed):
        super().__init__(name=f"client {number}", daemon=True)
        self.number = number
        self.rate = rate
        self.day = day
        self.place = place
        self.books = books
        self.tables = tables
        self.chance = random.Random(f"{seed} client {number}")
        self.kept = collections.deque()  # ids that are not acknowledged, in their order
        self.awaited = collections.deque()  # what was sent on this connection: an id, or None for a bad line
        self.stops = threading.Event()
        self.unread_until = 0.0
        self.last_new = 0

    def run(self):
        try:
            while not (self.stops.is_set() and not self.kept):
                self.serve_a_connection()
        except Exception as error:  # a thread must not end unnoticed
            self.books.complain(f"{self.name} failed: {error!r}")

    def serve_a_connection(self):
        try:
            connection = Connection(self.place.events)
        except OSError:
            time.sleep(ROUND)  # it is being started again
            return
        self.awaited.clear()
        self.last_new = 0
        self.unread_until = 0.0
        out = b""
        try:
            connection.socket.setblocking(False)
            if self.kept:
                self.books.count("events sent again", len(self.kept))
            for event_id in self.kept:
                out += self.put(event_id)
            while not (self.stops.is_set() and not self.awaited and not out):
                if not self.stops.is_set():
                    out += self.next_lines()
                out = self.exchange(connection, out)
                if self.chance.random() < 0.0005:
                    self.books.count("clients that left with events on the way")
                    return
        except OSError:
            pass
        finally:
            connection.close()

    def put(self, event_id):
        self.awaited.append(event_id)
        return self.day.line(event_id).encode() + b"\n"

    def next_lines(self):
        """What this client has to say in this round."""
        if len(self.kept) >= self.MOST_ON_THE_WAY:
            return b""
        many = self.rate * ROUND
        many = int(many) + (self.chance.random() < many % 1)
        if self.chance.random() < 0.01:
            many += self.chance.randrange(200)
            self.books.count("bursts")
        out = b""
        for _ in range(many):
            if self.chance.random() < 0.005:
                self.awaited.append(None)
                out += events.bad_line(self.chance).encode() + b"\n"
            count = self.books.begin_event(self.number, self.tables.oldest())
            event_id = self.day.new_id(self.number, count, self.chance)
            self.kept.append(event_id)
            out += self.put(event_id)
        return out

    def exchange(self, connection, out):
        """Sends and receives for a round; returns what is still to be sent."""
        end = time.monotonic() + ROUND
        if self.chance.random() < 0.002:
            self.books.count("times that a client did not read")
            self.unread_until = end + self.chance.uniform(0.5, 5)
        while (left := end - time.monotonic()) > 0:
            reads = [connection.socket] if time.monotonic() >= self.unread_until else []
            readable, writable, _ = select.select(reads, [connection.socket] if out else [], [], left)
            if writable:
                out = out[connection.socket.send(out):]
            if readable:
                for line in connection.lines():
                    self.take(json.loads(line))
        return out

    def take(self, answer):
        if not self.awaited:
            self.books.complain(f"{self.name} got an answer to nothing: {answer}")
            return
        event_id = self.awaited.popleft()
        if event_id is None:
            self.books.count("refused lines")
            if "error" not in answer:
                self.books.complain(f"{self.name} sent a bad line, and was answered {answer}")
            return
        number = answer.get("seq")
        if not isinstance(number, int) or answer.keys() - {"seq", "duplicate"}:
            self.books.complain(f"{self.name} sent {event_id}, and was answered {answer}")
            return
        if self.kept.popleft() != event_id:
            self.books.complain(f"{self.name}: the answer for {event_id} came out of order")
        if answer.get("duplicate"):
            self.books.count("duplicates")
        elif number <= self.last_new:
            self.books.complain(f"{self.name}: number {number} comes after {self.last_new}")
        else:
            self.last_new = number
        self.books.count("acknowledged events")
        _, count, _ = events.parts_of(event_id)
        self.books.acknowledge(self.number, count, number, self.tables.newest())
