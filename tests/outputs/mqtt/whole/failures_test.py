"""Brokers, certificates, passwords, ledgers and options that fail: failures_test.py POLAIGA POLAIGA_MQTT [TEST]..."""
import json
import os
import shutil
import signal
import subprocess
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import board
from board import BELOW, SITE, CONTROLLER, Board, BoardTest, Consumer, Process, fan, free_port, retained, same_as_ledger, supply, until
from mqtt import CONNACK, CONNECT, OddBroker, PUBACK, PUBLISH, SUBACK, SUBSCRIBE, packet

NO_CHATTERING = ("--chattering", "0")


def openssl(*arguments):
    subprocess.run(["openssl", *arguments], check=True, capture_output=True, timeout=60)


class Certificates:
    """An authority, and what it vouches for."""

    def __init__(self, place, name):
        self.base = os.path.join(place, name)
        openssl("req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", "2", "-keyout",
                self.base + ".key", "-out", self.base + ".crt", "-subj", "/CN=" + name)
        self.authority = self.base + ".crt"

    def make(self, name, host):
        """The files of a certificate and its key."""
        base = f"{self.base}-{name}"
        openssl("req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-keyout", base + ".key", "-out",
                base + ".csr", "-subj", "/CN=" + name)
        with open(base + ".ext", "w", encoding="ascii") as file:
            file.write(f"subjectAltName={host}\n")
        openssl("x509", "-req", "-in", base + ".csr", "-CA", self.authority, "-CAkey", self.base + ".key", "-CAcreateserial",
                "-days", "2", "-extfile", base + ".ext", "-out", base + ".crt")
        os.chmod(base + ".key", 0o600)
        return base + ".crt", base + ".key"


def encrypted(certificates, certificate, key):
    return ["cafile " + certificates.authority, "certfile " + certificate, "keyfile " + key, "require_certificate true"]


def accepts(kind, _flags, body):
    """A broker that connects everybody, and confirms nothing."""
    if kind == CONNECT:
        return packet(CONNACK, 0, bytes([0, 0, 0]) if body[6] == 5 else bytes([0, 0]))
    if kind == SUBSCRIBE:
        return packet(SUBACK, 0, body[:2] + (bytes([0, 1]) if False else bytes([1])))
    return b""


