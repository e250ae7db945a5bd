#!/usr/bin/env python3
"""Runs a program at a terminal and does what a person would do there, step by step.

at_terminal.py 'STEP|STEP|...' PROGRAM ARGUMENT...

wait:TEXT  until the program has written the text
type:TEXT  and the Enter key
key:N      the key with the number N, as 3 for Ctrl-C
hidden     the terminal does not show what is typed
shown      it does
end:N      the program has ended with the status N; 128 and the signal when one has ended it

Prints what the terminal was sent. The status is 1, with what went wrong, when a step is not as it should be.
"""
import os
import pty
import select
import sys
import termios
import time

PATIENCE = 120  # seconds


def main():
    steps = [step.partition(":") for step in sys.argv[1].split("|")]
    # The other end stays open, so that the terminal tells its settings when the program has ended, too.
    main_end, other_end = pty.openpty()
    child = os.fork()
    if child == 0:
        os.close(main_end)
        os.login_tty(other_end) if hasattr(os, "login_tty") else login_tty(other_end)
        os.execvp(sys.argv[2], sys.argv[2:])
    sent = b""
    seen = 0  # what was waited for already
    deadline = time.monotonic() + PATIENCE

    def fail(what):
        sys.stdout.write(sent.decode(errors="replace"))
        os.kill(child, 9)
        sys.exit(f"at the terminal: {what}")

    def receive(seconds):
        nonlocal sent
        if select.select([main_end], [], [], seconds)[0]:
            sent += os.read(main_end, 4096)

    for kind, _, text in steps:
        if kind == "wait":
            while text.encode() not in sent[seen:]:
                if time.monotonic() > deadline:
                    fail(f"'{text}' did not come")
                receive(0.1)
            seen = sent.index(text.encode(), seen) + len(text)
        elif kind == "type":
            os.write(main_end, text.encode() + b"\n")
        elif kind == "key":
            os.write(main_end, bytes([int(text)]))
        elif kind in ("hidden", "shown"):
            is_shown = bool(termios.tcgetattr(other_end)[3] & termios.ECHO)
            if is_shown != (kind == "shown"):
                fail(f"the terminal is not {kind}")
        elif kind == "end":
            while True:
                ended, status = os.waitpid(child, os.WNOHANG)
                if ended:
                    break
                if time.monotonic() > deadline:
                    fail("the program did not end")
                receive(0.1)
            receive(0)
            status = os.WEXITSTATUS(status) if os.WIFEXITED(status) else 128 + os.WTERMSIG(status)
            if status != int(text):
                sys.stdout.write(sent.decode(errors="replace"))
                sys.exit(f"at the terminal: the status is {status}")
        else:
            fail(f"there is no step '{kind}'")
    sys.stdout.write(sent.decode(errors="replace"))


def login_tty(terminal):
    import fcntl
    os.setsid()
    fcntl.ioctl(terminal, termios.TIOCSCTTY, 0)
    for fd in range(3):
        os.dup2(terminal, fd)


main()
