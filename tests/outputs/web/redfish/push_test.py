"""Events that are pushed, to a receiver that hangs, fails, redirects, goes away and comes back:
push_test.py POLAIGA POLAIGA_WEB"""
import json
import os
import signal
import stat
import sys

from service import SUBSCRIPTIONS, Directory, Engine, Receiver, Web, make_identity, make_users, slow, subscribe, until


def main():
    polaiga, polaiga_web = sys.argv[1:]
    with Directory() as directory:
        state = directory + "/state"
        os.mkdir(state)
        engine = Engine(polaiga, directory)
        users = make_users(polaiga_web, directory)
        start = lambda *more: Web(polaiga_web, polaiga, engine, "--listen", "127.0.0.1:0", "--users", users, "--state", state,
                                  "--push-retry", "1", "--push-attempts", "2", *more)
        web = start("--push-local")
        receiver = Receiver()
        until("the server reads the ledger", lambda: web.ask("/redfish/v1/Systems")[0] == 200)

        # What happened before a subscription is not told.
        engine.feed(slow(1))
        until("the alarm is there", lambda: web.get("/redfish/v1/Managers/polaiga/LogServices/FaultLog/Entries")[
            "Members@odata.count"] == 1)
        where = subscribe(web, receiver, DeliveryRetryPolicy="RetryForever",
                          HttpHeaders=[{"Authorization": "Bearer hush"}])
        until("the server says who it was", lambda: any(
            f"'operator' has subscribed '{receiver.url()}' to events, as subscription 1" in line for line in web.said))
        engine.feed(slow(2))
        until("an event comes", lambda: receiver.numbers() == [2])
        event = receiver.taken[0]
        assert event["Context"] == "of the test" and event["@odata.type"] == "#Event.v1_13_0.Event", event
        record = event["Events"][0]
        assert record["MessageId"] == "Polaiga.1.0.F0395", record
        assert record["MessageArgs"] == ["sys/rack-unit-1/fan-module-1-2/fan-1",
                                         "fltEquipmentFanPerfThresholdNonCritical"], record
        assert web.get(record["OriginOfCondition"]["@odata.id"])["Oem"]["Polaiga"]["dn"] == record["MessageArgs"][0]
        assert web.get(record["LogEntry"]["@odata.id"])["MessageId"] == record["MessageId"]
        assert receiver.headers[0]["Authorization"] == "Bearer hush"
        assert "hush" not in json.dumps(web.get(where)), "the secret is told"
        file = state + "/redfish-subscriptions.json"
        assert stat.S_IMODE(os.stat(file).st_mode) == 0o600

        # Each way to fail, with changes meanwhile: each comes once, in order, and to others at once.
        other = Receiver()
        where_other = subscribe(web, other)
        expected = [2]
        for fan, behaviour in enumerate(["refuse", "redirect", "hang"], start=3):
            receiver.behaviour, receiver.refused = behaviour, 0
            receiver.woken.clear()
            engine.feed(slow(fan))
            until(behaviour + ": it is tried", lambda: receiver.refused >= 1)
            engine.feed(slow(fan, 0))
            until("others get it at once", lambda: other.numbers() == list(range(3, expected[-1] + 3)))
            assert receiver.numbers() == expected, behaviour
            until("the trouble is told", lambda: receiver.behaviour == "hang" or web.get(where)["Status"]["Health"] ==
                  "Warning")
            receiver.behaviour = "take"  # who hangs goes on hanging, until the server gives him up
            expected += [expected[-1] + 1, expected[-1] + 2]
            until(behaviour + ": it comes in the end", lambda: receiver.numbers() == expected)
        receiver.woken.set()
        assert receiver.paths == {"/events"}, "a redirect was followed"
        assert web.ask(where_other, "DELETE")[0] == 204
        until("the server says who it was",
              lambda: any("'operator' has deleted the subscription 2" in line for line in web.said))
        until("the trouble is over", lambda: web.get(where)["Status"]["Health"] == "OK")

        # Who took the event and answers without an end has it.
        receiver.behaviour = "talk"
        engine.feed(slow(7))
        expected.append(expected[-1] + 1)
        until("it comes", lambda: receiver.numbers() == expected)
        until("the cursor goes on", lambda: web.get(where)["Oem"]["Polaiga"]["number"] == expected[-1])
        receiver.behaviour = "take"

        # The receiver goes away and comes back; meanwhile the server is killed and starts again.
        receiver.stop()
        engine.feed(slow(8))
        until("nobody takes it", lambda: "trouble" in web.get(where)["Oem"]["Polaiga"])
        web.end(signal.SIGKILL)
        engine.feed(slow(8, 0))
        web = start("--push-local")
        receiver.start()
        expected += [expected[-1] + 1, expected[-1] + 2]
        until("both come", lambda: receiver.numbers() == expected)
        engine.feed(slow(9))
        expected.append(expected[-1] + 1)
        until("and so does what follows", lambda: receiver.numbers() == expected)

        # Filters; a test event; suspended and resumed; the end of a subscription.
        critical = Receiver()
        filtered = subscribe(web, critical, Severities=["Critical"])
        engine.feed(slow(10), {"entity": "fan", "sensor": "FAN1_TACH1", "instance": 11, "offset": 4, "state": 5})
        expected += [expected[-1] + 1, expected[-1] + 2]
        until("the critical one comes", lambda: critical.numbers() == [expected[-1]])
        assert critical.records()[0]["MessageSeverity"] == "Critical"
        until("both come", lambda: receiver.numbers() == expected)
        status, _, _ = web.ask("/redfish/v1/EventService/Actions/EventService.SubmitTestEvent", "POST",
                               {"MessageId": "Test.1.0.Hello", "EventId": "hello", "Message": "Hello"})
        assert status == 204
        until("the test comes to both", lambda: receiver.records()[-1]["EventId"] == "hello" and
              critical.records()[-1]["EventId"] == "hello")
        action = filtered + "/Actions/EventDestination."
        assert web.ask(action + "SuspendSubscription", "POST")[0] == 204
        assert web.get(filtered)["Status"]["State"] == "Disabled"
        engine.feed({"entity": "fan", "sensor": "FAN1_TACH1", "instance": 12, "offset": 4, "state": 5})
        until("it comes to the other", lambda: receiver.numbers() == expected + [expected[-1] + 1])
        assert len(critical.records()) == 2
        assert web.ask(action + "ResumeSubscription", "POST")[0] == 204
        until("it comes now", lambda: len(critical.records()) == 3)
        for location in (where, filtered):
            assert web.ask(location, "DELETE")[0] == 204
            assert web.ask(location)[0] == 404
        assert web.get(SUBSCRIPTIONS)["Members"] == []

        # A receiver whose certificate is not trusted gets events only when the subscription says so.
        hidden = Receiver(identity=make_identity(directory))
        strict, careless = subscribe(web, hidden), subscribe(web, hidden, VerifyCertificate=False)
        engine.feed(slow(13))
        until("it comes to one", lambda: len(hidden.numbers()) == 1)
        until("the other is refused", lambda: "trouble" in web.get(strict)["Oem"]["Polaiga"])
        assert "certificate" in web.get(strict)["Oem"]["Polaiga"]["trouble"], web.get(strict)
        assert len(hidden.numbers()) == 1 and "trouble" not in web.get(careless)["Oem"]["Polaiga"]
        for location in (strict, careless):
            assert web.ask(location, "DELETE")[0] == 204

        # A subscription that may end does so, and one that may be suspended is.
        critical.stop()
        ended = subscribe(web, critical, DeliveryRetryPolicy="TerminateAfterRetries")
        kept = subscribe(web, critical, DeliveryRetryPolicy="SuspendRetries")
        engine.feed(slow(1, 0))
        until("it has ended", lambda: web.ask(ended)[0] == 404)
        until("it is suspended", lambda: web.get(kept)["Status"]["State"] == "Disabled")
        web.end()

        # Addresses of this machine are only for those who want it: in numbers they are refused at once, and names when
        # a connection is made. Whatever those stood for before does not count.
        web = start()
        until("the server reads the ledger", lambda: web.ask("/redfish/v1/Systems")[0] == 200)
        taken = len(receiver.taken)
        for host in ("127.0.0.1", "0x7f.1", "2130706433", "[::1]", "[::ffff:127.0.0.1]", "169.254.169.254", "0.0.0.0"):
            status, _, body = web.ask(SUBSCRIPTIONS, "POST", {"Destination": f"http://{host}:{receiver.port}/",
                                                              "Protocol": "Redfish"})
            assert status == 400, (host, body)
            assert body["error"]["code"] == "Base.1.18.PropertyValueFormatError", body
            assert "--push-local" in body["error"]["message"], body
        receiver.host = "localhost"
        refused = subscribe(web, receiver, DeliveryRetryPolicy="RetryForever")
        engine.feed(slow(2, 0))
        until("it is refused", lambda: "trouble" in web.get(refused)["Oem"]["Polaiga"])
        trouble = web.get(refused)["Oem"]["Polaiga"]["trouble"]
        assert "is an address of this machine" in trouble and "--push-local" in trouble, trouble
        assert len(receiver.taken) == taken
        assert web.ask(refused, "DELETE")[0] == 204
        web.end()

        # At an orderly end, what is on its way may arrive, and so does not come again.
        web = start("--push-local")
        until("the server reads the ledger", lambda: web.ask("/redfish/v1/Systems")[0] == 200)
        receiver.host, receiver.behaviour = "127.0.0.1", "hold"
        receiver.taken.clear()
        receiver.woken.clear()
        last = subscribe(web, receiver, DeliveryRetryPolicy="RetryForever")
        rare = subscribe(web, receiver, Severities=["Critical"], MessageIds=["Polaiga.1.0.F0001"])
        engine.feed(slow(3))
        until("the receiver has it", lambda: len(receiver.numbers()) == 1)
        web.send_signal(signal.SIGTERM)
        receiver.woken.set()
        web.wait()
        # How far those are that got nothing is kept, too.
        with open(file) as stored:
            cursors = {one["id"]: one["number"] for one in json.load(stored)["subscriptions"]}
        assert cursors[last.rsplit("/", 1)[1]] == cursors[rare.rsplit("/", 1)[1]] == receiver.numbers()[0], cursors
        receiver.behaviour = "take"
        web = start("--push-local")
        engine.feed(slow(4))
        until("what follows comes", lambda: len(receiver.numbers()) > 1)
        first = receiver.numbers()[0]
        assert receiver.numbers() == [first, first + 1], receiver.numbers()
        web.end()
        engine.end()
    print("All is well.")


if __name__ == "__main__":
    main()
