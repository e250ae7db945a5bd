"""What the tests of programs share: programs that run beside a test, commands that are run to their end, free ports, and
waiting for what must come. A test that is ended with SIGTERM ends its programs, too."""
import atexit
import contextlib
import os
import re
import signal
import socket
import subprocess
import sys
import threading
import time

PATIENCE = float(os.environ.get("POLAIGA_PATIENCE", 60))  # seconds, for what must come
signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))


def until(what, condition, patience=PATIENCE, not_yet=()):
    """Calls `condition` until its answer is true, and returns that answer. `what` says in words what is waited for. An
    exception of a class in `not_yet` counts as an answer that is not true. Raises AssertionError after `patience` seconds."""
    end = time.monotonic() + patience
    while True:
        with contextlib.suppress(not_yet):
            if answer := condition():
                return answer
        assert time.monotonic() < end, f"it did not come about within {patience:g} s: {what}"
        time.sleep(0.02)


def free_port(kind=socket.SOCK_STREAM):
    """The number of a port of 127.0.0.1 that nobody uses now. `kind` is socket.SOCK_STREAM or socket.SOCK_DGRAM."""
    with socket.socket(socket.AF_INET, kind) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def run(*command, text="", status=0, **more):
    """Runs a command to its end. Returns its subprocess.CompletedProcess, whose stdout and stderr are texts. `text` is its
    standard input; `more` is for subprocess.run(). Raises AssertionError if it ends with another status than `status`, and
    subprocess.TimeoutExpired after PATIENCE seconds."""
    done = subprocess.run(command, input=text, capture_output=True, text=True, timeout=PATIENCE, **more)
    assert done.returncode == status, (command, done.returncode, done.stdout, done.stderr)
    return done


class Process:
    """A program that runs beside the test. `said` has the lines that it has written so far, to standard output and to
    standard error. As a context manager it is ended with SIGTERM at the end of the block; what still runs when the test ends
    is killed. `more` is for subprocess.Popen()."""

    def __init__(self, *command, **more):
        self.name = os.path.basename(command[0])
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                        text=True, errors="replace", **more)
        self.pid = self.process.pid
        self.said = []
        self.reader = threading.Thread(target=lambda: self.said.extend(self.process.stdout), daemon=True)
        self.reader.start()
        atexit.register(self.kill)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end()

    def text(self):
        """All that it has said so far."""
        return "".join(list(self.said))

    def wait_for(self, words, patience=PATIENCE):
        """Waits until it has said `words`. Raises AssertionError, with all that it has said, after `patience` seconds or as
        soon as it has ended without saying them."""
        with contextlib.suppress(AssertionError):
            until(words, lambda: words in self.text() or not self.reader.is_alive(), patience)
        assert words in self.text(), f"{self.name} did not say '{words}', but: {self.text()}"

    def has_ended(self):
        return self.process.poll() is not None

    def wait(self):
        """Waits until it has ended, and all that it has said was read. Returns its status: if a signal has ended it, that is
        the signal's number with a minus. Raises subprocess.TimeoutExpired after PATIENCE seconds."""
        status = self.process.wait(PATIENCE)
        self.reader.join()
        self.process.stdout.close()
        return status

    def send_signal(self, how):
        """Does nothing if it has ended."""
        self.process.send_signal(how)

    def end(self, how=signal.SIGTERM):
        """Sends it the signal, and waits as wait() does."""
        self.send_signal(how)
        return self.wait()

    def kill(self):
        return self.end(signal.SIGKILL)

    def memory(self):
        """How many bytes it has in memory now."""
        return self._bytes("VmRSS")

    def most_memory(self):
        """How many bytes it has had in memory at most."""
        return self._bytes("VmHWM")

    def is_sanitised(self):
        """A sanitiser reserves terabytes. Then its memory says nothing of the program's."""
        return self._bytes("VmPeak") > 2**40

    def processor_time(self):
        """How many seconds of a processor it has taken."""
        with open(f"/proc/{self.pid}/stat", encoding="ascii") as stat:
            user, kernel = stat.read().rsplit(")", 1)[1].split()[11:13]
        return (int(user) + int(kernel)) / os.sysconf("SC_CLK_TCK")

    def _bytes(self, name):
        with open(f"/proc/{self.pid}/status", encoding="ascii") as status:
            return int(re.search(rf"^{name}:\s+(\d+) kB", status.read(), re.MULTILINE)[1]) * 1024
