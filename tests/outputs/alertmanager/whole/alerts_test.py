"""Alarms of an engine as alerts of a real Alertmanager: alerts_test.py POLAIGA PUBLISHER SOURCE [TEST]..."""
import json
import os
import signal
import sys
import time
import urllib.error
import urllib.request

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import peers
from peers import PATIENCE, SEVERITY, WholeTest, dn_of_fan, fan, free_port, moment, until

PROFILE_HEADER = "code\tdn\tseverity\tnotify\trespond_within\tconsequence\tadvice\n"


def key(number, level=1):
    return dn_of_fan(number), {1: "F0395", 2: "F0396", 3: "F0397"}[level], SEVERITY[level]


class AlertsTest(WholeTest):
    def start(self, *arguments, engine_arguments=()):
        engine = self.engine(*engine_arguments)
        alertmanager = self.alertmanager(engine)
        publisher = self.publisher(engine, "--url", alertmanager.url, *arguments)
        return engine, alertmanager, publisher

    def test_an_alarm_is_an_alert_until_it_ends(self):
        engine, alertmanager, _ = self.start("--site", "berlin", "--page-url", "https://page.example:8443/")
        before = time.time()
        engine.feed(fan(1))
        alarm = engine.alarm_of(dn_of_fan(1))
        alertmanager.wait_for({key(1)})
        alert = alertmanager.alert(dn_of_fan(1))
        self.assertEqual(alert["labels"], {
            "alertname": "fltEquipmentFanPerfThresholdNonCritical", "dn": dn_of_fan(1), "code": "F0395", "severity": "minor",
            "controller": "web1", "site": "berlin"})
        number = alarm["alarm"].rpartition("-")[2]
        self.assertEqual(alert["annotations"], {
            "alarm": alarm["alarm"], "cause": "performance-problem", "operator_state": "none", "sensor": "FAN1_TACH1",
            "summary": f"minor alarm F0395 of {dn_of_fan(1)}", "description": alarm["record"]["descr"]})
        self.assertEqual(alert["generatorURL"], f"https://page.example:8443/alarm/{number}")
        self.assertEqual(moment(alert["startsAt"]), moment(alarm["created"]))
        # An alert of a publisher that is gone expires after five minutes.
        self.assertAlmostEqual(moment(alert["endsAt"]), before + 300, delta=10)

        engine.feed(fan(1, 3, 0))
        alertmanager.wait_for(set())

    def test_another_severity_ends_the_alert_with_the_old_one(self):
        engine, alertmanager, _ = self.start()
        engine.feed(fan(1))
        alertmanager.wait_for({key(1)})
        engine.feed(fan(1, 4, 1))
        # The two are told in one request, so there is no moment with both or with none.
        seen = set()
        until("the alert is major", lambda: seen.add(frozenset(alertmanager.picture())) or frozenset({key(1, 2)}) in seen)
        self.assertLessEqual(seen, {frozenset({key(1)}), frozenset({key(1, 2)})})
        engine.feed(fan(1, 5, 1))
        alertmanager.wait_for({key(1, 3)})
        engine.feed(fan(1, 5, 5), fan(1, 4, 4), fan(1, 3, 0))
        alertmanager.wait_for(set())

    def test_operators_and_their_silence(self):
        engine, alertmanager, _ = self.start()
        engine.feed(fan(1), fan(2))
        alertmanager.wait_for({key(1), key(2)})
        number = engine.alarm_of(dn_of_fan(1))["alarm"].rpartition("-")[2]
        engine.ask(do="acknowledge", alarms=number)
        until("the acknowledgement is told",
              lambda: alertmanager.alert(dn_of_fan(1))["annotations"]["operator_state"] == "acknowledged")
        engine.ask(do="shelve", alarms=number, comment="test", **{"for": 3600})
        alertmanager.wait_for({key(2)})
        engine.ask(do="unshelve", alarms=number)
        alertmanager.wait_for({key(1), key(2)})
        engine.ask(do="maintain", dn=dn_of_fan(2), comment="test", **{"for": 3600})
        alertmanager.wait_for({key(1)})
        engine.feed(fan(2, 4, 1))  # nobody hears of it
        engine.ask(do="end_maintenance", dn=dn_of_fan(2))
        alertmanager.wait_for({key(1), key(2, 2)})

    def test_the_end_of_a_shelved_alarm_says_why(self):
        engine = self.engine()
        receiver = self.receiver()
        self.publisher(engine, "--url", receiver.url)
        engine.feed(fan(1))
        receiver.wait_for({key(1)})
        engine.ask(do="shelve", alarms="1", comment="test", **{"for": 3600})
        receiver.wait_for(set())
        last = receiver.taken[-1][-1]
        self.assertEqual(last["annotations"]["operator_state"], "shelved")
        self.assertEqual(receiver.paths[-1], "/api/v2/alerts")

    def test_the_profile_says_who_is_notified(self):
        tables = self.engine().tables  # a directory
        profile = os.path.join(tables, "alarms.tsv")
        for name in ("nm.tsv", "cmc.tsv", "drive_bp.tsv"):
            with open(os.path.join(self.source, "engine/tables", name), encoding="utf-8") as source:
                text = source.read()
            with open(os.path.join(tables, name), "w", encoding="utf-8") as copy:
                copy.write(text)

        def write(*rows):
            with open(profile, "w", encoding="utf-8") as file:
                file.write(PROFILE_HEADER + "".join("\t".join(row) + "\n" for row in rows))

        write(("*", dn_of_fan(1), "-", "no", "-", "-", "-"), ("*", dn_of_fan(2), "critical", "yes", "4h", "it gets hot", "change it"))
        engine, alertmanager, _ = self.start(engine_arguments=("--tables", tables))
        engine.feed(fan(1), fan(2))
        alertmanager.wait_for({(dn_of_fan(2), "F0395", "critical")})
        annotations = alertmanager.alert(dn_of_fan(2))["annotations"]
        self.assertEqual((annotations["respond_within"], annotations["consequence"], annotations["advice"]),
                         ("14400", "it gets hot", "change it"))
        # Another profile holds at once, also for what is active.
        write(("*", dn_of_fan(2), "-", "no", "-", "-", "-"))
        engine.process.send_signal(signal.SIGHUP)
        alertmanager.wait_for({key(1)})

    def test_a_fault_that_chatters_stays_told_until_it_has_settled(self):
        engine, alertmanager, _ = self.start(engine_arguments=("--chattering", "2/3s"))
        for _ in range(6):
            engine.feed(fan(1), fan(1, 3, 0))
        alertmanager.wait_for({key(1)})
        self.assertEqual(alertmanager.alert(dn_of_fan(1))["annotations"]["chattering"], "true")
        self.assertTrue(all(one["dn"] != dn_of_fan(1) for one in engine.active()))  # it is over for the ledger
        alertmanager.wait_for(set())

    def test_a_restarted_alertmanager_is_told_everything(self):
        engine, alertmanager, publisher = self.start()
        engine.feed(fan(1), fan(2, 3, 1), fan(3))
        alertmanager.wait_for({key(1), key(2), key(3)})
        alertmanager.kill()
        engine.feed(fan(2, 3, 0), fan(3, 4, 1))
        publisher.wait_for("What it does not take is kept")
        alertmanager.start()
        alertmanager.wait_for_truth(engine)
        self.assertEqual(alertmanager.picture(), {key(1), key(3, 2)})
        # One that is started anew within a moment, so that no request fails.
        alertmanager.kill()
        alertmanager.start()
        alertmanager.wait_for_truth(engine)

    def test_one_of_a_pair_is_dead(self):
        engine = self.engine()
        ports = [free_port(), free_port()]
        pair = [self.alertmanager(engine, f"am{i}", None, f"--cluster.listen-address=127.0.0.1:{ports[i]}",
                                  f"--cluster.peer=127.0.0.1:{ports[1 - i]}", "--cluster.settle-timeout=1s")
                for i in range(2)]
        self.publisher(engine, "--url", pair[0].url, "--url", pair[1].url)
        engine.feed(fan(1), fan(2))
        for one in pair:
            one.wait_for({key(1), key(2)})
        pair[0].kill()
        engine.feed(fan(2, 3, 0), fan(3))
        pair[1].wait_for({key(1), key(3)})
        pair[0].start()
        pair[0].wait_for({key(1), key(3)})

    def test_what_ended_while_nobody_told_it(self):
        engine, alertmanager, publisher = self.start()
        engine.feed(fan(1), fan(2), fan(3))
        alertmanager.wait_for({key(1), key(2), key(3)})
        until("the engine has the cursor", lambda: [one["through"] for one in engine.publishers().values()] == [3])
        publisher.kill()
        engine.feed(fan(1, 3, 0), fan(2, 4, 1), fan(4))
        self.assertEqual(alertmanager.picture(), {key(1), key(2), key(3)})
        self.publisher(engine, "--url", alertmanager.url)
        alertmanager.wait_for({key(2, 2), key(3), key(4)})
        until("the cursor follows", lambda: [one["through"] for one in engine.publishers().values()] == [engine.number()])

    def test_what_was_silenced_while_nobody_told_it(self):
        engine, alertmanager, publisher = self.start()
        engine.feed(fan(1), fan(2), fan(3))
        alertmanager.wait_for({key(1), key(2), key(3)})
        until("the engine has the cursor", lambda: [one["through"] for one in engine.publishers().values()] == [3])
        publisher.kill()
        number = engine.alarm_of(dn_of_fan(1))["alarm"].rpartition("-")[2]
        engine.ask(do="shelve", alarms=number, comment="test", **{"for": 3600})
        engine.ask(do="maintain", dn=dn_of_fan(2), comment="test", **{"for": 3600})
        engine.feed(fan(2, 4, 1))  # nobody hears of it
        self.assertEqual(alertmanager.picture(), {key(1), key(2), key(3)})
        self.publisher(engine, "--url", alertmanager.url)
        alertmanager.wait_for({key(3)})
        until("the cursor follows", lambda: [one["through"] for one in engine.publishers().values()] == [engine.number()])

    def test_what_settled_while_nobody_told_it(self):
        engine, alertmanager, publisher = self.start(engine_arguments=("--chattering", "2/3s"))
        engine.feed(fan(2))
        for _ in range(6):
            engine.feed(fan(1), fan(1, 3, 0))
        alertmanager.wait_for({key(1), key(2)})
        before = engine.number()
        until("the engine has the cursor", lambda: [one["through"] for one in engine.publishers().values()] == [before])
        publisher.kill()
        until("it settles", lambda: engine.number() > before)
        self.assertEqual(alertmanager.picture(), {key(1), key(2)})
        self.publisher(engine, "--url", alertmanager.url)
        alertmanager.wait_for({key(2)})

    # As long as an hour would be for a publisher that tells everything again after a minute.
    def test_a_long_absence(self):
        engine, alertmanager, publisher = self.start(engine_arguments=("--chattering", "0"))
        engine.feed(*(fan(number) for number in range(1, 101)))
        alertmanager.wait_for_truth(engine)
        alertmanager.kill()
        # Each fan gets well and worse again and again.
        for _ in range(10):
            engine.feed(*(event for number in range(1, 101)
                          for event in (fan(number, 3, 0), fan(number), fan(number, 4, 1), fan(number, 4, 4))))
        engine.feed(*(fan(number, 3, 0) for number in range(1, 51)))
        alertmanager.start()
        alertmanager.wait_for_truth(engine)
        self.assertEqual(len(alertmanager.picture()), 50)
        self.check_memory(publisher, 40)

    def test_an_engine_that_is_away(self):
        engine, alertmanager, _ = self.start()
        engine.feed(fan(1))
        alertmanager.wait_for({key(1)})
        engine.kill()
        alertmanager.kill()
        alertmanager.start()
        alertmanager.wait_for({key(1)})
        engine.start()
        engine.feed(fan(1, 3, 0), fan(2))
        alertmanager.wait_for({key(2)})

    def test_a_ledger_that_is_not_there_yet(self):
        engine = self.engine()
        alertmanager = self.alertmanager(engine)
        ledger = engine.ledger
        engine.ledger = engine.file("other.db")
        publisher = self.publisher(engine, "--url", alertmanager.url)
        publisher.wait_for("it is tried again until it can be read")
        engine.kill()
        engine.start()
        engine.feed(fan(1))
        alertmanager.wait_for({key(1)})
        self.assertNotEqual(ledger, engine.ledger)

    def test_another_ledger_in_its_place(self):
        engine, alertmanager, _ = self.start()
        engine.feed(fan(1), fan(2))
        alertmanager.wait_for({key(1), key(2)})
        engine.process.end()
        for end in ("", "-wal", "-shm"):
            if os.path.exists(engine.ledger + end):
                os.rename(engine.ledger + end, engine.file("old" + end))
        engine.start()
        engine.feed(fan(2))
        alertmanager.wait_for({key(2)})

    # What the publisher relies on when one alert of many is refused: the others of the request are taken.
    def test_alertmanager_takes_the_valid_alerts_of_a_request(self):
        engine = self.engine()
        alertmanager = self.alertmanager(engine)
        body = [{"labels": {"dn": "good", "code": "a", "severity": "b"}}, {"labels": {"dn": "bad", "no-name": "x"}}]
        request = urllib.request.Request(alertmanager.url + "/api/v2/alerts", json.dumps(body).encode(),
                                         {"Content-Type": "application/json"})
        with self.assertRaises(urllib.error.HTTPError) as raised:
            urllib.request.urlopen(request, timeout=PATIENCE)
        with raised.exception as answer:
            self.assertEqual(answer.status, 400)
        self.assertEqual(alertmanager.picture(), {("good", "a", "b")})

    def test_one_alert_among_many_is_refused(self):
        engine = self.engine()
        receiver = self.receiver()
        bad = dn_of_fan(37)
        receiver.refuses = lambda body: any(one["labels"]["dn"] == bad for one in body)
        publisher = self.publisher(engine, "--url", receiver.url)
        engine.feed(*(fan(number) for number in range(1, 101)))
        receiver.wait_for({key(number) for number in range(1, 101) if number != 37})
        publisher.wait_for("is refused: the status 400 was answered: the test says so?[31m")
        engine.feed(fan(5, 3, 0))
        receiver.wait_for({key(number) for number in range(1, 101) if number not in (5, 37)})
        until("the cursor passes it", lambda: [one["through"] for one in engine.publishers().values()] == [engine.number()])
        # It is told once, and not tried again with every round.
        tries = len(receiver.refused)
        rounds = len(receiver.taken)
        until("everything is told again", lambda: len(receiver.taken) > rounds + 6)
        self.assertEqual(len(receiver.refused), tries)
        self.assertEqual(publisher.text().count("is refused"), 1)