class FailuresTest(BoardTest):
    def test_a_broker_that_is_killed_forgets_nothing_that_matters(self):
        server = self.board("persistence true", engine_options=NO_CHATTERING)
        server.start()
        until("it has begun", lambda: server.cursor() is not None)
        server.send([supply(number, 1) for number in range(1, 101)])
        server.wait_for_cursor()
        until("the list is that of the ledger", lambda: same_as_ledger(server, retained(server)[0]))
        server.broker.restart(signal.SIGKILL)
        server.publisher.wait_for("it is tried again")
        until("the list is there again", lambda: same_as_ledger(server, retained(server)[0]))
        self.assertEqual(retained(server)[0].status["state"], "online")

    def test_a_broker_that_is_away_costs_no_memory(self):
        server = self.board(engine_options=NO_CHATTERING)
        server.start()
        until("it has begun", lambda: server.cursor() is not None)
        server.broker.process.kill()
        server.send([supply(1 + i % 300, 1 - i // 300 % 2) for i in range(1000)])
        before = server.publisher.memory()
        for part in range(4):
            server.send([supply(1 + i % 300, 1 - (i + part * 3000 + 1000) // 300 % 2) for i in range(3000)])
        self.assertLess(server.publisher.memory() - before, 4_000_000)
        self.assertEqual(server.cursor(), 0)
        outputs = server.ask_engine(do="status")["publishers"]
        self.assertEqual((outputs[0]["connected"], outputs[0]["behind"]), (False, server.last()))
        server.broker.start()
        consumer = Consumer(server).connect()
        server.wait_for_cursor()
        until("the end came", lambda: consumer.have == server.last())

    def test_a_broker_that_never_answers(self):
        silent = OddBroker(lambda *_: b"")
        self.addCleanup(silent.close)
        server = self.board(broker=False)
        server.start(port=silent.port)
        server.publisher.wait_for("it does not answer within 10 s")
        self.assertEqual(len(silent.packets), 1)
        began = time.monotonic()
        self.assertEqual(server.publisher.end(), 0)
        self.assertLess(time.monotonic() - began, 5)

    def test_a_broker_that_is_stopped_is_noticed_at_the_end(self):
        server = self.board()
        server.start()
        until("it has begun", lambda: server.cursor() is not None)
        server.broker.process.process.send_signal(signal.SIGSTOP)
        server.send([fan(1, 1)])
        began = time.monotonic()
        self.assertEqual(server.publisher.end(), 0)
        self.assertLess(time.monotonic() - began, 9)
        self.assertEqual(server.cursor(), 0)
        server.broker.process.process.send_signal(signal.SIGCONT)
        consumer = Consumer(server).connect()
        server.start()
        server.wait_for_cursor()
        until("the change came", lambda: consumer.have == 1)

    def test_a_broker_of_the_older_version(self):
        def old(kind, flags, body):
            if kind == CONNECT and body[6] == 5:
                return packet(CONNACK, 0, bytes([0, 1]))
            if kind == PUBLISH:
                end = 2 + int.from_bytes(body[:2], "big")
                return packet(PUBACK, 0, body[end:end + 2])
            return accepts(kind, flags, body)
        broker = OddBroker(old)
        self.addCleanup(broker.close)
        server = self.board(broker=False)
        server.start(port=broker.port)
        server.publisher.wait_for("connected by MQTT 3.1.1")
        server.send([fan(1, 1)])
        server.wait_for_cursor()
        self.assertEqual([packets[0][2][6] for packets in broker.packets], [5, 4])

    def test_a_broker_that_closes_on_the_newer_version(self):
        broker = OddBroker(lambda kind, flags, body: None if kind == CONNECT and body[6] == 5 else accepts(kind, flags, body))
        self.addCleanup(broker.close)
        server = self.board(broker=False)
        server.start(port=broker.port)
        server.publisher.wait_for("connected by MQTT 3.1.1")

    def test_only_mosquittos_older_version(self):
        server = self.board()
        server.start("--protocol", "3.1.1")
        server.publisher.wait_for("connected by MQTT 3.1.1")
        server.send([fan(1, 1)])
        server.wait_for_cursor()
        until("the list is that of the ledger", lambda: same_as_ledger(server, retained(server)[0]))

    def test_a_topic_that_is_forbidden(self):
        server = self.board(broker=False)
        acl = server.write("acl", f"topic readwrite {BELOW}alarms/#\ntopic readwrite {BELOW}status\ntopic read {BELOW}replay\n",
                           0o644)
        server.broker = board.Broker(server.place, "acl_file " + acl)
        server.start()
        until("it has begun", lambda: server.cursor() is not None)
        server.send([fan(1, 1)])
        server.publisher.wait_for("the broker refuses a message of '" + BELOW + "change': Not authorized")
        # It is not tried again and again at once: the pauses grow.
        time.sleep(3)
        self.assertLess(server.broker.process.text().count("New client connected"), 8)
        self.assertEqual(server.cursor(), 0)
        outputs = server.ask_engine(do="status")["publishers"]
        self.assertIn("refuses a message", outputs[0]["last_error"])
        # It tries again when that was mended.
        server.write("acl", "topic readwrite #\n", 0o644)
        server.broker.process.process.send_signal(signal.SIGHUP)
        server.wait_for_cursor()

    def test_passwords(self):
        server = self.board(broker=False)
        passwords = server.file("passwords")
        subprocess.run(["mosquitto_passwd", "-b", "-c", passwords, "teller", "right"], check=True, capture_output=True, timeout=60)
        server.broker = board.Broker(server.place, "password_file " + passwords, "allow_anonymous false")
        mine = server.write("mine", "wrong\n")
        server.start("--user", "teller", "--password-file", mine)
        server.publisher.wait_for("the broker refuses the connection: Not authorized")
        self.assertNotIn("wrong", server.publisher.text())
        server.write("mine", "right\n")
        server.publisher.process.send_signal(signal.SIGHUP)
        server.publisher.wait_for("connected by MQTT 5")
        self.assertIn("without encryption", server.publisher.text())
        self.assertEqual(server.publisher.end(), 0)
        os.chmod(mine, 0o644)
        server.start("--user", "teller", "--password-file", mine)
        self.assertEqual(server.publisher.wait(), 2)
        self.assertIn("may be read or changed by others", server.publisher.text())

    def test_certificates(self):
        server = self.board(broker=False)
        ours, others = Certificates(server.place, "ours"), Certificates(server.place, "others")
        certificate, key = ours.make("broker", "IP:127.0.0.1")
        mine, my_key = ours.make("client", "DNS:client")
        server.broker = board.Broker(server.place, *encrypted(ours, certificate, key))
        options = ["--tls-ca", ours.authority, "--tls-cert", mine, "--tls-key", my_key]
        server.start(*options)
        server.publisher.wait_for("connected by MQTT 5")
        server.send([supply(number, 1) for number in range(1, 151)])
        server.wait_for_cursor()
        self.assertEqual(server.publisher.end(), 0)
        # Nobody that it knows vouches for the broker.
        server.start("--tls-ca", others.authority, "--tls-cert", mine, "--tls-key", my_key)
        server.publisher.wait_for("certificate verify failed")
        self.assertEqual(server.publisher.end(), 0)
        # The broker wants a certificate, and gets none.
        server.start("--tls-ca", ours.authority)
        server.publisher.wait_for("it is tried again")
        self.assertNotIn("connected by", server.publisher.text())
        self.assertEqual(server.publisher.end(), 0)
        # One that another authority vouches for; and then the right one is put in its place.
        other, other_key = others.make("client", "DNS:client")
        used, used_key = server.file("used.crt"), server.file("used.key")
        shutil.copy(other, used)
        shutil.copy(other_key, used_key)
        server.start("--tls-ca", ours.authority, "--tls-cert", used, "--tls-key", used_key)
        server.publisher.wait_for("it is tried again")
        shutil.copy(mine, used)
        shutil.copy(my_key, used_key)
        server.publisher.process.send_signal(signal.SIGHUP)
        server.publisher.wait_for("connected by MQTT 5")
        self.assertEqual(server.publisher.end(), 0)
        # Of another host.
        server.broker.close()
        certificate, key = ours.make("elsewhere", "DNS:elsewhere.example")
        server.broker = board.Broker(server.place, *encrypted(ours, certificate, key))
        server.start(*options)
        server.publisher.wait_for("it is tried again")
        self.assertNotIn("connected by", server.publisher.text())
        # The key is no secret, or not there.
        server.publisher.end()
        os.chmod(my_key, 0o640)
        shutil.chown(my_key, group=1)
        server.start(*options)
        self.assertEqual(server.publisher.wait(), 2)
        server.start("--tls-ca", server.file("nothing"))
        self.assertEqual(server.publisher.wait(), 2)

    def test_a_name_that_nobody_knows(self):
        server = self.board(broker=False)
        server.publisher = Process(board.POLAIGA_MQTT, "--ledger", server.ledger, "--control", server.control, "--broker",
                                   "broker.invalid", "--site", SITE, "--controller", CONTROLLER)
        server.publisher.wait_for("broker.invalid:1883: it cannot be reached")
        self.assertEqual(server.publisher.end(), 0)

    def test_options(self):
        rows = (
            ([], "--ledger is required"),
            (["--ledger", "l", "--broker", "h", "--site", "a/b", "--controller", "c"], "'a/b' is not allowed"),
            (["--ledger", "l", "--broker", "h", "--site", "s", "--controller", "#"], "'#' is not allowed"),
            (["--ledger", "l", "--broker", "h:0", "--site", "s", "--controller", "c"], "'h:0' is no broker"),
            (["--ledger", "l", "--broker", "h", "--site", "s", "--controller", "c", "--tls-cert", "x"], "--tls-cert requires"),
            (["--ledger", "l", "--broker", "h", "--site", "s", "--controller", "c", "--tls-key", "x"], "--tls-key requires"),
            (["--ledger", "l", "--broker", "h", "--site", "s", "--controller", "c", "--password-file", "x"],
             "--password-file requires"),
            (["--ledger", "l", "--broker", "h", "--site", "s", "--controller", "c", "--confirm", "nobody"], "--confirm"),
            (["--ledger", "l", "--broker", "h", "--site", "s", "--controller", "c", "--heartbeat", "0"], "--heartbeat"),
            (["--ledger", "l", "--broker", "h", "--site", "s", "--controller", "c", "--protocol", "4"], "--protocol"),
        )
        environment = {name: value for name, value in os.environ.items() if not name.startswith("POLAIGA_")}
        for arguments, words in rows:
            with self.subTest(arguments=arguments):
                done = subprocess.run([board.POLAIGA_MQTT, *arguments], capture_output=True, text=True, timeout=60, env=environment)
                self.assertEqual(done.returncode, 2)
                self.assertIn(words, done.stderr)

    def test_a_ledger_that_comes_later(self):
        server = self.board()
        server.publisher = Process(board.POLAIGA_MQTT, *server.options()[2:], "--ledger", server.file("later.db"))
        until("the status is there", lambda: retained_status(server) is not None)
        self.assertNotIn("ledger_id", retained_status(server))
        server.engine.end()
        server.ledger = server.file("later.db")
        server.start_engine()
        server.send([fan(1, 1)])
        until("the list is there", lambda: same_as_ledger(server, retained(server)[0]))
        self.assertEqual(server.publisher.end(), 0)

    def test_another_ledger(self):
        server = self.board()
        server.start()
        consumer = Consumer(server).connect()
        server.send([fan(1, 1)])
        server.wait_for_cursor()
        first = consumer.ledger_id
        server.engine.end()
        for name in os.listdir(server.place):
            if name.startswith("ledger.db"):
                os.remove(server.file(name))
        server.start_engine()
        server.send([fan(2, 1), fan(3, 1)])
        until("the list is that of the new ledger", lambda: same_as_ledger(server, consumer.picture))
        server.send([fan(3, 0)])
        server.wait_for_cursor()
        until("the change came", lambda: consumer.have == server.last())
        self.assertNotEqual(consumer.ledger_id, first)

    def test_changes_that_are_gone(self):
        server = self.board(engine_options=("--chattering", "0", "--keep-events", "50"))
        server.start()
        consumer = Consumer(server).connect()
        server.send([fan(1, 1)])
        server.wait_for_cursor()
        server.publisher.kill()
        server.ask_engine(do="forget", publisher="mqtt")
        for i in range(30):
            server.send([supply(1 + j % 30, 1 - (i + j // 30) % 2) for j in range(60)])
        until("changes are gone", lambda: server.ask_engine(do="status")["oldest_number"] > 100)
        # The cursor of before is told again, as after a power cut that took it back.
        server.ask_engine(do="cursor", publisher="mqtt", through=1, ledger_id=consumer.ledger_id)
        until("the engine has written it", lambda: server.cursor() == 1)
        server.start()
        until("the end came", lambda: consumer.have == server.last())
        oldest = server.ask_engine(do="status")["oldest_number"]
        self.assertEqual(len(consumer.gaps), 1)
        self.assertEqual(consumer.gaps[0][0], 2)
        self.assertLessEqual(consumer.gaps[0][1], oldest)
        self.assertEqual(consumer.holes, [])
        server.wait_for_cursor()
        outputs = server.ask_engine(do="status")["publishers"]
        self.assertEqual(outputs[0]["lost"], consumer.gaps[0][1] - 1)
        until("the list is that of the ledger", lambda: same_as_ledger(server, retained(server)[0]))

    def test_an_engine_that_is_away(self):
        server = self.board()
        server.start()
        until("it has begun", lambda: server.cursor() is not None)
        server.send([fan(1, 1)])
        server.engine.kill()
        consumer = Consumer(server).connect()
        until("the list is that of the ledger", lambda: same_as_ledger(server, retained(server)[0]))
        server.publisher.wait_for("the changes are told all the same")
        server.start_engine()
        server.wait_for_cursor()
        server.send([fan(1, 0)])
        until("the change came", lambda: consumer.have == 2)

    def test_messages_that_are_nonsense(self):
        server = self.board()
        server.start("--confirm", "collector")
        until("it has begun", lambda: server.cursor() is not None)
        consumer = Consumer(server).connect()
        server.send([fan(1, 1)])
        until("the change came", lambda: consumer.have == 1)
        ledger_id = consumer.ledger_id
        other = server.client(name="other")
        for payload in (b"", b"\xff\xfe", b"{}", b"[" * 1000, b"x" * 70_000, json.dumps({"ledger_id": ledger_id, "through": 2}).encode(),
                        json.dumps({"ledger_id": "0" * 32, "through": 1}).encode()):
            other.publish(BELOW + "ack", payload)
            other.publish(BELOW + "replay", payload)
        other.publish(BELOW + "ack", json.dumps({"ledger_id": ledger_id, "through": 1}), retain=True)
        until("a right one counts", lambda: server.cursor() == 1)
        server.publisher.kill()
        consumer.client.close()
        other.publish(BELOW + "alarms", b"nonsense", retain=True)
        server.send([fan(2, 1)])
        server.start("--confirm", "collector")
        server.publisher.wait_for("is retained, and is ignored")
        until("the list is that of the ledger", lambda: same_as_ledger(server, retained(server)[0]))


def retained_status(server):
    statuses = []
    client = server.client("status", name=f"status-{time.monotonic()}", on_message=lambda message: statuses.append(message.payload))
    try:
        until("there is a status", lambda: statuses, 1)
    except AssertionError:
        return None
    finally:
        client.close()
        server.clients.remove(client)
    return json.loads(statuses[0])


if __name__ == "__main__":
    board.main()
