"""A simulated controller: OpenIPMI's ipmi_sim with the board of board.py, at a free port of loopback."""
import atexit
import os
import re
import shutil
import signal
import socket
import sys
import tempfile
from pathlib import Path

from board import BOARD, CONTROLLER, emulator_commands, faults_of, sdr_source

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "support"))
from processes import Process, free_port, run, until

CONSOLE_WITHIN = 5  # seconds, in which the console answers
USER, PASSWORD = "watcher", "not-a-secret"  # reads, and no more
ADMINISTRATOR = "keeper"  # of the same password
GUID = "a123456789abcdefa123456789abcdef"
# Get Channel Authentication Capabilities, which is answered without a session.
IS_THERE = bytes.fromhex("0600ff07 000000000000000000 09 2018c8 810038 8e04b5")


class Console:
    """The console of a simulator, which sets its sensors."""

    def __init__(self, port, sensors=BOARD):
        self.numbers = {sensor.name: sensor.number for sensor in sensors}
        self.port = port
        self.connect()

    def connect(self):
        self.connection = socket.create_connection(("127.0.0.1", self.port), timeout=CONSOLE_WITHIN)
        self.read_prompt()

    def read_prompt(self):
        text = b""
        while not text.endswith(b"> "):
            some = self.connection.recv(4096)
            assert some, "the simulator has closed its console"
            text += some
        return text.decode("latin-1")

    def command(self, text):
        """Does it again on another connection when there is no answer: now and then the simulator forgets one, and goes on.
        What a command sets twice is logged once."""
        for _ in range(3):
            try:
                self.connection.sendall(text.encode() + b"\n")
                answer = self.read_prompt()
                assert "**" not in answer, answer
                return
            except TimeoutError:
                self.close()
                self.connect()
        raise AssertionError("the console does not answer to: " + text)

    def set_value(self, name, value, event=True):
        self.command(f"sensor_set_value {CONTROLLER:#x} 0 {self.numbers[name]} {value:#x} {int(event)}")

    def set_bit(self, name, bit, value, event=True):
        self.command(f"sensor_set_bit {CONTROLLER:#x} 0 {self.numbers[name]} {bit} {int(value)} {int(event)}")

    def close(self):
        self.connection.close()