class ConfigurationTest(WholeTest):
    """The configuration that is shipped."""

    def start(self):
        engine = self.engine()
        with open(os.path.join(self.source, "packaging/prometheus/polaiga-alertmanager.yml"), encoding="utf-8") as file:
            text = file.read()
        peers.run("amtool", "check-config", engine.write("check.yml", text))
        receiver = self.receiver()
        text = text.replace("http://127.0.0.1:9099/", receiver.url + "/").replace("30s", "1s").replace("5s", "1s").replace("5m", "1s")
        self.assertIn(receiver.url, text)
        alertmanager = self.alertmanager(engine, "am", text)
        self.publisher(engine, "--url", alertmanager.url, "--site", "berlin")
        return engine, alertmanager, receiver

    def test_alarms_of_a_server_come_in_one_message(self):
        engine, alertmanager, receiver = self.start()
        engine.feed(fan(1), fan(2), fan(3, 4, 1))
        alertmanager.wait_for_truth(engine)
        until("a message has all three", lambda: any(len(one["alerts"]) == 3 for one in list(receiver.taken)))
        self.assertTrue(all(one["groupLabels"] == {"site": "berlin", "controller": "web1"} for one in receiver.taken))
        engine.feed(fan(1, 3, 0), fan(2, 3, 0), fan(3, 4, 4), fan(3, 3, 0))
        until("the end is told", lambda: receiver.taken[-1]["status"] == "resolved")

    def test_a_graver_alarm_of_an_object_inhibits_the_others(self):
        engine, alertmanager, _ = self.start()
        # Two alarms of one fan: it nearly stands still, and it is taken out.
        engine.feed(fan(1), fan(1, 4, 1), fan(1, 5, 1), fan(1, 1, 1))
        alertmanager.wait_for_truth(engine)

        def states():
            return {one["labels"]["severity"]: one["status"]["state"] for one in alertmanager.alerts()}

        until("one is inhibited", lambda: states() == {"critical": "active", "warning": "suppressed"})

    def test_a_minor_alarm_of_an_object_inhibits_a_warning(self):
        engine, alertmanager, _ = self.start()
        engine.feed(fan(1), fan(1, 1, 1))
        alertmanager.wait_for_truth(engine)
        until("one is inhibited", lambda: {one["labels"]["severity"]: one["status"]["state"]
                                           for one in alertmanager.alerts()} == {"minor": "active", "warning": "suppressed"})

    def test_a_silence_by_our_labels(self):
        engine, alertmanager, receiver = self.start()
        now = time.time()

        def at(seconds):
            return time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(seconds))

        silence = {"matchers": [{"name": "dn", "value": dn_of_fan(1), "isRegex": False, "isEqual": True}],
                   "startsAt": at(now), "endsAt": at(now + 3600), "createdBy": "test", "comment": "test"}
        request = urllib.request.Request(alertmanager.url + "/api/v2/silences", json.dumps(silence).encode(),
                                         {"Content-Type": "application/json"})
        with urllib.request.urlopen(request, timeout=PATIENCE):
            pass
        engine.feed(fan(1), fan(2))
        alertmanager.wait_for_truth(engine)
        until("a message comes", lambda: receiver.taken)
        self.assertEqual({one["labels"]["dn"] for body in receiver.taken for one in body["alerts"]}, {dn_of_fan(2)})


if __name__ == "__main__":
    peers.main()
