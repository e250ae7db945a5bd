"""Peers, files and options that are not as they should be: failures_test.py POLAIGA PUBLISHER SOURCE [TEST]..."""
import base64
import os
import signal
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import peers
from peers import WholeTest, dn_of_fan, fan, make_identity, run, until

FAN_1, FAN_2 = (dn_of_fan(1), "F0395", "minor"), (dn_of_fan(2), "F0395", "minor")


class FailuresTest(WholeTest):
    def start(self, *arguments, receiver=None, **more):
        engine = self.engine()
        receiver = receiver or self.receiver()
        publisher = self.publisher(engine, "--url", receiver.url, *arguments, **more)
        return engine, receiver, publisher

    def authorization(self, receiver):
        return receiver.headers[-1].get("Authorization")

    # One that hangs keeps neither the engine nor another peer waiting.
    def test_a_peer_that_hangs(self):
        engine, receiver, publisher = self.start("--webhook", "http://127.0.0.1:1")
        other = self.receiver()
        publisher.kill()
        receiver.behaviour = "hang"
        publisher = self.publisher(engine, "--url", receiver.url, "--url", other.url)
        engine.feed(fan(1))
        other.wait_for({FAN_1})
        until("the other one is asked, too", lambda: receiver.refused)
        publisher.wait_for("Operation timed out after 15")
        engine.feed(fan(2))
        other.wait_for({FAN_1, FAN_2})
        receiver.behaviour = "take"
        receiver.wake()
        receiver.wait_for({FAN_1, FAN_2})
        # It ends at once though one hangs.
        receiver.woken.clear()
        receiver.behaviour = "hang"
        tries = len(receiver.refused)
        until("it is asked again", lambda: len(receiver.refused) > tries)
        began = time.monotonic()
        self.assertEqual(publisher.end(), 0)
        self.assertLess(time.monotonic() - began, 5)

    def test_an_answer_without_an_end(self):
        engine, receiver, publisher = self.start()
        receiver.behaviour = "talk"
        engine.feed(fan(1))
        # It has answered with success, so it has taken it.
        until("the cursor follows", lambda: [one["through"] for one in engine.publishers().values()] == [1])
        self.check_memory(publisher, 32)

    def test_what_a_peer_says_is_shown_without_harm(self):
        engine, receiver, publisher = self.start()
        receiver.behaviour = 500
        engine.feed(fan(1))
        publisher.wait_for("the status 500 was answered: the test says so?[31m. What it does not take is kept")
        until("it is tried again", lambda: len(receiver.refused) > 2)
        self.assertEqual(publisher.text().count("the status 500"), 1)
        status = lambda: next(iter(engine.publishers().values()))
        until("the engine knows", lambda: status().get("last_error"))
        self.assertEqual(status()["connected"], False)
        self.assertEqual(status()["peer"], receiver.url)
        receiver.behaviour = "take"
        publisher.wait_for("it takes what it is told again")
        until("the engine knows", lambda: status()["connected"])

    def test_a_redirect_is_not_followed(self):
        engine, receiver, publisher = self.start()
        receiver.behaviour = "redirect"
        engine.feed(fan(1))
        publisher.wait_for("the status 307 was answered")

    def test_the_environment_leads_nobody_elsewhere(self):
        proxy = "http://127.0.0.1:1"
        engine, receiver, _ = self.start(env={**os.environ, "http_proxy": proxy, "ALL_PROXY": proxy, "HTTP_PROXY": proxy})
        engine.feed(fan(1))
        receiver.wait_for({FAN_1})

    def test_a_certificate_that_nobody_vouches_for(self):
        engine = self.engine()
        identity, other = make_identity(engine.place), make_identity(engine.place, "other")
        receiver = self.receiver(identity)
        engine.feed(fan(1))
        refused = [self.publisher(engine, "--url", receiver.url),
                   self.publisher(engine, "--url", receiver.url, "--tls-ca", other[0]),
                   self.publisher(engine, "--url", receiver.url.replace("127.0.0.1", "localhost"), "--tls-ca", identity[0])]
        for one in refused[:2]:
            one.wait_for("certificate")
        refused[2].wait_for("no alternative certificate subject name matches")
        for one in refused:
            one.kill()
        self.assertEqual(receiver.taken, [])
        self.publisher(engine, "--url", receiver.url, "--tls-ca", identity[0])
        receiver.wait_for({FAN_1})

    def test_a_peer_that_wants_a_certificate(self):
        engine = self.engine()
        identity, own = make_identity(engine.place), make_identity(engine.place, "own")
        receiver = self.receiver(identity, own[0])
        engine.feed(fan(1))
        publisher = self.publisher(engine, "--url", receiver.url, "--tls-ca", identity[0])
        publisher.wait_for("What it does not take is kept")
        publisher.kill()
        self.assertEqual(receiver.taken, [])
        self.publisher(engine, "--url", receiver.url, "--tls-ca", identity[0], "--tls-cert", own[0], "--tls-key", own[1])
        receiver.wait_for({FAN_1})

    def test_credentials_and_their_change(self):
        engine, one, other = self.engine(), self.receiver(), self.receiver()
        file = engine.write("credentials", f"user=anna\npassword=a=b\nurl={other.url}\ntoken=first\n")
        publisher = self.publisher(engine, "--url", one.url, "--url", other.url, "--credentials-file", file)
        engine.feed(fan(1))
        one.wait_for({FAN_1})
        other.wait_for({FAN_1})
        self.assertEqual(self.authorization(one), "Basic " + base64.b64encode(b"anna:a=b").decode())
        self.assertEqual(self.authorization(other), "Bearer first")
        publisher.wait_for("the credentials are sent in plain text; use https")
        engine.write("credentials", "token=second\n")
        publisher.send_signal(signal.SIGHUP)
        until("the new one is used", lambda: self.authorization(one) == self.authorization(other) == "Bearer second")
        # A URL that nobody is told at is a slip.
        engine.write("credentials", "token=second\nurl=https://elsewhere.example\ntoken=third\n")
        publisher.send_signal(signal.SIGHUP)
        publisher.wait_for("https://elsewhere.example: the credentials file has a line for this URL, and no option has")
        # A wrong file changes nothing.
        engine.write("credentials", "s3cret\n")
        publisher.send_signal(signal.SIGHUP)
        publisher.wait_for("what was read before goes on. Mend the file, and send SIGHUP again")
        requests = len(one.headers)
        until("it goes on", lambda: len(one.headers) > requests)
        self.assertEqual(self.authorization(one), "Bearer second")
        self.assertNotIn("s3cret", publisher.text())

    def refused(self, *arguments, status=2):
        engine = "--ledger", "/nowhere/ledger.db", "--control", "/nowhere/control.sock"
        done = run(peers.PUBLISHER, *engine, *arguments, status=status)
        return done.stdout + done.stderr

    def test_files_that_are_not_right(self):
        engine = self.engine()
        self.assertIn("may be read or changed by others than its owner",
                      self.refused("--url", "http://h", "--credentials-file", engine.write("open", "token=a\n", 0o644)))
        self.assertIn("No such file or directory", self.refused("--url", "http://h", "--credentials-file", "/nowhere/file"))
        said = self.refused("--url", "http://h", "--credentials-file", engine.write("wrong", "s3cret\n"))
        self.assertIn("line 1: there is no =", said)
        self.assertNotIn("s3cret", said)
        self.assertIn("has no certificate in PEM", self.refused("--url", "https://h", "--tls-ca", engine.write("ca", "x")))
        certificate, key = make_identity(engine.place)
        os.chmod(key, 0o644)
        self.assertIn("may be read or changed by others",
                      self.refused("--url", "https://h", "--tls-cert", certificate, "--tls-key", key))

    def test_options_that_are_not_right(self):
        for arguments, why in (
                ((), "give an Alertmanager with --url, or a webhook with --webhook"),
                (("--url", "http://anna:s3cret@h"), "put them into the file that --credentials-file names"),
                (("--url", "ftp://h"), "begins with http:// or https://"),
                (("--url", "http://h/?a=b"), "must not have a part behind ?"),
                (("--url", "http://h", "--url", "http://h/"), "is given twice"),
                (("--url", "http://h", "--resend", "0s"), "give a time from 1s to 1h"),
                (("--url", "http://h", "--resend", "61m"), "give a time from 1s to 1h"),
                (("--url", "http://h", "--resend", "soon"), "give a time from 1s to 1h"),
                (("--url", "http://h", "--site", ""), "at least one character"),
                (("--url", "http://h", "--controller", "a\nb"), "characters that can be seen"),
                (("--url", "http://h", "--tls-cert", "file"), "--tls-cert and --tls-key need each other"),
                (("--url", "http://h", "--page-url", "page"), "begins with http:// or https://"),
                (("--url", "http://h", "--wrong"), "--wrong"),
                (tuple(one for number in range(17) for one in ("--webhook", f"http://h{number}")), "more than 16 URLs")):
            with self.subTest(arguments):
                said = self.refused(*arguments)
                self.assertIn(why, said)
                self.assertNotIn("s3cret", said)
        self.assertRegex(self.refused("--version", status=0), r"^polaiga-alertmanager \d+\.\d+\.\d+")
        self.assertIn("Exit status: 0", self.refused("--help", status=0))

    def test_an_engine_that_takes_no_cursor(self):
        engine = self.engine()
        receiver = self.receiver()
        engine.control = engine.file("another.sock")
        publisher = self.publisher(engine, "--url", receiver.url)
        engine.feed(fan(1))
        receiver.wait_for({FAN_1})
        publisher.wait_for("the changes are told all the same")

    def test_thousands_that_ended_while_nobody_told_them(self):
        engine = self.engine("--chattering", "0")
        receiver = self.receiver()
        publisher = self.publisher(engine, "--url", receiver.url)
        engine.feed(fan(1))
        until("the engine has the cursor", lambda: [one["through"] for one in engine.publishers().values()] == [1])
        publisher.kill()
        receiver.stop()
        for begin in range(2, 22002, 500):
            engine.feed(*(event for number in range(begin, begin + 500) for event in (fan(number), fan(number, 3, 0))))
        publisher = self.publisher(engine, "--url", receiver.url)
        status = lambda: next(iter(engine.publishers().values()))
        until("the oldest are dropped", lambda: status()["lost"] == 2000)
        self.check_memory(publisher, 64)
        self.assertEqual(status()["through"], 1)
        receiver.taken.clear()
        receiver.start()
        until("all is taken", lambda: status()["through"] == engine.number())
        self.assertEqual(receiver.picture(), {FAN_1})
        told = {alert["labels"]["dn"] for body in receiver.taken for alert in body}
        self.assertEqual(told, {dn_of_fan(1)} | {dn_of_fan(number) for number in range(2002, 22002)})


if __name__ == "__main__":
    peers.main()
