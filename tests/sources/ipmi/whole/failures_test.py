"""Logs, controllers, engines, passwords and files that fail: failures_test.py POLAIGA POLAIGA_IPMI [TEST]..."""
import os
import signal
import socket
import sys
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import system
from board import LOW, UP
from simulator import PASSWORD, USER, Simulator, until
from system import FOREIGN, Process, SystemTest, run

SLOW_FAN = "sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395"
SLOW_FAN_2 = "sys/rack-unit-1/fan-module-1-2/fan-1/fault-F0395"
LOG_LOW, LOG_VERY_LOW, LOG_FULL = (f"sys/rack-unit-1/mgmt/log-SEL-0/fault-{code}" for code in ("F0460", "F0461", "F0462"))


class Relay:
    """Stands between polaiga-ipmi and a controller, and counts the sessions that are asked for. While it is cut, it swallows
    what is asked, and counts that."""
    OPEN_SESSION = bytes([0x06, 0x10])  # RMCP+, and the type of the payload; they come after four bytes

    def __init__(self, port):
        self.sessions = self.swallowed = 0
        self.is_cut = False
        self.front, self.back = (socket.socket(socket.AF_INET, socket.SOCK_DGRAM) for _ in range(2))
        self.front.bind(("127.0.0.1", 0))
        self.back.connect(("127.0.0.1", port))
        self.target = f"127.0.0.1:{self.front.getsockname()[1]}"
        self.asker = None
        for work in (self.ask, self.answer):
            threading.Thread(target=work, daemon=True).start()

    def ask(self):
        while True:
            packet, self.asker = self.front.recvfrom(4096)
            if self.is_cut:
                self.swallowed += 1
                continue
            self.sessions += packet[4:6] == self.OPEN_SESSION
            self.back.send(packet)

    def answer(self):
        while True:
            packet = self.back.recv(4096)
            self.front.sendto(packet, self.asker)


