"""Names, passwords, certificates, forbidden topics and wrong options: access_test.py POLAIGA POLAIGA_MQTT [TEST]..."""
import json
import os
import shutil
import signal
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import board
from board import BELOW, CONTROLLER, SITE, BoardTest, Process, fan, retained, run, supply, until

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../../..")


def openssl(*arguments):
    run("openssl", *arguments)


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


class AccessTest(BoardTest):
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
        server.broker.process.send_signal(signal.SIGHUP)
        server.wait_for_cursor()

    def test_passwords(self):
        server = self.board(broker=False)
        passwords = server.file("passwords")
        run("mosquitto_passwd", "-b", "-c", passwords, "teller", "right")
        server.broker = board.Broker(server.place, "password_file " + passwords, "allow_anonymous false")
        mine = server.write("mine", "wrong\n")
        server.start("--user", "teller", "--password-file", mine)
        server.publisher.wait_for("the broker refuses the connection: Not authorized")
        self.assertNotIn("wrong", server.publisher.text())
        server.write("mine", "right\n")
        server.publisher.send_signal(signal.SIGHUP)
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
        server.publisher.send_signal(signal.SIGHUP)
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
                self.assertIn(words, run(board.POLAIGA_MQTT, *arguments, status=2, env=environment).stderr)

    def test_the_example_of_an_acl(self):
        server = self.board(broker=False)
        passwords = server.file("passwords")
        for number, user in enumerate(("rack-1", "viewer", "collector")):
            run("mosquitto_passwd", "-b", *(["-c"] if number == 0 else []), passwords, user, "secret")
        # The example's site is another one.
        with open(os.path.join(ROOT, "packaging/mqtt/mosquitto.acl"), encoding="ascii") as file:
            acl = server.write("acl", file.read().replace("berlin-1", SITE), 0o644)
        server.broker = board.Broker(server.place, "acl_file " + acl, "password_file " + passwords)
        server.start("--confirm", "collector", "--user", "rack-1", "--password-file", server.write("mine", "secret"))
        until("it has begun", lambda: server.cursor() is not None)
        came = {}
        clients = {user: server.client("change", name=user, user=user, password="secret",
                                       on_message=lambda message, user=user: came.setdefault(user, []).append(message))
                   for user in ("viewer", "collector", "rack-1")}
        server.send([fan(1, 1)])
        until("they who may read it have the change", lambda: sorted(came) == ["collector", "viewer"])
        ledger_id = server.ask_engine(do="status")["ledger_id"]
        ack = json.dumps({"ledger_id": ledger_id, "through": 1})
        clients["viewer"].publish(BELOW + "ack", ack)  # some brokers end the connection of who does what is forbidden
        # Nobody has acknowledged it, so it comes again with the next connection.
        server.publisher.send_signal(signal.SIGHUP)
        until("the change comes again", lambda: len(came["collector"]) == 2)
        clients["collector"].publish(BELOW + "ack", ack)
        until("the collector is heard", lambda: server.cursor() == 1)
        self.assertNotIn("refuses", server.publisher.text())
        until("the viewer has the list",
              lambda: retained(server, user="viewer", password="secret")[0].index["count"] == 1)


if __name__ == "__main__":
    board.main()
