"""The events of the load.

An event is made from its id alone, so that millions of them need not be remembered: the id names the client, the
number of the event among those of the client, and the line of the day that the event repeats.
"""

import json
import random
import re


class Day:
    """The events of a server's day, which clients send again and again in an order of their own."""

    # Events under the host tables are rare in the day, but it is these that a reload of the tables changes.
    HOST_ENTITIES = ("nm", "cmc", "drive_bp")
    SHARE_OF_HOST_EVENTS = 0.1

    def __init__(self, path):
        with open(path, encoding="utf-8") as file:
            self.events = [json.loads(line) for line in file]
        for event in self.events:
            del event["time"]
        self.under_tables = [i for i, event in enumerate(self.events) if event["entity"] in self.HOST_ENTITIES]
        if not self.under_tables:
            raise ValueError(f"{path}: no event is about {', '.join(self.HOST_ENTITIES)}")

    def new_id(self, client, count, chance):
        """A walk through the day that now and then leaves its path."""
        draw = chance.random()
        if draw < self.SHARE_OF_HOST_EVENTS:
            line = chance.choice(self.under_tables)
        elif draw < 0.4:
            line = chance.randrange(len(self.events))
        else:
            line = (client * 137 + count) % len(self.events)
        return f"c{client}-{count}-{line}"

    def event(self, event_id):
        """The event of this id; None when no client has given such an id."""
        parts = parts_of(event_id)
        return {**self.events[parts[2]], "id": event_id} if parts and parts[2] < len(self.events) else None

    def line(self, event_id):
        return json.dumps(self.event(event_id), separators=(",", ":"))


def parts_of(event_id):
    """Client, number of the event among those of the client, and line of the day; None of an id of another form."""
    found = re.fullmatch(r"c(\d+)-(\d+)-(\d+)", event_id)
    return tuple(int(part) for part in found.groups()) if found else None


BAD_LINES = ("[]", "nonsense", '{"entity":"fan"}', '{"entity":"fan","sensor":"S","offset":3,"state":1,"id":""}')


def bad_line(chance: random.Random):
    return chance.choice(BAD_LINES)
