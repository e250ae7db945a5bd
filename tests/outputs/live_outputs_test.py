#!/usr/bin/env python3
"""examples/live --outputs as its user meets it: live_outputs_test.py EXAMPLE PROGRAMS"""
import json
import os
import re
import signal
import sys
import tempfile
import urllib.request
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "support"))
sys.dont_write_bytecode = True
from processes import Process, run, until


def main():
    example, programs = sys.argv[1:]
    programs = os.path.relpath(programs)  # as `make live-outputs` names it
    with (tempfile.TemporaryDirectory() as directory,
          Process(example, "--outputs", "--pace", "20000", programs, env={**os.environ, "TMPDIR": directory}) as live):
        live.wait_for("polaiga outputs --control")
        text = live.text()
        assert text.startswith("Open http://127.0.0.1:"), text

        # Each of those who are told has alarms of the day.
        alerts = re.search(r"alerts at (http://127\.0\.0\.1:\d+/)", text)[1]
        names = until("Alertmanager has alerts", lambda: json.load(urllib.request.urlopen(alerts + "api/v2/alerts")))
        assert names[0]["labels"]["controller"] == "rack-1", names[0]
        port = re.search(r"mosquitto_sub -h 127\.0\.0\.1 -p (\d+)", text)[1]
        got = run("mosquitto_sub", "-h", "127.0.0.1", "-p", port, "-C", "1", "-t", "polaiga/v1/demo/rack-1/change").stdout
        assert "ledger_id" in json.loads(got), got
        traps = Path(re.search(r"tail -f (\S+)", text)[1])
        until("a trap comes", lambda: "32473" in traps.read_text() or "POLAIGA-MIB" in traps.read_text())
        rows = run("sh", "-c", re.search(r"^  (snmpbulkwalk .*)$", text, re.MULTILINE)[1]).stdout
        assert rows.count("\n") > 20, rows
        told = run(*re.search(r"^  (.*polaiga outputs .*)$", text, re.MULTILINE)[1].split()).stdout
        assert told.count("\n") == 4, told

        assert live.end(signal.SIGINT) == 0, live.text()
        assert os.listdir(directory) == [], os.listdir(directory)
    print("All are told of the day, and nothing is left of it.")


if __name__ == "__main__":
    main()
