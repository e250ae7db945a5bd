"""examples/live-ipmi as its user meets it: live_test.py EXAMPLE PROGRAMS"""
import json
import os
import re
import signal
import sys
import tempfile
import urllib.request
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "support"))
from processes import PATIENCE, Process, run, until


def main():
    example, programs = sys.argv[1:]
    with (tempfile.TemporaryDirectory() as directory,
          Process(example, programs, env={**os.environ, "TMPDIR": directory}) as live):
        live.wait_for("--start-fan")
        address = re.search(r"^Open (http://127\.0\.0\.1:\d+/) ", live.text(), re.MULTILINE)[1]
        stop, start = (line.split() for line in live.said if line.startswith("  "))
        assert stop[:2] == [example, "--stop-fan"] and start[:2] == [example, "--start-fan"], live.said

        def alarms():
            answer = urllib.request.urlopen(address + "api/v1/alarms", timeout=PATIENCE)
            return [alarm["fault_dn"] for alarm in json.load(answer)["alarms"]]

        assert "polaiga" in urllib.request.urlopen(address, timeout=PATIENCE).read().decode()
        assert alarms() == [], alarms()
        run(*stop)
        until("the alarm is on the page", lambda: alarms() == ["sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0397"])
        run(*start)
        until("it is over", lambda: alarms() == [])
        assert live.end(signal.SIGINT) == 0, live.text()
        assert os.listdir(directory) == [], os.listdir(directory)
    print("The fan's alarm comes and goes, and nothing is left of it.")


if __name__ == "__main__":
    main()
