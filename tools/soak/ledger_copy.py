"""A copy of everything that the ledger ever held.

The ledger forgets what is old. So what is new in it is copied again and again while the engine runs, by the views that
the ledger has for other programs.
"""

import sqlite3

# What is compared of a record. Its stamp is left out: a replay has another one.
RECORD = ("change", "fault_dn", "dn", "code", "clear_code", "name", "descr", "cause", "cause_id", "clear_cause",
          "clear_cause_id", "disposition", "fault_key")
EVENT = ("id", "entity", "sensor", "instance", "offset", "state")
CHANGE = ("number", "seq", "change", "fault_dn", "fault", "alarm", "before", "after", "other", "shown_seq", "reporters")

INPUTS = (f"SELECT inputs.seq, {', '.join(f'inputs.{quoted}' for quoted in [chr(34) + name + chr(34) for name in EVENT])}, "
          f"{', '.join(f'records.{name}' for name in RECORD)} "
          "FROM inputs LEFT JOIN records ON records.seq = inputs.seq WHERE inputs.seq > ? ORDER BY inputs.seq LIMIT ?")
CHANGES = f"SELECT {', '.join(CHANGE)} FROM changes WHERE number > ? ORDER BY number LIMIT ?"

AT_ONCE = 2000


def read_only(path):
    return sqlite3.connect(f"file:{path}?mode=ro", uri=True, timeout=20, isolation_level=None, check_same_thread=False)


def question_marks(columns):
    return ", ".join("?" for _ in columns)


class LedgerCopy:
    def __init__(self, path):
        self.db = sqlite3.connect(path, isolation_level=None, check_same_thread=False)
        self.db.execute("PRAGMA synchronous = OFF")
        columns = ", ".join(f'"event_{name}"' for name in EVENT) + ", " + ", ".join(RECORD)
        self.db.execute(f"CREATE TABLE input (seq INTEGER PRIMARY KEY, {columns})")
        self.db.execute(f"CREATE TABLE change ({', '.join(CHANGE)}, PRIMARY KEY (number))")

    def last(self, table, key):
        return self.db.execute(f"SELECT coalesce(max({key}), 0) FROM {table}").fetchone()[0]

    def take_new(self, ledger):
        """Copies what is new; returns complaints about numbers that are missing."""
        return (self._take(ledger, INPUTS, "input", "seq", 1 + len(EVENT) + len(RECORD), "input")
                + self._take(ledger, CHANGES, "change", "number", len(CHANGE), "change"))

    def _take(self, ledger, question, table, key, columns, name):
        complaints = []
        last = self.last(table, key)
        while True:
            rows = ledger.execute(question, (last, AT_ONCE)).fetchall()
            if not rows:
                return complaints
            for row in rows:
                if row[0] != last + 1:
                    complaints.append(f"after {name} {last} the ledger goes on with {name} {row[0]}")
                last = row[0]
            marks = ", ".join("?" for _ in range(columns))
            self.db.execute("BEGIN")
            self.db.executemany(f"INSERT INTO {table} VALUES ({marks})", rows)
            self.db.execute("COMMIT")

    def check_against(self, ledger):
        """Complaints about rows of the ledger that are no longer as they were copied."""
        return (self._check(ledger, INPUTS, "input", "seq", "input")
                + self._check(ledger, CHANGES, "change", "number", "change"))

    def _check(self, ledger, question, table, key, name):
        complaints = []
        last = 0
        while True:
            rows = ledger.execute(question, (last, AT_ONCE)).fetchall()
            if not rows:
                return complaints
            copied = dict((row[0], row) for row in self.db.execute(
                f"SELECT * FROM {table} WHERE {key} BETWEEN ? AND ?", (rows[0][0], rows[-1][0])))
            for row in rows:
                if copied.get(row[0]) != row:
                    complaints.append(f"{name} {row[0]} was {copied.get(row[0])} and is now {row}")
            last = rows[-1][0]

    def inputs(self):
        """In the order of their numbers: the number, the event and the record, both as dictionaries."""
        for row in self.db.execute("SELECT * FROM input ORDER BY seq"):
            event = dict(zip(EVENT, row[1:]))
            record = dict(zip(RECORD, row[1 + len(EVENT):]))
            yield row[0], event, record if record["change"] is not None else None

    def changes(self):
        for row in self.db.execute("SELECT * FROM change ORDER BY number"):
            yield dict(zip(CHANGE, row))