class FailuresTest(SystemTest):
    def started(self, *arguments, **more):
        server = self.system(**more)
        server.follow("--poll", "1", *arguments)
        return server

    def test_a_cleared_log(self):
        server = self.started()
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.wait_for({SLOW_FAN})
        server.simulator.clear_log()
        server.simulator.set_value("FAN2_TACH1", LOW[0])
        server.wait_for({SLOW_FAN, SLOW_FAN_2})
        server.simulator.heal("FAN1_TACH1")
        server.wait_for({SLOW_FAN_2})

    def test_a_log_that_is_cleared_while_nobody_looks(self):
        server = self.started()
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.wait_for({SLOW_FAN})
        server.adapter.kill()
        server.simulator.heal("FAN1_TACH1")
        server.simulator.set_value("FAN2_TACH1", LOW[0])
        server.simulator.clear_log()
        server.start_adapter("--poll", "1")
        server.wait_for({SLOW_FAN_2})

    def test_a_full_log(self):
        server = self.started(log_entries=20)
        bios = server.simulator.sensors["BIOSPOST_TIMEOUT"]

        def fill(records):
            while server.simulator.log_entries() < records:
                server.simulator.add_event(bios.number, bios.type, 0x83, (0x01, 0xFF, 0xFF))

        for records, fault in ((15, LOG_LOW), (18, LOG_VERY_LOW), (20, LOG_FULL)):
            fill(records)
            server.wait_for({fault})
        # The log takes no more, so only the readings tell.
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.wait_for({LOG_FULL, SLOW_FAN}, patience=180)
        server.simulator.clear_log()
        server.wait_for({SLOW_FAN})

    def test_a_controller_that_reboots(self):
        server = self.started()
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.simulator.set_value("FP_TEMP_SENSOR", UP[0])
        server.wait_for_truth()
        # Its sensors are healthy then, and the log does not tell that.
        server.simulator.kill()
        server.simulator.start()
        server.wait_for(set(), patience=180)
        server.simulator.set_value("FAN2_TACH1", LOW[0])
        server.wait_for({SLOW_FAN_2})

    def test_a_controller_that_is_away_leaves_alarms_as_they_are(self):
        server = self.started()
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.wait_for({SLOW_FAN})
        server.simulator.kill()
        server.adapter.wait_for("the controller cannot be asked")
        self.assertEqual(server.faults(), {SLOW_FAN})
        self.assertFalse(server.adapter.has_ended())
        server.simulator.start()
        server.wait_for(set(), patience=180)
        # It tried several times, and said so once.
        self.assertEqual(server.adapter.text().count("the controller cannot be asked"), 1)
        self.assertIn("the controller answers again", server.adapter.text())

    def test_another_controller_in_its_place(self):
        server = self.started()
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.wait_for({SLOW_FAN})
        port = server.simulator.port
        server.simulator.close()
        server.simulator = Simulator(port=port, guid="b123456789abcdefb123456789abcdef")
        server.simulator.set_value("FAN2_TACH1", LOW[0])
        server.wait_for({SLOW_FAN_2}, patience=180)
        server.adapter.wait_for("another controller answers")

    def test_an_engine_that_is_away(self):
        server = self.started()
        server.engine.kill()
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.adapter.wait_for("the engine cannot be reached")
        server.simulator.heal("FAN1_TACH1")
        server.simulator.set_value("FAN2_TACH1", LOW[0])
        server.start_engine()
        server.wait_for({SLOW_FAN_2})
        self.assertEqual(server.events(), ["FAN1_TACH1 3/4", "FAN1_TACH1 3/0", "FAN2_TACH1 3/4"])
        server.simulator.heal_all()
        server.wait_for(set())

    def test_an_engine_that_was_never_there(self):
        server = self.system()
        server.engine.end()
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.start_adapter("--poll", "1")
        until("its state is kept", lambda: os.path.exists(server.state))
        server.start_engine()
        server.wait_for({SLOW_FAN})

    def test_a_wrong_password(self):
        server = self.system()
        wrong = server.write("wrong", "wrong\n")
        right, server.password_file = server.password_file, wrong
        relay = Relay(server.simulator.port)
        server.simulator.target = relay.target
        server.start_adapter("--poll", "1")
        # It does not try again: it ends at once, with the status that the unit does not restart.
        self.assertEqual(server.adapter.wait(), 2)
        self.assertEqual(relay.sessions, 1)
        self.assertNotIn("wrong\n", server.adapter.text().replace(wrong, ""))
        self.assertNotIn(PASSWORD, server.adapter.text())
        server.password_file = right
        server.once()
        self.assertEqual(relay.sessions, 2)

    def test_a_user_who_is_not_known(self):
        server = self.system()
        adapter = Process(system.POLAIGA_IPMI, "--target", server.simulator.target, "--user", "nobody", "--password-file",
                          server.password_file, "--cipher", "3", "--workaround", FOREIGN, "--socket", server.socket,
                          "--state", server.state)
        self.assertEqual(adapter.wait(), 2)

    def test_what_fails_at_a_start(self):
        # A status after which the services start it again, since it may be over then.
        server = self.system()
        os.mkdir(server.state + ".lock")
        server.start_adapter("--poll", "1")
        self.assertEqual(server.adapter.wait(), 1)
        self.assertIn("cannot make the file", server.adapter.text())
        os.rmdir(server.state + ".lock")
        server.follow("--poll", "1")
        # The arguments stay wrong.
        wrong = Process(system.POLAIGA_IPMI, *server.options(), "--map", server.file("not-there"))
        self.assertEqual(wrong.wait(), 2)

    def test_a_password_file_that_others_may_read(self):
        server = self.system()
        os.chmod(server.password_file, 0o644)
        server.start_adapter()
        self.assertEqual(server.adapter.wait(), 2)
        self.assertIn(server.password_file, server.adapter.text())
        self.assertNotIn(PASSWORD, server.adapter.text())

    def test_a_password_file_that_is_not_there(self):
        server = self.system()
        os.remove(server.password_file)
        server.start_adapter()
        self.assertEqual(server.adapter.wait(), 2)
        self.assertIn(server.password_file, server.adapter.text())

    def test_credentials_of_the_service_manager(self):
        server = self.system()
        os.mkdir(server.file("credentials"), 0o700)
        credential = server.write("credentials/server", f"""# of the first rack
target={server.simulator.target}
user={USER}

password={PASSWORD}
cipher=3
workaround={FOREIGN}
""")
        environment = {**os.environ, "CREDENTIALS_DIRECTORY": server.file("credentials")}
        command = [system.POLAIGA_IPMI, "--socket", server.socket, "--state", server.state, "--poll", "1"]
        server.adapter = Process(*command, env=environment)
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.wait_for({SLOW_FAN})
        self.assertEqual(server.adapter.end(), 0)
        # An option counts for more than the file.
        server.adapter = Process(*command, "--user", "nobody", env=environment)
        self.assertEqual(server.adapter.wait(), 2)
        # Nobody else may read this one either, and it has to be right.
        for text, mode in ((f"password={PASSWORD}\n", 0o644), (f"pasword={PASSWORD}\n", 0o600), (PASSWORD, 0o600)):
            os.remove(credential)
            server.write("credentials/server", text, mode)
            self.assertNotIn(PASSWORD, run(*command, status=2, env=environment).stderr)

    def test_a_damaged_state_file(self):
        server = self.started()
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.wait_for({SLOW_FAN})
        self.assertEqual(server.adapter.end(), 0)
        server.simulator.heal("FAN1_TACH1")
        server.simulator.set_value("FAN2_TACH1", LOW[0])
        with open(server.state, "r+b") as file:
            whole = file.read()
            file.seek(len(whole) // 2)
            file.write(bytes(byte ^ 0x55 for byte in whole[len(whole) // 2:len(whole) // 2 + 16]))
        server.follow("--poll", "1")
        server.wait_for({SLOW_FAN_2}, patience=180)
        # What was damaged is set aside, for whoever wants to look at it.
        with open(server.state + ".damaged", "rb") as file:
            self.assertEqual(len(file.read()), len(whole))
        self.assertIn(server.state + ".damaged", server.adapter.text())

    def test_a_state_file_that_is_cut(self):
        for length in (0, 10):
            with self.subTest(length=length):
                server = self.started()
                server.simulator.set_value("FAN1_TACH1", LOW[0])
                server.wait_for({SLOW_FAN})
                self.assertEqual(server.adapter.end(), 0)
                server.simulator.heal("FAN1_TACH1")
                os.truncate(server.state, length)
                server.start_adapter("--poll", "1")
                server.wait_for(set(), patience=180)

    def test_a_mapping_that_is_read_anew(self):
        with open(os.path.join(os.path.dirname(__file__), "../../../../sources/ipmi/ipmi.tsv"), encoding="utf-8") as file:
            rows = file.read()
        server = self.system()
        mapping = server.write("map.tsv", rows)
        server.follow("--poll", "1", "--map", mapping)
        server.simulator.set_value("FAN1_TACH1", LOW[0])
        server.wait_for({SLOW_FAN})
        # One that is wrong is told with its place, and changes nothing.
        server.write("map.tsv", rows + "nonsense\n")
        server.adapter.send_signal(signal.SIGHUP)
        server.adapter.wait_for(f"map.tsv:{len(rows.splitlines()) + 1}")
        server.simulator.set_value("FAN2_TACH1", LOW[0])
        server.wait_for({SLOW_FAN, SLOW_FAN_2})
        # One that has nothing of the fans any more ends their alarms, as nobody would otherwise.
        kept = [line for line in rows.splitlines() if line.split("\t")[4:5] != ["fan"]]
        self.assertLess(len(kept), len(rows.splitlines()))
        server.write("map.tsv", "\n".join(kept) + "\n")
        server.adapter.send_signal(signal.SIGHUP)
        server.wait_for(set())
        server.simulator.set_value("FP_TEMP_SENSOR", UP[0])
        server.wait_for({"sys/rack-unit-1/fault-F0154"}, patience=180)

    def test_a_stop_while_the_controller_is_away(self):
        server = self.system()
        relay = Relay(server.simulator.port)
        server.simulator.target = relay.target
        server.follow("--poll", "1")
        relay.is_cut = True
        until("a request waits", lambda: relay.swallowed > 0)
        began = time.monotonic()
        self.assertEqual(server.adapter.end(), 0)
        # A request is given up after some seconds, and the program ends itself after ten.
        self.assertLess(time.monotonic() - began, 12)


if __name__ == "__main__":
    system.main()
