#!/usr/bin/env python3
"""ask_prometheus.py ADDRESS DIRECTORY PACKAGING ALERT: lets a Prometheus scrape /metrics at ADDRESS and evaluate the
rules of PACKAGING, waits until ALERT fires, asks all that the dashboard of PACKAGING asks, and prints as JSON:

  firing     the labels of the alerts that fire
  pending    the names of those that will, when it stays like that
  rules      how many rules there are, all evaluated without an error
  questions  how many questions of the dashboard were answered

DIRECTORY is for the files of Prometheus.
"""
import json
import pathlib
import re
import socket
import subprocess
import sys
import time
import urllib.error
import urllib.parse
import urllib.request

PATIENCE = 110  # seconds


def free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


def ask(base, path, **query):
    with urllib.request.urlopen(f"{base}{path}?{urllib.parse.urlencode(query)}", timeout=10) as answer:
        body = json.load(answer)
    if body["status"] != "success":
        raise ValueError(body)
    return body["data"]


def wait_for(what, condition):
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        try:
            found = condition()
            if found:
                return found
        except (urllib.error.URLError, ConnectionError):
            pass  # it is not up yet
        time.sleep(0.1)
    sys.exit(f"within {PATIENCE} s there was no {what}")


def start(directory, log):
    """Starts Prometheus. Another program may take a port that was free; then another one is tried."""
    for _ in range(5):
        port = free_port()
        base = f"http://127.0.0.1:{port}"
        with open(log, "wb") as output:
            prometheus = subprocess.Popen(
                ["prometheus", f"--config.file={directory}/prometheus.yml", f"--storage.tsdb.path={directory}/data",
                 f"--web.listen-address=127.0.0.1:{port}"], stdout=output, stderr=output)

        def has_begun():
            if prometheus.poll() is not None:
                return "ended"
            return ask(base, "/api/v1/status/runtimeinfo") and "ready"

        if wait_for("Prometheus", has_begun) == "ready":
            return prometheus, base
        print(log.read_text(), file=sys.stderr)
    sys.exit("Prometheus does not start")


def questions(dashboard):
    for panel in dashboard["panels"]:
        for target in panel["targets"]:
            yield target["expr"].replace("$__rate_interval", "1m").replace("$instance", ".*")


def ask_all(base, packaging, alert):
    def rules():
        return [rule for group in ask(base, "/api/v1/rules")["groups"] for rule in group["rules"]]

    def alerts():
        return ask(base, "/api/v1/alerts")["alerts"]

    wait_for(f"alert {alert}", lambda: any(a["state"] == "firing" and a["labels"]["alertname"] == alert for a in alerts()))
    evaluated = wait_for("evaluation of all rules", lambda: all(r["health"] == "ok" for r in rules()) and rules())
    targets = ask(base, "/api/v1/targets")["activeTargets"]
    if [target["lastError"] for target in targets] != [""]:
        sys.exit(f"the scrape failed: {targets}")
    dashboard = json.loads((packaging / "polaiga-dashboard.json").read_text())
    count = 0
    for question in questions(dashboard):
        ask(base, "/api/v1/query", query=question)
        count += 1
    return {
        "firing": sorted((a["labels"] for a in alerts() if a["state"] == "firing"), key=json.dumps),
        "pending": sorted({a["labels"]["alertname"] for a in alerts() if a["state"] == "pending"}),
        "rules": len(evaluated),
        "questions": count,
    }


def main():
    address, directory, packaging, alert = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3]), sys.argv[4]
    if not re.fullmatch(r"[0-9.]+:[0-9]+", address):
        sys.exit("the address is to be a number and a port")
    configuration = {
        "global": {"scrape_interval": "1s", "evaluation_interval": "1s"},
        "rule_files": [str(packaging / "polaiga.rules.yml")],
        "scrape_configs": [{"job_name": "polaiga", "static_configs": [{"targets": [address]}]}],
    }
    (directory / "prometheus.yml").write_text(json.dumps(configuration))  # JSON is YAML, too
    log = directory / "prometheus.log"
    prometheus, base = start(directory, log)
    try:
        print(json.dumps(ask_all(base, packaging, alert)))
    except BaseException:
        sys.stderr.write(log.read_text())
        raise
    finally:
        prometheus.terminate()
        prometheus.wait()


main()
