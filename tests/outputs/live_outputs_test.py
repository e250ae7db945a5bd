#!/usr/bin/env python3
"""examples/live --outputs as its user meets it: live_outputs_test.py EXAMPLE PROGRAMS"""
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import time
import urllib.request
from pathlib import Path

PATIENCE = 60


def until(what, condition):
    end = time.monotonic() + PATIENCE
    while not (found := condition()):
        assert time.monotonic() < end, what
        time.sleep(0.1)
    return found


def main():
    example, programs = sys.argv[1:]
    programs = os.path.relpath(programs)  # as `make live-outputs` names it
    with tempfile.TemporaryDirectory() as directory:
        live = subprocess.Popen([example, "--outputs", "--pace", "20000", programs], stdout=subprocess.PIPE, text=True,
                                env={**os.environ, "TMPDIR": directory})
        said = []
        while not said or "polaiga outputs --control" not in said[-1]:
            line = live.stdout.readline()
            assert line, said
            said.append(line)
        text = "".join(said)
        assert said[0].startswith("Open http://127.0.0.1:"), text

        # Each of those who are told has alarms of the day.
        alerts = re.search(r"alerts at (http://127\.0\.0\.1:\d+/)", text)[1]
        names = until("Alertmanager has no alerts", lambda: json.load(urllib.request.urlopen(alerts + "api/v2/alerts")))
        assert names[0]["labels"]["controller"] == "rack-1", names[0]
        port = re.search(r"mosquitto_sub -h 127\.0\.0\.1 -p (\d+)", text)[1]
        got = subprocess.run(["mosquitto_sub", "-h", "127.0.0.1", "-p", port, "-C", "1", "-W", str(PATIENCE), "-t",
                              "polaiga/v1/demo/rack-1/change"], stdout=subprocess.PIPE, text=True, check=True)
        assert "ledger_id" in json.loads(got.stdout), got.stdout
        traps = Path(re.search(r"tail -f (\S+)", text)[1])
        until("no trap came", lambda: "32473" in traps.read_text() or "POLAIGA-MIB" in traps.read_text())
        walk = re.search(r"^  (snmpbulkwalk .*)$", text, re.MULTILINE)[1]
        rows = subprocess.run(walk, shell=True, stdout=subprocess.PIPE, text=True, check=True).stdout
        assert rows.count("\n") > 20, rows
        told = subprocess.run(said[-1].split(), stdout=subprocess.PIPE, text=True, check=True).stdout
        assert told.count("\n") == 4, told

        live.send_signal(signal.SIGINT)
        assert live.wait(PATIENCE) == 0, live.returncode
        assert os.listdir(directory) == [], os.listdir(directory)
    print("All are told of the day, and nothing is left of it.")


if __name__ == "__main__":
    main()
