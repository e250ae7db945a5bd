"""An engine and a polaiga-web beside it, with a directory of their own; and the events that they are given."""
import json
import os
import pwd
import shutil
import socket
import sys
import tempfile
import threading
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[4] / "support"))
from processes import Process, run

HOUR = 3600
TABLES = Path(__file__).resolve().parents[5] / "engine/tables"


def password(name):
    return f"{name} has a long password"


def event(ago, **members):
    moment = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(time.time() - ago))
    return json.dumps({"time": moment, **members})


def fan(number, ago=0, offset=3, state=1, sensor="FAN1_TACH1"):
    return event(ago, entity="fan", sensor=sensor, instance=number, offset=offset, state=state)


def night():
    """Thirteen alarms: six of them stay."""
    temperature = {"entity": "front_panel", "sensor": "FP_TEMP"}
    supply = {"entity": "ps", "sensor": "PSU2_STATUS", "instance": 2, "offset": 32}
    disk = {"entity": "storage", "entity_id": 209, "sensor": "SAS2_DISK4", "instance": 4, "group": 2, "offset": 15}
    hot = {"entity": "ps", "sensor": "PSU1_TEMP", "instance": 1}
    lines = [event(7 * HOUR, **temperature, offset=105, state=1), event(7 * HOUR - 1500, **temperature, offset=106, state=5),
             event(6 * HOUR, **supply, state=1), event(6 * HOUR - 540, **supply, state=0)]
    for turn in range(1, 8):
        lines.append(event(3 * HOUR - 90 * turn, **disk, state=1))
        if turn < 7:
            lines.append(event(3 * HOUR - 90 * turn - 40, **disk, state=0))
    lines += [event(HOUR, **temperature, offset=106, state=4),
              event(720, **hot, offset=56, state=4), event(500, **hot, offset=57, state=5), event(400, **hot, offset=58, state=6),
              event(7000, entity="pci", sensor="PCI2_STATUS", instance=2, offset=63, state=1), fan(5, 7200), fan(7, 300, offset=4)]
    return lines


class Site:
    """An engine and a server with a directory of their own."""

    def __init__(self, programs, users=(), profile=()):
        """Programs has the paths of both; users are pairs of a name and a role; profile has the rows of alarms.tsv."""
        self.programs = programs
        self.place = tempfile.mkdtemp(prefix="polaiga-page-")
        self.port = 0
        self.engine_more = ["--gateway", pwd.getpwuid(os.geteuid()).pw_name] if users else []
        self.web_more = ["--users", self.path("users")] if users else []
        if profile:
            shutil.copytree(TABLES, self.path("tables"))
            with open(self.path("tables/alarms.tsv"), "w", encoding="utf-8") as table:
                table.writelines("\t".join(row) + "\n" for row in profile)
            self.engine_more += ["--tables", self.path("tables")]
        for name, role in users:
            run(self.programs.web, "passwd", "--users", self.path("users"), "--role", role, name, text=f"{password(name)}\n")
        self.engine = self.web = None
        try:
            self.start_engine()
            self.start_web()
        except BaseException:
            self.close()
            raise

    def path(self, name):
        return os.path.join(self.place, name)

    def start_engine(self):
        self.engine = Process(self.programs.engine, "run", "--ledger", self.path("ledger.db"), "--socket",
                              self.path("events.sock"), "--control", self.path("control.sock"), *self.engine_more)
        self.engine.wait_for("ready: ")

    def start_web(self):
        self.web = Process(self.programs.web, "--ledger", self.path("ledger.db"), "--control", self.path("control.sock"),
                           "--listen", f"127.0.0.1:{self.port}", "--program", self.programs.engine, *self.web_more)
        self.web.wait_for("ready: ")
        self.port = int(self.web.text().split("ready: http://127.0.0.1:")[1].split("/")[0])

    def address(self, path="/"):
        return f"http://127.0.0.1:{self.port}{path}"

    def feed(self, lines):
        """Returns when all of them are durable."""
        with socket.socket(socket.AF_UNIX) as client:
            client.connect(self.path("events.sock"))
            text = "".join(line + "\n" for line in lines).encode()

            def send():
                client.sendall(text)
                client.shutdown(socket.SHUT_WR)

            sender = threading.Thread(target=send)
            sender.start()
            answers = [json.loads(line) for line in client.makefile("rb")]
            sender.join()
        assert len(answers) == len(lines) and all("seq" in answer for answer in answers), answers[:3]

    def tell(self, request):
        """Sends a request to the engine's control socket, and returns the answer."""
        with socket.socket(socket.AF_UNIX) as client:
            client.connect(self.path("control.sock"))
            client.sendall((json.dumps(request) + "\n").encode())
            answer = json.loads(client.makefile("rb").readline())
        assert "error" not in answer, answer
        return answer

    def act(self, request):
        assert "seq" in self.tell(request)

    def close(self):
        for process in (self.web, self.engine):
            if process is not None:
                process.end()
        shutil.rmtree(self.place)
