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
import sys

from monitoring import Prometheus, wait_for


def questions(dashboard):
    for panel in dashboard["panels"]:
        for target in panel["targets"]:
            yield target["expr"].replace("$__rate_interval", "1m").replace("$instance", ".*")


def ask_all(prometheus, packaging, alert):
    def rules():
        return [rule for group in prometheus.ask("/api/v1/rules")["groups"] for rule in group["rules"]]

    def alerts():
        return prometheus.ask("/api/v1/alerts")["alerts"]

    wait_for(f"alert {alert}", lambda: any(a["state"] == "firing" and a["labels"]["alertname"] == alert for a in alerts()))
    evaluated = wait_for("evaluation of all rules", lambda: all(r["health"] == "ok" for r in rules()) and rules())
    targets = prometheus.ask("/api/v1/targets")["activeTargets"]
    if [target["lastError"] for target in targets] != [""]:
        sys.exit(f"the scrape failed: {targets}")
    dashboard = json.loads((packaging / "polaiga-dashboard.json").read_text())
    count = 0
    for question in questions(dashboard):
        prometheus.ask("/api/v1/query", query=question)
        count += 1
    return {
        "firing": sorted((a["labels"] for a in alerts() if a["state"] == "firing"), key=json.dumps),
        "pending": sorted({a["labels"]["alertname"] for a in alerts() if a["state"] == "pending"}),
        "rules": len(evaluated),
        "questions": count,
    }


def main():
    address, directory, packaging, alert = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3]), sys.argv[4]
    if not re.fullmatch(r"[0-9.]+:[0-9]+", address):
        sys.exit("the address is to be a number and a port")
    with Prometheus(directory, address, packaging) as prometheus:
        print(json.dumps(ask_all(prometheus, packaging, alert)))


main()
