# What the tests of metrics share: a Prometheus and its Alertmanager, at ports that the system chooses.
import json
import pathlib
import re
import sys
import urllib.error
import urllib.parse
import urllib.request

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[3] / "support"))
from processes import Process, until

PATIENCE = 110  # seconds; Prometheus looks each second, and an alert may fire only after a minute


def wait_for(what, condition):
    return until(what, condition, PATIENCE, not_yet=(urllib.error.URLError, ConnectionError))


def read_json(address):
    with urllib.request.urlopen(address, timeout=10) as answer:
        return json.load(answer)


class Program(Process):
    """A program that tells in its log where it listens. What it said is shown when the test fails."""

    def __init__(self, *command):
        super().__init__(*command, "--web.listen-address=127.0.0.1:0")
        self.wait_for('msg="Listening on"', PATIENCE)
        self.base = "http://" + re.search(r'msg="Listening on" address=(\S+)', self.text())[1]

    def __exit__(self, failure, *_):
        self.end()
        if failure:
            sys.stderr.write(self.text())


class Prometheus(Program):
    """Scrapes /metrics at an address and evaluates the rules of a directory, each second."""

    def __init__(self, directory, address, packaging, alertmanagers=()):
        configuration = {
            "global": {"scrape_interval": "1s", "evaluation_interval": "1s"},
            "rule_files": [str(packaging / "polaiga.rules.yml")],
            "scrape_configs": [{"job_name": "polaiga", "static_configs": [{"targets": [address]}]}],
            "alerting": {"alertmanagers": [{"static_configs": [{"targets": list(alertmanagers)}]}]},
        }
        file = pathlib.Path(directory) / "prometheus.yml"
        file.write_text(json.dumps(configuration))  # JSON is YAML, too
        super().__init__("prometheus", f"--config.file={file}", f"--storage.tsdb.path={directory}/data")
        wait_for("Prometheus that is ready", lambda: self.ask("/api/v1/status/runtimeinfo"))

    def ask(self, path, **query):
        body = read_json(f"{self.base}{path}?{urllib.parse.urlencode(query)}")
        if body["status"] != "success":
            raise ValueError(body)
        return body["data"]


class Alertmanager(Program):
    """Sends what it is told to an address, at once."""

    def __init__(self, directory, receiver):
        configuration = {
            "route": {"receiver": "test", "group_by": ["alertname", "dn"], "group_wait": "0s", "group_interval": "1s"},
            "receivers": [{"name": "test", "webhook_configs": [{"url": receiver, "send_resolved": True}]}],
        }
        file = pathlib.Path(directory) / "alertmanager.yml"
        file.write_text(json.dumps(configuration))
        super().__init__("prometheus-alertmanager", f"--config.file={file}", f"--storage.path={directory}/alerts",
                         "--cluster.listen-address=")

    def alerts(self):
        return read_json(self.base + "/api/v2/alerts")
