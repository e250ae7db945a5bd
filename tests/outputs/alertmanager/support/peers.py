"""What the tests of the whole share: an engine, polaiga-alertmanager, real Alertmanagers, and receivers that fail as they
are told to."""
import atexit
import calendar
import contextlib
import functools
import http.server
import json
import os
import re
import shutil
import socket
import ssl
import sys
import tempfile
import threading
import time
import unittest
import urllib.error
import urllib.parse
import urllib.request
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "support"))
import processes
from processes import PATIENCE, Process, free_port, run

POLAIGA, PUBLISHER = "", ""  # the programs, which main() is told
# Who is asked may not be there yet, or have been killed.
until = functools.partial(processes.until, not_yet=OSError)


def fan(number, offset=3, state=1):
    return {"entity": "fan", "sensor": "FAN1_TACH1", "instance": number, "offset": offset, "state": state}


def dn_of_fan(number):
    return f"sys/rack-unit-1/fan-module-1-{number}/fan-1"


# A fan has three levels, minor, major and critical. These are the events that lead from one to the next and back.
UP = {0: (3, 1), 1: (4, 1), 2: (5, 1)}
DOWN = {1: (3, 0), 2: (4, 4), 3: (5, 5)}
SEVERITY = {1: "minor", 2: "major", 3: "critical"}


