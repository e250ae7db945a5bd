#!/usr/bin/env python3
"""examples/live as its user meets it: live_test.py EXAMPLE PROGRAMS"""
import json
import os
import signal
import subprocess
import sys
import tempfile
import time
import urllib.request

PATIENCE = 120


def main():
    example, programs = sys.argv[1:]
    with tempfile.TemporaryDirectory() as directory:
        live = subprocess.Popen([example, "--pace", "50000", programs], stdout=subprocess.PIPE, text=True,
                                env={**os.environ, "TMPDIR": directory})
        said = live.stdout.readline()
        assert said.startswith("Open http://127.0.0.1:"), said
        address = said.split()[1]
        # The day before is there from the beginning: its last four alarms are active.
        seen = json.load(urllib.request.urlopen(address + "api/v1/stats", timeout=PATIENCE))
        assert seen["new"]["whole_time"] >= 100, seen["new"]
        page = urllib.request.urlopen(address, timeout=PATIENCE).read().decode()
        assert "polaiga" in page, page
        end = time.monotonic() + PATIENCE
        change = 0
        while change == 0 and time.monotonic() < end:
            change = json.load(urllib.request.urlopen(address + "api/v1/alarms", timeout=PATIENCE))["change"]
            time.sleep(0.05)
        assert change > 0, "the day's events do not come"
        live.send_signal(signal.SIGINT)
        assert live.wait(PATIENCE) == 0, live.returncode
        assert os.listdir(directory) == [], os.listdir(directory)
    print("The day is shown, and nothing is left of it.")


if __name__ == "__main__":
    main()
