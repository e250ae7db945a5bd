#!/usr/bin/env python3
"""examples/live as its user meets it: live_test.py EXAMPLE PROGRAMS"""
import json
import os
import re
import signal
import sys
import tempfile
import urllib.request
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "support"))
sys.dont_write_bytecode = True
from processes import Process, until

PATIENCE = 120  # seconds; the events of a day are recorded first


def main():
    example, programs = sys.argv[1:]
    with (tempfile.TemporaryDirectory() as directory,
          Process(example, "--pace", "50000", programs, env={**os.environ, "TMPDIR": directory}) as live):
        live.wait_for("Open ", PATIENCE)
        address = re.match(r"Open (http://127\.0\.0\.1:\d+/) ", live.text())[1]
        # The day before is there from the beginning: its last four alarms are active.
        seen = json.load(urllib.request.urlopen(address + "api/v1/stats", timeout=PATIENCE))
        assert seen["new"]["whole_time"] >= 100, seen["new"]
        page = urllib.request.urlopen(address, timeout=PATIENCE).read().decode()
        assert "polaiga" in page, page
        until("the day's events come", lambda: json.load(
            urllib.request.urlopen(address + "api/v1/alarms", timeout=PATIENCE))["change"] > 0, PATIENCE)
        assert live.end(signal.SIGINT) == 0, live.text()
        assert os.listdir(directory) == [], os.listdir(directory)
    print("The day is shown, and nothing is left of it.")


if __name__ == "__main__":
    main()