class Simulator:
    """`log_entries` is how many records fit into its log, `log` are records of 16 bytes that it begins with."""

    def __init__(self, log_entries=1000, log=(), guid=GUID, sensors=BOARD, port=None):
        self.place = tempfile.mkdtemp(prefix="ipmi-sim.")
        atexit.register(self.close)
        self.port, self.guid = port or free_port(socket.SOCK_DGRAM), guid
        self.target = f"127.0.0.1:{self.port}"
        self.sensors = {sensor.name: sensor for sensor in sensors}
        self.process = self.console = None
        self.kept = self.file("state/ipmi_sim/board/")
        os.makedirs(self.kept)
        self.write("board.sdrs", sdr_source(sensors))
        self.write("board.emu", emulator_commands(log_entries, sensors))
        run("sdrcomp", "-8", "-o", self.kept + f"sdr.{CONTROLLER:x}.main", self.file("board.sdrs"))
        if log:
            self.write_log(log)
        self.start()

    def file(self, name):
        return os.path.join(self.place, name)

    def write(self, name, text):
        with open(self.file(name), "w", encoding="ascii") as file:
            file.write(text)

    def write_log(self, records):
        """As the simulator keeps it, the latest first."""
        def escaped(record):
            return "".join(f"\\{byte:02x}" for byte in record)
        lines = [f"{int.from_bytes(record[:2], 'little')}:d:{escaped(record)}" for record in reversed(records)]
        self.write(self.kept + f"sel.{CONTROLLER:x}", "\n".join([*lines, "last_erase_time:i:0", "last_add_time:i:1"]) + "\n")

    def start(self):
        """All sensors are healthy then; the log is what it was."""
        assert self.process is None
        # Not that of the last time, which the system may keep for a while.
        self.console_port = free_port()
        self.write("lan.conf", f"""name "board"
set_working_mc {CONTROLLER:#x}
  startlan 1
    addr 127.0.0.1 {self.port}
    priv_limit admin
    allowed_auths_user md5
    allowed_auths_admin md5
    guid {self.guid}
  endlan
  user 2 true "{USER}" "{PASSWORD}" user 10 md5
  user 3 true "{ADMINISTRATOR}" "{PASSWORD}" admin 10 md5
  console 127.0.0.1 {self.console_port}
""")
        # A console client that goes early would end it by SIGPIPE. Python ignores that signal, and passes it on.
        self.process = Process("ipmi_sim", "-n", "-c", self.file("lan.conf"), "-f", self.file("board.emu"), "-s",
                               self.file("state"), restore_signals=False)
        self.asserted = {sensor.name: sensor.healthy for sensor in self.sensors.values()}
        until("the simulator has a console", self.connect)
        until("the simulator answers", self.is_there)

    def connect(self):
        assert not self.process.has_ended(), "the simulator has ended: " + self.process.text()
        try:
            self.console = Console(self.console_port, self.sensors.values())
        except OSError:
            return False
        return True

    def is_there(self):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
            probe.settimeout(0.2)
            try:
                probe.connect(("127.0.0.1", self.port))
                probe.send(IS_THERE)
                return bool(probe.recv(512))
            except OSError:
                return False

    def set_value(self, name, value, event=True):
        """Sets a raw reading. Without `event` the log does not tell of it."""
        self.asserted[name] = value
        self.console.set_value(name, value, event)

    def set_bits(self, name, bits, event=True):
        """The bits that are set from now on, and no others; those that were set are taken back last."""
        before, self.asserted[name] = self.asserted[name], frozenset(bits)
        for bit in sorted(self.asserted[name] - before):
            self.console.set_bit(name, bit, True, event)
        for bit in sorted(before - self.asserted[name]):
            self.console.set_bit(name, bit, False, event)

    def set(self, name, to, event=True):
        if self.sensors[name].is_threshold:
            self.set_value(name, to, event)
        else:
            self.set_bits(name, to, event)

    def heal(self, name, event=True):
        self.set(name, self.sensors[name].healthy, event)

    def heal_all(self):
        for name in self.sensors:
            if self.asserted[name] != self.sensors[name].healthy:
                self.heal(name)

    def faults(self):
        """The faults that the board stands for now."""
        return faults_of(self.sensors.values(), self.asserted)

    def ipmitool(self, *arguments, user=ADMINISTRATOR):
        return run("ipmitool", "-I", "lanplus", "-C", "3", "-H", "127.0.0.1", "-p", str(self.port), "-U", user, "-P", PASSWORD,
                   *arguments).stdout

    def add_entry(self, record):
        """Adds a record of 16 bytes to the log, from outside; its id becomes the log's own."""
        self.ipmitool("raw", "0x0a", "0x44", *(f"{byte:#04x}" for byte in record))

    def add_event(self, number, sensor_type, event, data, time=0):
        """Adds a record of an event; `event` is direction and type, `data` three bytes."""
        self.add_entry(bytes([0, 0, 2, *time.to_bytes(4, "little"), CONTROLLER, 0, 4, sensor_type, number, event, *data]))

    def clear_log(self):
        self.ipmitool("sel", "clear")

    def log_entries(self):
        return int(re.search(r"Entries +: (\d+)", self.ipmitool("sel", "info"))[1])

    def kill(self):
        """As when the controller loses its power. Its log is kept."""
        self.stop(signal.SIGKILL)

    def stop(self, how=signal.SIGTERM):
        if self.process is not None:
            self.process.end(how)
            self.process = None
        if self.console is not None:
            self.console.close()
            self.console = None

    def close(self):
        self.stop()
        shutil.rmtree(self.place, ignore_errors=True)
