"""A manager: it has a picture of the active alarms, made of notifications alone. When one is missing, it reads the table of
changes; when that does not go back far enough, the table of active alarms."""
from site_of_snmp import ROOT

CLEARED, HEARTBEAT, LOST = 2, 4, 5  # types of notifications
SETTLED = 17  # a kind of change
ALARM, KIND, AFTER, OTHER, QUIET = 2, 3, 6, 19, 22  # columns of polaigaChangeTable


class Manager:
    def __init__(self, site):
        self.site = site
        self.ledger, self.number, self.alarms = None, 0, {}
        self.seen = 0  # notifications of those that snmptrapd has received
        self.filled = self.repeated = self.begun = 0
        self.begin()

    def begin(self):
        """Reads what is active. Changes that come meanwhile are applied afterwards."""
        self.ledger, number = self.site.get(ROOT + ".1.1.1.0", ROOT + ".1.1.2.0")
        self.ledger, self.number = self.ledger.strip('"'), int(number)
        self.alarms = self.site.picture()
        self.begun += 1

    def apply(self, number, alarm, kind, after, other):
        if alarm != 0:
            if after == 1:
                self.alarms.pop(alarm, None)
            else:
                self.alarms[alarm] = after
            if kind == SETTLED and other not in (0, alarm):
                self.alarms.pop(other, None)
        self.number = number

    def fill(self, last):
        """Reads the changes after the one that it has, up to `last`."""
        oldest = int(self.site.get(ROOT + ".1.1.3.0")[0])
        if self.number + 1 < oldest:
            return self.begin()
        columns = [f"{ROOT}.1.5.1.{column}" for column in (ALARM, KIND, AFTER, OTHER, QUIET)]
        while self.number < last:
            after = f".{self.number}" if self.number else ""
            answer = self.site.ask("snmpbulkget", "-Cn0", "-Cr40", *(one + after for one in columns))
            rows = {}
            for line in answer.splitlines():
                name, is_there, value = line.partition(" = ")
                if not is_there or not name.startswith(ROOT):
                    continue
                column, _, number = name.rpartition(".")
                if column in columns:
                    rows.setdefault(int(number), {})[columns.index(column)] = int(value)
            whole = {number: row for number, row in sorted(rows.items()) if len(row) == len(columns)}
            if not whole:
                break
            for number, row in whole.items():
                if number > last:
                    break
                if number > self.number:
                    if row[4] != 1:
                        self.filled += 1
                        self.apply(number, row[0], row[1], row[2], row[3])
                    self.number = number
            if max(whole) >= last:
                break
        self.number = max(self.number, last)

    def take(self, kind, variables):
        if variables["1.1.0"] != self.ledger or kind == LOST:
            return self.begin()
        if kind == HEARTBEAT:
            if int(variables["1.2.0"]) < self.number:
                return self.begin()  # the ledger was put back
            return self.fill(int(variables["1.4.0"]))
        number, previous = int(variables["1.6.0"]), int(variables["1.7.0"])
        if number <= self.number:
            self.repeated += 1
            return None
        if previous > self.number:
            self.fill(previous)
        column = {int(name.split(".")[2]): value for name, value in variables.items() if name.startswith("5.1.")}
        return self.apply(number, int(column[ALARM]), int(column[KIND]), int(column[AFTER]), int(column[OTHER]))

    def follow(self):
        """Takes what has come since it looked last."""
        notifications = self.site.notifications()
        for kind, variables in notifications[self.seen:]:
            self.take(kind, variables)
        self.seen = len(notifications)

    def catch_up(self):
        """As a manager does now and then: what polaigaLastNumber says is there, it has to have."""
        self.follow()
        ledger, last = self.site.get(ROOT + ".1.1.1.0", ROOT + ".1.1.2.0")
        if ledger.strip('"') != self.ledger:
            self.begin()
        self.fill(int(last))
