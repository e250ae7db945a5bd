# What the tests of Redfish share: an engine beside a server, plain requests, and a receiver of events.
import base64
import http.server
import json
import re
import shutil
import socket
import ssl
import sys
import tempfile
import threading
import urllib.error
import urllib.request
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "support"))
from processes import PATIENCE, Process, run, until

PASSWORD = "secret-1"  # of all users
SUBSCRIPTIONS = "/redfish/v1/EventService/Subscriptions"


def slow(fan, state=1):
    return {"entity": "fan", "sensor": "FAN1_TACH1", "instance": fan, "offset": 3, "state": state}


def make_identity(directory):
    """A certificate that has signed itself, and its key."""
    certificate, key = directory + "/server.pem", directory + "/server.key"
    run("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", key, "-out", certificate, "-days", "2",
        "-subj", "/CN=test", "-addext", "subjectAltName=IP:127.0.0.1")
    return certificate, key


def make_users(polaiga_web, directory):
    """A file of users; each is named by his role."""
    file = directory + "/users"
    for role in ("viewer", "operator"):
        run(polaiga_web, "passwd", "--users", file, "--role", role, role, text=PASSWORD + "\n")
    return file


class Engine:
    """An engine; `arguments` are those beside its ledger and sockets."""

    def __init__(self, polaiga, directory, *arguments):
        self.ledger, self.control = directory + "/ledger.db", directory + "/control.sock"
        events = directory + "/events.sock"
        self.process = Process(polaiga, "run", "--ledger", self.ledger, "--socket", events, "--control", self.control,
                               *arguments)
        self.process.wait_for("ready: ")
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(PATIENCE)
        self.socket.connect(events)
        self.answers = self.socket.makefile("r")

    def feed(self, *events):
        for event in events:
            self.socket.sendall((json.dumps(event) + "\n").encode())
            assert "seq" in json.loads(self.answers.readline()), event

    def end(self):
        self.process.end()
        self.answers.close()
        self.socket.close()


class Web(Process):
    """A server; `arguments` are those beside the engine's. `authority` signed its certificate, if it has one."""

    def __init__(self, program, polaiga, engine, *arguments, authority=None):
        self.authority = authority
        self.context = ssl.create_default_context(cafile=authority) if authority else None
        super().__init__(program, "--ledger", engine.ledger, "--control", engine.control, "--program", polaiga, *arguments)
        self.wait_for("ready: ")
        self.url = re.search(r"ready: (https?://\S+?)/?$", self.text(), re.MULTILINE)[1]

    def ask(self, path, method="GET", body=None, user="operator", headers=None):
        """Status, headers and body of an answer; a body that is JSON is read."""
        request = urllib.request.Request(self.url + path, method=method, headers=dict(headers or {}))
        if body is not None:
            request.data = body if isinstance(body, bytes) else json.dumps(body).encode()
            if not request.has_header("Content-type"):
                request.add_header("Content-Type", "application/json")
        if user:
            request.add_header("Authorization", "Basic " + base64.b64encode((user + ":" + PASSWORD).encode()).decode())
        try:
            answer = urllib.request.urlopen(request, timeout=PATIENCE, context=self.context)
        except urllib.error.HTTPError as error:
            answer = error
        with answer:
            text = answer.read()
            kind = answer.headers.get("Content-Type", "")
            return answer.status, answer.headers, json.loads(text) if text and "json" in kind else text

    def get(self, path):
        status, _, body = self.ask(path)
        assert status == 200, (path, status, body)
        return body


class Receiver:
    """Takes events at a port that stays the same. `behaviour` is "take", "hold" (takes them, and answers only when it
    is woken), "refuse" (500), "hang", "redirect" or "talk" (an answer without an end). `identity` is the certificate and
    the key of one with TLS."""

    def __init__(self, identity=None):
        self.identity, self.paths = identity, set()
        self.busy, self.lock = 0, threading.Lock()  # how many connections are open
        self.behaviour, self.taken, self.refused, self.headers = "take", [], 0, []
        self.connections = []
        self.woken = threading.Event()
        self.host, self.port, self.server = "127.0.0.1", 0, None
        self.start()

    def start(self):
        receiver = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def setup(self):
                super().setup()
                receiver.connections.append(self.connection)

            def handle(self):
                with receiver.lock:
                    receiver.busy += 1
                try:
                    super().handle()
                except OSError:
                    pass  # the server does not trust us, or was killed
                finally:
                    with receiver.lock:
                        receiver.busy -= 1

            def do_POST(self):
                receiver.paths.add(self.path)
                body = json.loads(self.rfile.read(int(self.headers["Content-Length"])))
                if receiver.behaviour in ("take", "hold"):
                    receiver.taken.append(body)
                    receiver.headers.append(dict(self.headers))
                    if receiver.behaviour == "hold":
                        receiver.woken.wait(PATIENCE)
                    self.answer(204)
                    return
                receiver.refused += 1
                if receiver.behaviour == "hang":
                    receiver.woken.wait(PATIENCE)
                    self.close_connection = True
                elif receiver.behaviour == "redirect":
                    self.send_response(307)
                    self.send_header("Location", f"http://127.0.0.1:{receiver.port}/elsewhere")
                    self.send_header("Content-Length", "0")
                    self.end_headers()
                elif receiver.behaviour == "talk":
                    receiver.taken.append(body)
                    self.send_response(200)
                    self.end_headers()
                    try:
                        while True:
                            self.wfile.write(b"x" * 65536)
                    except OSError:
                        self.close_connection = True
                else:
                    self.answer(500)

            def answer(self, status):
                self.send_response(status)
                self.send_header("Content-Length", "0")
                self.end_headers()

            def log_message(self, *_):
                pass

        class Server(http.server.ThreadingHTTPServer):
            daemon_threads = True
            allow_reuse_address = True

        self.server = Server(("127.0.0.1", self.port), Handler)
        self.port = self.server.server_address[1]
        if self.identity:
            context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            context.load_cert_chain(*self.identity)
            self.server.socket = context.wrap_socket(self.server.socket, server_side=True,
                                                     do_handshake_on_connect=False)
        threading.Thread(target=self.server.serve_forever, daemon=True, kwargs={"poll_interval": 0.02}).start()

    def stop(self):
        self.server.shutdown()
        self.server.server_close()
        for connection in self.connections:
            try:
                connection.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass  # it has ended before
        self.connections.clear()

    def url(self):
        return f"{'https' if self.identity else 'http'}://{self.host}:{self.port}/events"

    def records(self):
        return [record for event in list(self.taken) for record in event["Events"]]

    def numbers(self):
        """Of the changes that came, as they came."""
        return [int(record["EventId"].rsplit("-", 1)[1]) for record in self.records() if "-" in record["EventId"]]


def subscribe(web, receiver, **more):
    """The address of a new subscription."""
    status, headers, body = web.ask(SUBSCRIPTIONS, "POST", {
        "Destination": receiver.url(), "Protocol": "Redfish", "Context": "of the test", **more})
    assert status == 201, body
    assert headers["Location"] == SUBSCRIPTIONS + "/" + body["Id"]
    return headers["Location"]


class Directory:
    def __enter__(self):
        self.path = tempfile.mkdtemp(prefix="redfish.")
        return self.path

    def __exit__(self, *_):
        shutil.rmtree(self.path, ignore_errors=True)
