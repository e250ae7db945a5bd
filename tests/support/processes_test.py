#!/usr/bin/env python3
"""What tests of programs share, by itself: processes_test.py [TEST]..."""
import os
import signal
import socket
import sys
import unittest

sys.dont_write_bytecode = True
from processes import Process, free_port, run, until

SHORT = 0.1  # seconds, for what never comes
# Starts a program, says which process it is, and waits for its end.
TEST = """
import sys
sys.path.insert(0, sys.argv[1])
from processes import Process
program = Process("sleep", "600")
print(program.pid, flush=True)
program.wait()
"""


def shell(text):
    return Process("sh", "-c", text)


class UntilTest(unittest.TestCase):
    def test_it_returns_the_first_answer_that_is_true(self):
        self.assertEqual(until("it is there", iter([None, 0, "there", "more"]).__next__), "there")

    def test_it_gives_up_and_says_on_what(self):
        with self.assertRaisesRegex(AssertionError, "within 0.1 s: pigs fly"):
            until("pigs fly", lambda: False, SHORT)

    def test_only_errors_that_mean_not_yet_are_waited_out(self):
        answers = iter([ConnectionRefusedError, ConnectionRefusedError, None])

        def ask():
            if error := next(answers):
                raise error
            return "here"

        with self.assertRaises(ConnectionRefusedError):
            until("somebody answers", ask, SHORT, not_yet=(ValueError, KeyError))
        self.assertEqual(until("somebody answers", ask, not_yet=OSError), "here")


class RunTest(unittest.TestCase):
    def test_what_comes_back(self):
        done = run("sh", "-c", "cat; echo $WORD >&2; exit 3", text="given", status=3, env={**os.environ, "WORD": "said"})
        self.assertEqual((done.returncode, done.stdout, done.stderr), (3, "given", "said\n"))

    def test_another_status(self):
        with self.assertRaisesRegex(AssertionError, "so it is"):
            run("sh", "-c", "echo so it is >&2; exit 1")
        with self.assertRaises(AssertionError):
            run("true", status=1)


class FreePortTest(unittest.TestCase):
    def test_each_kind(self):
        for kind in (socket.SOCK_STREAM, socket.SOCK_DGRAM):
            with self.subTest(kind=kind), socket.socket(socket.AF_INET, kind) as taken:
                taken.bind(("127.0.0.1", free_port(kind)))


class ProcessTest(unittest.TestCase):
    def test_what_it_says_is_kept(self):
        with shell("echo one; echo two >&2; exec sleep 600") as program:
            program.wait_for("two\n")
            self.assertEqual(program.said, ["one\n", "two\n"])
            self.assertEqual(program.text(), "one\ntwo\n")
            self.assertFalse(program.has_ended())
        self.assertTrue(program.has_ended())

    def test_it_does_not_say_it(self):
        with shell("echo something else; exec sleep 600") as program:
            with self.assertRaisesRegex(AssertionError, "sh did not say 'ready', but: something else"):
                program.wait_for("something else")
                program.wait_for("ready", SHORT)
        # Who has ended is not waited for, and has said what he said.
        program = shell("echo the last words")
        program.wait_for("the last words")
        with self.assertRaisesRegex(AssertionError, "but: the last words"):
            program.wait_for("ready", 3600)
        self.assertEqual(program.wait(), 0)

    def test_ends(self):
        self.assertEqual(shell("exit 7").wait(), 7)
        for how in (signal.SIGTERM, signal.SIGINT):
            self.assertEqual(Process("sleep", "600").end(how), -how)
        program = Process("sleep", "600")
        program.send_signal(signal.SIGSTOP)
        self.assertEqual(program.kill(), -signal.SIGKILL)
        self.assertEqual(program.end(), -signal.SIGKILL)

    def test_what_it_takes(self):
        # 64 MiB, which are given back, and a loop that does not end.
        with Process(sys.executable, "-c", "text = 'x' * (64 << 20); del text; print('ready', flush=True)\nwhile True: pass",
                     ) as program:
            program.wait_for("ready")
            self.assertGreater(program.most_memory(), 64 << 20)
            self.assertLess(program.memory(), 64 << 20)
            self.assertGreater(program.memory(), 1 << 20)
            self.assertFalse(program.is_sanitised())
            before = program.processor_time()
            until("it takes a tenth of a second", lambda: program.processor_time() > before + 0.1)

    def test_a_test_that_is_ended_ends_its_programs(self):
        test = Process(sys.executable, "-B", "-c", TEST, os.path.dirname(os.path.abspath(__file__)))
        test.wait_for("\n")
        pid = int(test.text())
        os.kill(pid, 0)
        self.assertEqual(test.end(), 1)
        with self.assertRaises(ProcessLookupError):
            os.kill(pid, 0)


if __name__ == "__main__":
    unittest.main(verbosity=2)