class Engine:
    """An engine in a directory of its own."""

    def __init__(self, *arguments):
        self.place = tempfile.mkdtemp(prefix="alertmanager.")
        atexit.register(shutil.rmtree, self.place, True)
        self.ledger, self.control, self.socket = (self.file(name) for name in ("ledger.db", "control.sock", "events.sock"))
        self.tables = self.file("tables")
        os.mkdir(self.tables)
        self.arguments = arguments
        self.process = None
        self.start()

    def file(self, name):
        return os.path.join(self.place, name)

    def write(self, name, text, mode=0o600):
        path = self.file(name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        os.chmod(path, mode)
        return path

    def start(self):
        self.process = Process(POLAIGA, "run", "--ledger", self.ledger, "--socket", self.socket, "--control", self.control,
                               *self.arguments)
        self.process.wait_for("ready: ")

    def kill(self):
        self.process.kill()

    def feed(self, *events):
        """All are durable when this returns."""
        with socket.socket(socket.AF_UNIX) as connection:
            connection.settimeout(PATIENCE)
            connection.connect(self.socket)
            answers = connection.makefile("r")
            for begin in range(0, len(events), 500):
                some = events[begin:begin + 500]
                connection.sendall("".join(json.dumps(event) + "\n" for event in some).encode())
                for event in some:
                    answer = json.loads(answers.readline())
                    assert "seq" in answer, (event, answer)

    def ask(self, **request):
        with socket.socket(socket.AF_UNIX) as connection:
            connection.settimeout(PATIENCE)
            connection.connect(self.control)
            connection.sendall((json.dumps(request) + "\n").encode())
            answer = json.loads(connection.makefile("r").readline())
        assert "error" not in answer, (request, answer)
        return answer

    def publishers(self):
        return {one["publisher"]: one for one in self.ask(do="status")["publishers"]}

    def number(self):
        return self.ask(do="status")["last_number"]

    def active(self):
        """The active alarms, as objects."""
        listed = run(POLAIGA, "active", "--all", "--json", "--ledger", self.ledger).stdout
        return [json.loads(line) for line in listed.splitlines()]

    def alarm_of(self, dn):
        return next(one for one in self.active() if one["dn"] == dn)

    def picture(self):
        """What is to be heard of."""
        return {(one["dn"], f"F{one['code']:04}", one["severity"]) for one in self.active()
                if one["operator_state"] != "shelved" and not one["out_of_service"] and one.get("notify", True)}

    def publisher(self, *arguments, **more):
        """A polaiga-alertmanager that follows the ledger, and tells everything again each second."""
        resend = [] if "--resend" in arguments else ["--resend", "1s"]
        return Process(PUBLISHER, "--ledger", self.ledger, "--control", self.control, "--controller", "web1", *resend, *arguments,
                       **more)


CONFIGURATION = {"route": {"receiver": "test"}, "receivers": [{"name": "test"}]}


class Alertmanager:
    """A real one, at a port that stays the same."""

    def __init__(self, engine, name="am", configuration=None, *arguments):
        self.port, self.arguments = free_port(), arguments
        self.url = f"http://127.0.0.1:{self.port}"
        self.storage = engine.file(name + ".data")
        text = configuration if isinstance(configuration, str) else json.dumps(configuration or CONFIGURATION)
        self.file = engine.write(name + ".yml", text)
        self.process = None
        self.start()

    def start(self):
        cluster = [] if any(one.startswith("--cluster") for one in self.arguments) else ["--cluster.listen-address="]
        self.process = Process("prometheus-alertmanager", f"--config.file={self.file}", f"--storage.path={self.storage}",
                               f"--web.listen-address=127.0.0.1:{self.port}", *cluster, *self.arguments)
        until("Alertmanager is ready", lambda: self.get("/-/ready", is_json=False))

    def kill(self):
        self.process.kill()

    def get(self, path, is_json=True):
        with urllib.request.urlopen(self.url + path, timeout=PATIENCE) as answer:
            text = answer.read()
        return json.loads(text) if is_json else text

    def alerts(self):
        return self.get("/api/v2/alerts")

    def alert(self, dn):
        return next((one for one in self.alerts() if one["labels"]["dn"] == dn), None)

    def picture(self):
        return {(one["labels"]["dn"], one["labels"]["code"], one["labels"]["severity"]) for one in self.alerts()}

    def wait_for(self, picture, patience=PATIENCE):
        picture = set(picture)
        try:
            until("the alerts are as they should be", lambda: self.picture() == picture, patience)
        except AssertionError:
            now = self.picture()
            raise AssertionError(f"active but should not be: {sorted(now - picture)[:10]}; should be, but are not: "
                                 f"{sorted(picture - now)[:10]}") from None

    def wait_for_truth(self, engine, patience=PATIENCE):
        self.wait_for(engine.picture(), patience)


class Receiver:
    """Takes requests at a port that stays the same. `behaviour` is "take", "hold" (takes them, and answers when it is
    woken), "hang" (takes nothing), "talk" (an answer without an end), "redirect", or a status that it answers with.
    `refuses` tells of a body whether it is refused with 400."""

    def __init__(self, identity=None, authority=None):
        self.identity, self.authority = identity, authority
        self.behaviour, self.refuses = "take", lambda body: False
        self.taken, self.refused, self.headers, self.paths = [], [], [], []
        self.connections, self.woken = [], threading.Event()
        self.port, self.server = 0, None
        self.start()
        self.url = f"http{'s' if identity else ''}://127.0.0.1:{self.port}"

    def start(self):
        receiver = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"
            disable_nagle_algorithm = True

            def setup(self):
                super().setup()
                receiver.connections.append(self.connection)

            def handle(self):
                with contextlib.suppress(OSError):  # the other one was killed, or does not trust us
                    super().handle()

            def do_POST(self):
                body = json.loads(self.rfile.read(int(self.headers["Content-Length"])))
                how = receiver.behaviour
                receiver.paths.append(self.path)
                receiver.headers.append(dict(self.headers))
                if how == "hang":
                    receiver.refused.append(body)
                    receiver.woken.wait(PATIENCE)
                    self.close_connection = True
                elif how == "redirect":
                    receiver.refused.append(body)
                    self.answer(307, Location="http://127.0.0.1:1/")
                elif isinstance(how, int):
                    receiver.refused.append(body)
                    self.answer(how)
                elif receiver.refuses(body):
                    receiver.refused.append(body)
                    self.answer(400)
                else:
                    receiver.taken.append(body)
                    if how == "hold":
                        receiver.woken.wait(PATIENCE)
                    self.talk() if how == "talk" else self.answer(200)

            def talk(self):
                self.send_response(200)
                self.end_headers()
                while True:
                    self.wfile.write(b"x" * 65536)

            def answer(self, status, **headers):
                text = b'"the test says so\x1b[31m"\n'
                self.send_response(status)
                for name, value in headers.items():
                    self.send_header(name, value)
                self.send_header("Content-Length", str(len(text)))
                self.end_headers()
                self.wfile.write(text)

            def log_message(self, *_):
                pass

        class Server(http.server.ThreadingHTTPServer):
            daemon_threads = True
            allow_reuse_address = True
            request_queue_size = 64

        self.server = Server(("127.0.0.1", self.port), Handler)
        self.port = self.server.server_address[1]
        if self.identity:
            context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            context.load_cert_chain(*self.identity)
            if self.authority:
                context.verify_mode = ssl.CERT_REQUIRED
                context.load_verify_locations(self.authority)
            self.server.socket = context.wrap_socket(self.server.socket, server_side=True, do_handshake_on_connect=False)
        threading.Thread(target=self.server.serve_forever, daemon=True, kwargs={"poll_interval": 0.02}).start()

    def stop(self):
        """Nobody listens at the port then, and all connections are cut."""
        self.server.shutdown()
        self.server.server_close()
        for connection in self.connections:
            with contextlib.suppress(OSError):
                connection.shutdown(socket.SHUT_RDWR)
        self.connections.clear()

    def wake(self):
        self.woken.set()

    # Of alerts.
    def picture(self):
        """What is active by all that was taken."""
        now = {}
        for body in list(self.taken):
            for alert in body:
                labels = alert["labels"]
                now[labels["dn"], labels["code"], labels["severity"]] = alert["endsAt"]
        present = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(time.time() + 1))
        return {key for key, ends in now.items() if ends > present}

    def wait_for(self, picture, patience=PATIENCE):
        picture = set(picture)
        until("the alerts are as they should be", lambda: self.picture() == picture, patience)

    # Of events.
    def ids(self):
        return [event["id"].partition("-")[2] for event in list(self.taken)]


