"""A whole fleet on this machine: a broker, a database with a standby, collectors, and simulated controllers."""
import json
import subprocess
import sys
from collections import Counter
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
from fleet import Broker, Postgres
from processes import Process, run, until

ROOT = Path(__file__).resolve().parents[2]
# Severities as the database has them.
SEVERITIES = {"indeterminate": 1, "warning": 2, "minor": 3, "major": 4, "critical": 5}


class Simulation:
    """Simulated controllers. `record` is the file with what they made, when they have ended."""

    def __init__(self, programs, brokers, recording, record, *options):
        self.record = Path(record)
        addresses = [word for one in brokers for word in ("--broker", one)]
        self.process = Process(str(Path(programs) / "fleet-sim"), *addresses, "--recording", str(recording), "--record",
                               str(record), *map(str, options), start_new_session=True)

    def figures(self):
        """The last line of figures; empty before the first one."""
        lines = [line for line in list(self.process.said) if line.startswith("{")]
        return json.loads(lines[-1]) if lines else {}

    def end(self):
        """Lets it end by itself, which it does when its time is over; answers with its figures of the whole time."""
        status = self.process.process.wait()
        self.process.wait()
        figures = self.figures()
        assert "end" in figures, self.process.text()
        return {**figures, "status": status}

    def stop(self):
        """No more changes are made; answers as end() does."""
        self.process.send_signal(15)
        return self.end()


class Fleet:
    """`programs` is the directory of the programs. The broker has what packaging/fleet/definitions.json says."""

    def __init__(self, place, programs, nodes=3, with_standby=True, collectors=2):
        self.place, self.programs = Path(place), Path(programs).resolve()
        self.collectors, self.others = [], []
        self.broker = self.database = None
        # The directory is entered by the database's user.
        self.place.chmod(0o755)
        try:
            self.database = Postgres(self.place / "database", with_standby=with_standby)
            run(self.programs / "polaiga-collector", "migrate", "--database", self.database.url("postgres"))
            self.broker = Broker(self.place / "broker", nodes)
            self.broker.nodes[0].control("import_definitions", ROOT / "packaging/fleet/definitions.json")
            for _ in range(collectors):
                self.add_collector()
            self.recording = self.place / "recording.jsonl"
            with self.recording.open("w") as file:
                subprocess.run([ROOT / "tools/fleet-recording", self.programs / "polaiga"], stdout=file, check=True)
        except BaseException:
            self.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def add_collector(self):
        nodes = [word for url in self.broker.amqp_urls() for word in ("--amqp", url)]
        user = ["--user", "guest", "--password-file", self.password_file()]
        collector = Process(*map(str, [self.programs / "polaiga-collector", *nodes, *user, "--database",
                                       self.database.url("polaiga_collector")]),
                            start_new_session=True)
        self.collectors.append(collector)
        collector.wait_for("ready")
        return collector

    def password_file(self):
        """That of the user whom a new broker has, and who may come from this machine alone."""
        path = self.place / "password"
        if not path.exists():
            path.touch(mode=0o600)
            path.write_text("guest\n")
        return path

    def simulate(self, *options):
        return Simulation(self.programs, self.broker.mqtt_addresses(), self.recording, self.place / "record.jsonl",
                          "--clean-session", *options)

    def query(self, sql):
        return self.database.query("set search_path = polaiga; " + sql)

    def number(self, sql):
        return int(self.query(sql)[0])

    def differences(self, record):
        """What the database has otherwise than the controllers made it, as sentences; at most a few of each kind."""
        made = [json.loads(line) for line in Path(record).read_text().splitlines()]
        changes = self._changes()
        alarms = self._alarms()
        found = []
        for one in made:
            name = f"{one['site']}/{one['controller']}"
            wanted = {number for part in one["changes"] for number in range(part["first"], part["last"] + 1)}
            there = changes.pop(one["ledger_id"], Counter())
            if missing := sorted(wanted - there.keys()):
                found.append(f"{name}: {len(missing)} changes are missing, the first is {missing[0]}")
            if extra := sorted(there.keys() - wanted):
                found.append(f"{name}: {len(extra)} changes were never made, the first is {extra[0]}")
            if twice := [number for number, count in there.items() if count > 1]:
                found.append(f"{name}: {len(twice)} changes are there more than once, one is {twice[0]}")
            expected = {(alarm["number"], alarm["last_change"], alarm["fault_dn"], SEVERITIES[alarm["severity"]])
                        for alarm in one["alarms"]}
            active = alarms.pop(one["ledger_id"], set())
            if expected != active:
                found.append(f"{name}: active alarms: missing {sorted(expected - active)}, too many {sorted(active - expected)}")
        if changes:
            found.append(f"there are {len(changes)} ledgers that nobody has")
        return found

    def _changes(self):
        changes = {}
        for row in self.query("select ledger_id, string_agg(number::text, ',') from change join ledger using (ledger_no) group by 1"):
            ledger_id, _, numbers = row.partition("|")
            changes[ledger_id] = Counter(map(int, numbers.split(",")))
        return changes

    def _alarms(self):
        alarms = {}
        for row in self.query("select ledger_id, number, last_change, severity, fault_dn from alarm join ledger using (ledger_no) "
                              "where alarm.ended = ''"):
            ledger_id, number, last_change, severity, fault_dn = row.split("|", 4)
            alarms.setdefault(ledger_id, set()).add((int(number), int(last_change), fault_dn, int(severity)))
        return alarms

    def close(self):
        for process in (*reversed(self.others), *self.collectors):
            process.send_signal(15)
        for process in (*reversed(self.others), *self.collectors):
            process.end()
        if self.broker is not None:
            self.broker.close()
        if self.database is not None:
            self.database.close()
