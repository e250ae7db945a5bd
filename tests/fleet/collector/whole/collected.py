"""A broker, a database and collectors for the tests of polaiga-collector, and messages as a controller sends them."""
import copy
import json
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[4]
for directory in "tests/support", "tests/outputs/mqtt/support":
    sys.path.insert(0, str(ROOT / directory))
sys.dont_write_bytecode = True
import pika
from fleet import Broker, Postgres
from mqtt import Client
from processes import Process, run, until

LEDGER = "0123456789abcdef0123456789abcdef"
KINDS = ("ack", "replay", "action")


def change(number, controller="rack-1", ledger=LEDGER, **members):
    """A change that raises an alarm of its own. `members` take the place of its members, or are more; those that are None
    are left out. "record" has members of the record."""
    dn = f"sys/fan-{number}"
    fault_dn = f"{dn}/fault-F0395"
    message = {
        "ledger_id": ledger, "number": number, "change": "raised", "at": "2025-03-12T09:06:00Z", "seq": number, "quiet": False,
        "folded": False, "alarm": f"{ledger}-{number}", "fault": number, "fault_dn": fault_dn, "before": "cleared",
        "after": "major", "shown_seq": number, "reporters": 1,
        "event": {"seq": number, "received": "2025-03-12T09:06:01Z", "at": "2025-03-12T09:06:00Z", "entity": "sys_fan",
                  "sensor": "FAN1_TACH", "instance": 1},
        "record": {"dn": dn, "fault_dn": fault_dn, "oid": "1.2.3", "descr": "Fan is inoperable", "cause": "equipment-inoperable",
                   "code": 395, "name": "fltFanInoperable", "severity": "major"},
        "previous": number - 1, "site": "lab", "controller": controller, "version": "1.0.0"}
    message = copy.deepcopy(message)
    message["record"].update(members.pop("record", {}))
    message.update(members)
    return {name: value for name, value in message.items() if value is not None}


class Collected:
    """`programs` is the directory of the programs; `broker` has options of the broker."""

    def __init__(self, place, programs, **broker):
        self.place, self.programs = Path(place), Path(programs).resolve()
        self.place.chmod(0o755)
        self.collectors, self.clients, self.acknowledged = [], {}, []
        self.password_file = self.secret("password", "guest\n")
        self.broker = self.database = None
        try:
            self.database = Postgres(self.place / "database", settings=["fsync=off"])
            run(self.programs / "polaiga-collector", "migrate", "--database", self.database.url("postgres"))
            self.broker = Broker(self.place / "broker", **broker)
        except BaseException:
            self.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        for collector in self.collectors:
            collector.kill()
        if self.broker is not None:
            self.broker.close()
        if self.database is not None:
            self.database.close()

    def secret(self, name, text, mode=0o600):
        path = self.place / name
        path.touch()
        path.chmod(mode)
        path.write_text(text)
        return path

    def command(self, *more, urls=None, database=None, user="guest", password_file=None):
        words = [self.programs / "polaiga-collector", "--database", database or self.database.url("polaiga_collector")]
        for url in urls or self.broker.amqp_urls():
            words += ["--amqp", url]
        if user:
            words += ["--user", user, "--password-file", password_file or self.password_file]
        return [str(word) for word in (*words, *more)]

    def start(self, *more, **options):
        collector = Process(*self.command(*more, **options), start_new_session=True)
        self.collectors.append(collector)
        return collector

    def begin(self, *more, **options):
        """Starts a collector, and waits until it is connected."""
        collector = self.start(*more, **options)
        collector.wait_for("connected")
        return collector

    def query(self, sql):
        return self.database.query("set search_path = polaiga; " + sql)

    def number(self, sql):
        return int(self.query(sql)[0])

    def numbers(self, controller="rack-1"):
        """The numbers of a controller's changes, as they are in the database."""
        return [int(one) for one in self.query(
            f"select number from change join ledger using (ledger_no) join controller using (controller_id) "
            f"where controller.name = '{controller}' order by number, received")]

    def client(self, controller="rack-1"):
        """The connection of a controller. What comes for it is in `acknowledged`: controller, kind, message."""
        client = self.clients.get(controller)
        if client is None or client.is_lost:
            below = f"polaiga/v1/lab/{controller}/"

            def heard(message):
                self.acknowledged.append((controller, message.topic.removeprefix(below), json.loads(message.payload)))
            client = Client(self.broker.any_node().mqtt_port, f"controller-{controller}", [below + kind for kind in KINDS],
                            on_message=heard)
            self.clients[controller] = client
        return client

    def send(self, kind, message, controller="rack-1"):
        payload = message if isinstance(message, (bytes, str)) else json.dumps(message)
        self.client(controller).publish(f"polaiga/v1/lab/{controller}/{kind}", payload)

    def told(self, kind, controller="rack-1"):
        return [message for who, what, message in list(self.acknowledged) if (who, what) == (controller, kind)]

    def wait_for_ack(self, through, controller="rack-1", patience=60):
        until(f"{controller} is told that change {through} was taken",
              lambda: any(ack["through"] >= through for ack in self.told("ack", controller)), patience)

    def channel(self):
        """One of AMQP, for what a person does with the broker."""
        connection = pika.BlockingConnection(pika.ConnectionParameters("127.0.0.1", self.broker.any_node().amqp_port))
        return connection.channel()

    def take_dead_letter(self):
        """The oldest dead letter, when there is one: its reason, its routing key and its body. It is gone then."""
        def look():
            channel = self.channel()
            try:
                method, properties, body = channel.basic_get("polaiga.dead", auto_ack=True)
            finally:
                channel.connection.close()
            return method and (properties.headers, body)
        return until("there is a dead letter", look)