def make_identity(place, name="server"):
    """A certificate that has signed itself, and its key."""
    certificate, key = os.path.join(place, name + ".pem"), os.path.join(place, name + ".key")
    run("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", key, "-out", certificate, "-days", "2",
        "-subj", "/CN=" + name, "-addext", "subjectAltName=IP:127.0.0.1")
    os.chmod(key, 0o600)
    return certificate, key


def moment(text):
    """Seconds since 1970."""
    text = re.sub(r"\.\d+", "", text)
    return calendar.timegm(time.strptime(text, "%Y-%m-%dT%H:%M:%SZ"))


class WholeTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.ended = contextlib.ExitStack()
        self.addCleanup(self.ended.close)

    def check_memory(self, process, most):
        """In MiB."""
        if not process.is_sanitised():
            self.assertLess(process.most_memory(), most << 20)

    def engine(self, *arguments):
        engine = Engine(*arguments)
        self.ended.callback(shutil.rmtree, engine.place, True)
        self.ended.callback(engine.kill)
        return engine

    def alertmanager(self, engine, *arguments):
        alertmanager = Alertmanager(engine, *arguments)
        self.ended.callback(lambda: alertmanager.kill())
        return alertmanager

    def publisher(self, engine, *arguments, **more):
        publisher = engine.publisher(*arguments, **more)
        self.ended.callback(publisher.kill)
        return publisher

    def receiver(self, *arguments):
        receiver = Receiver(*arguments)

        def end():
            receiver.wake()
            receiver.stop()

        self.ended.callback(end)
        return receiver


def main():
    """Runs the tests of the script: SCRIPT POLAIGA PUBLISHER SOURCE [TEST]..."""
    global POLAIGA, PUBLISHER
    POLAIGA, PUBLISHER = sys.argv[1:3]
    WholeTest.source = sys.argv[3]
    del sys.argv[1:4]
    unittest.main(module="__main__", verbosity=2)
