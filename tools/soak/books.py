"""What the run has counted and noted: the acknowledgements, the complaints, and the numbers of the report."""

import collections
import re
import threading
import time

import events


class Sent:
    """An event as its client saw it."""

    __slots__ = ("number", "oldest_tables", "newest_tables")

    def __init__(self, oldest_tables):
        self.number = 0  # none was acknowledged
        self.oldest_tables = oldest_tables  # that may have been in force when the event was handled
        self.newest_tables = None


class Books:
    MOST_OF_A_KIND = 5  # complaints that differ in nothing but numbers; more are only counted

    def __init__(self, say=print):
        self.begun = time.monotonic()
        self.lock = threading.Lock()
        self.counts = collections.Counter()
        self.largest = collections.Counter()
        self.complaints = []
        self.kinds = collections.Counter()  # of complaints
        self.sent = {}  # by client: a Sent for each of its events, in their order
        self.largest_acknowledged = 0
        self.say = say

    def tell(self, text):
        self.say(f"{time.monotonic() - self.begun:7.1f} s  {text}", flush=True)

    def complain(self, text):
        with self.lock:
            self.counts["complaints"] += 1
            kind = re.sub(r"\d+", "N", text)
            self.kinds[kind] += 1
            if self.kinds[kind] > self.MOST_OF_A_KIND:
                return
            self.complaints.append(text)
        self.tell("COMPLAINT: " + text)

    def count(self, what, many=1):
        with self.lock:
            self.counts[what] += many

    def note_largest(self, what, value):
        with self.lock:
            self.largest[what] = max(self.largest[what], value)

    def begin_event(self, client, oldest_tables):
        """Notes that the client sends its next event; returns how many it sent before."""
        with self.lock:
            events = self.sent.setdefault(client, [])
            events.append(Sent(oldest_tables))
            return len(events) - 1

    def acknowledge(self, client, count, number, newest_tables):
        with self.lock:
            sent = self.sent[client][count]
            known = sent.number
            sent.number = number
            sent.newest_tables = newest_tables
            self.largest_acknowledged = max(self.largest_acknowledged, number)
        if known not in (0, number):
            self.complain(f"event {count} of client {client} was acknowledged as {known} and again as {number}")

    def sent_event(self, event_id):
        """What was noted of the event; None when no client sent it."""
        parts = events.parts_of(event_id)
        sent = self.sent.get(parts[0], []) if parts else []
        return sent[parts[1]] if parts and parts[1] < len(sent) else None

    def acknowledged(self):
        """Every acknowledged event: client, count, and what was noted of it."""
        for client, events in sorted(self.sent.items()):
            for count, sent in enumerate(events):
                if sent.number:
                    yield client, count, sent
