"""What examples/live --outputs starts beside the page: a broker of MQTT, snmpd with a receiver of traps, and an Alertmanager,
each on this machine alone, and the three publishers that tell them of alarms.
"""
import getpass
import glob
import os
import re
import shutil
import socket
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
PATIENCE = 20  # seconds, for a program to be ready
SITE = "demo"
CONTROLLER = "rack-1"
PEERS = {"mosquitto": "mosquitto", "snmpd": "snmpd", "snmptrapd": "snmptrapd",
         "prometheus-alertmanager": "prometheus-alertmanager"}
PUBLISHERS = ("polaiga-snmp", "polaiga-mqtt", "polaiga-alertmanager")


def found(program):
    # Debian keeps some servers where only root looks.
    return shutil.which(program, path=os.environ.get("PATH", "") + ":/usr/sbin:/usr/local/sbin")


def check(programs):
    """Ends with what to do when something is missing."""
    if missing := [package for program, package in PEERS.items() if not found(program)]:
        sys.exit(f"These Debian packages are missing: {' '.join(missing)}. Type: tools/setup live-outputs")
    if missing := [name for name in PUBLISHERS if not (programs / name).exists()]:
        sys.exit(f"{programs} has no {', '.join(missing)}. Type: tools/setup live-outputs, and build again")


def free_port(kind):
    with socket.socket(socket.AF_INET, kind) as chosen:
        chosen.bind(("127.0.0.1", 0))
        return chosen.getsockname()[1]


def mib_options():
    """The options by which tools of SNMP know the names of POLAIGA-MIB, if the modules that it builds on are there."""
    standard = sorted(glob.glob("/usr/lib/erlang/lib/snmp-*/mibs")) or sorted(glob.glob("/usr/share/snmp/mibs/ietf"))
    if not standard:
        return ["-m", ""]
    return ["-M", f"{standard[-1]}:{ROOT / 'outputs/snmp/mibs'}", "-m", "POLAIGA-MIB"]


class Outputs:
    """The programs. `started` is the list to which each one is added, which ends them."""

    def __init__(self, place, programs, started):
        check(programs)
        self.place = place
        self.programs = programs.resolve()
        self.started = started
        self.mqtt_port = free_port(socket.SOCK_STREAM)
        self.snmp_port = free_port(socket.SOCK_DGRAM)
        self.trap_port = free_port(socket.SOCK_DGRAM)
        self.alerts_port = free_port(socket.SOCK_STREAM)
        self.traps = place / "traps"
        self.environment = {**os.environ, "SNMP_PERSISTENT_DIR": str(place / "snmp"), "SNMPCONFPATH": str(place / "snmp")}
        (place / "snmp").mkdir()

    def start_peers(self):
        self._start_broker()
        self._start_snmp()
        self._start_alertmanager()

    def start_publishers(self, page):
        common = ["--ledger", self.place / "ledger.db", "--control", self.place / "control.sock"]
        site = ["--site", SITE, "--controller", CONTROLLER]
        self._run("polaiga-snmp", [self.programs / "polaiga-snmp", *common, "--agentx", f"unix:{self.place}/agentx"])
        self._run("polaiga-mqtt", [self.programs / "polaiga-mqtt", *common, *site, "--broker", f"127.0.0.1:{self.mqtt_port}"])
        self._run("polaiga-alertmanager", [self.programs / "polaiga-alertmanager", *common, *site, "--url",
                                           f"http://127.0.0.1:{self.alerts_port}", "--page-url", page])
        self._wait("publishers that have reached whom they tell", self._all_connected)

    def told(self):
        """What to look at, as lines."""
        mibs = " ".join(option if option else "''" for option in mib_options())
        return [f"Alertmanager shows the alerts at http://127.0.0.1:{self.alerts_port}/",
                "From another terminal, look at what the others get:",
                f"  mosquitto_sub -h 127.0.0.1 -p {self.mqtt_port} -v -t 'polaiga/#'",
                f"  tail -f {self.traps}",
                f"  snmpbulkwalk -v2c -c public {mibs} 127.0.0.1:{self.snmp_port} .1.3.6.1.4.1.32473",
                "And how the publishers go:",
                f"  {self.programs / 'polaiga'} outputs --control {self.place / 'control.sock'}"]

    def _start_broker(self):
        configuration = self.place / "mosquitto.conf"
        # Without a user it would become one that cannot read this directory.
        configuration.write_text(f"listener {self.mqtt_port} 127.0.0.1\nallow_anonymous true\nuser {getpass.getuser()}\n")
        self._run("mosquitto", [found("mosquitto"), "-c", configuration])
        self._wait("broker", lambda: self._takes_connections(self.mqtt_port))

    def _start_snmp(self):
        receiver = self.place / "snmptrapd.conf"
        receiver.write_text("disableAuthorization yes\n")
        self._run("snmptrapd", [found("snmptrapd"), "-f", "-C", "-c", receiver, "-Lf", self.traps, *mib_options(), "-p",
                                self.place / "snmptrapd.pid", "-x", f"unix:{self.place}/agentx-of-receiver",
                                f"udp:127.0.0.1:{self.trap_port}"])
        agent = self.place / "snmpd.conf"
        agent.write_text(f"master agentx\nagentXSocket unix:{self.place}/agentx\nrocommunity public 127.0.0.1\n"
                         f"trap2sink 127.0.0.1:{self.trap_port} public\n")
        self._run("snmpd", [found("snmpd"), "-f", "-C", "-c", agent, "-Le", "-m", "", "-p", self.place / "snmpd.pid",
                            f"udp:127.0.0.1:{self.snmp_port}"])
        self._wait("snmpd", lambda: (self.place / "agentx").exists() and self.traps.exists())

    def _start_alertmanager(self):
        configuration = self.place / "alertmanager.yml"
        configuration.write_text("route:\n  receiver: nobody\n  group_by: [alertname, dn]\nreceivers:\n  - name: nobody\n")
        self._run("alertmanager", [found("prometheus-alertmanager"), f"--config.file={configuration}",
                                   f"--storage.path={self.place}/alerts", "--cluster.listen-address=",
                                   f"--web.listen-address=127.0.0.1:{self.alerts_port}"])
        self._wait("Alertmanager", lambda: self._takes_connections(self.alerts_port))

    def _run(self, name, command):
        with (self.place / f"{name}.log").open("wb") as messages:
            self.started.append(subprocess.Popen(list(map(str, command)), stdin=subprocess.DEVNULL, stdout=messages,
                                                 stderr=messages, env=self.environment, cwd=self.place))

    def _wait(self, what, condition):
        end = time.monotonic() + PATIENCE
        while not condition():
            if self.started[-1].poll() is not None or time.monotonic() > end:
                said = "".join(log.read_text(errors="replace")[-1000:] for log in sorted(self.place.glob("*.log")))
                sys.exit(f"There is no {what}:\n{said}")
            time.sleep(0.05)

    def _takes_connections(self, port):
        try:
            socket.create_connection(("127.0.0.1", port), timeout=1).close()
        except OSError:
            return False
        return True

    def _all_connected(self):
        asked = subprocess.run([self.programs / "polaiga", "outputs", "--json", "--control", self.place / "control.sock"],
                               stdout=subprocess.PIPE, text=True, check=True)
        return len(re.findall('"connected":true', asked.stdout)) == len(PUBLISHERS)
