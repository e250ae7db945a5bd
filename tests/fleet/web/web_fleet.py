"""The server of a fleet as its users meet it, for tests."""
import base64
import http.client
import json
import sys
import urllib.parse
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "support"))
from processes import Process, run

PASSWORD = "correct horse battery"


def add_user(web, users, name, role):
    run(web, "passwd", "--users", users, "--role", role, name, text=f"{PASSWORD}\n{PASSWORD}\n")


def basic(name, password=PASSWORD):
    """The header by which a user logs in."""
    return {"Authorization": "Basic " + base64.b64encode(f"{name}:{password}".encode()).decode()}


class WebFleet:
    """`program` is polaiga-web-fleet, or polaiga-web, which runs it."""

    def __init__(self, program, url, *options):
        self.process = Process(str(program), "--fleet", url, "--listen", "127.0.0.1:0", *map(str, options))
        self.process.wait_for("ready: ")
        self.address = self.process.text().split("ready: ")[1].split()[0]
        self.place = urllib.parse.urlsplit(self.address).netloc

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.end()

    def ask(self, path, user=None, method="GET", body=None, headers=()):
        """The status, the headers and the body, as text."""
        connection = http.client.HTTPConnection(self.place, timeout=60)
        all_headers = dict(headers)
        if user:
            all_headers.update(basic(user))
        if body is not None:
            all_headers.setdefault("Content-Type", "application/json")
        connection.request(method, path, body if body is None or isinstance(body, str) else json.dumps(body), all_headers)
        response = connection.getresponse()
        text = response.read().decode()
        connection.close()
        return response.status, response.headers, text

    def get(self, path, user=None, **query):
        """The JSON of an answer with status 200."""
        address = path + ("?" + urllib.parse.urlencode(query) if query else "")
        status, _, text = self.ask(address, user)
        assert status == 200, (address, status, text)
        return json.loads(text)
