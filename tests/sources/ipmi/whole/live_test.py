"""examples/live-ipmi as its user meets it: live_test.py EXAMPLE PROGRAMS"""
import json
import os
import signal
import subprocess
import sys
import tempfile
import threading
import urllib.request

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
from simulator import PATIENCE, until


def main():
    example, programs = sys.argv[1:]
    with tempfile.TemporaryDirectory() as directory:
        live = subprocess.Popen([example, programs], stdout=subprocess.PIPE, text=True, env={**os.environ, "TMPDIR": directory})
        # One that says nothing must not be waited for for ever.
        silence = threading.Timer(PATIENCE, live.terminate)
        silence.start()
        try:
            address = live.stdout.readline().split()[1]
            assert address.startswith("http://127.0.0.1:"), address
            lines = [live.stdout.readline() for _ in range(4)]
            silence.cancel()
            stop, start = lines[1].split(), lines[3].split()
            assert stop[:2] == [example, "--stop-fan"] and start[:2] == [example, "--start-fan"], lines

            def alarms():
                answer = urllib.request.urlopen(address + "api/v1/alarms", timeout=PATIENCE)
                return [alarm["fault_dn"] for alarm in json.load(answer)["alarms"]]

            assert "polaiga" in urllib.request.urlopen(address, timeout=PATIENCE).read().decode()
            assert alarms() == [], alarms()
            subprocess.run(stop, check=True, timeout=PATIENCE)
            until("the alarm is on the page", lambda: alarms() == ["sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0397"])
            subprocess.run(start, check=True, timeout=PATIENCE)
            until("it is over", lambda: alarms() == [])
            live.send_signal(signal.SIGINT)
            assert live.wait(PATIENCE) == 0, live.returncode
            assert os.listdir(directory) == [], os.listdir(directory)
        finally:
            silence.cancel()
            if live.poll() is None:
                live.terminate()
                live.wait(PATIENCE)
    print("The fan's alarm comes and goes, and nothing is left of it.")


if __name__ == "__main__":
    main()
