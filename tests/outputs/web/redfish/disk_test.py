"""Events that are pushed while the disk of the subscriptions is full: disk_test.py POLAIGA POLAIGA_WEB
It needs root, to mount a small disk where this process and its children alone see it."""
import json
import os
import signal
import sys

from service import SUBSCRIPTIONS, Directory, Engine, Receiver, Web, make_users, slow, subscribe, until
from small_disk import FULL, SmallDisk, in_own_mounts


def times_said(web, text):
    return sum(text in line for line in web.said)


def main():
    polaiga, polaiga_web = sys.argv[1:]
    in_own_mounts()
    with Directory() as directory:
        disk = SmallDisk(directory + "/state", "64k")
        try:
            test(polaiga, polaiga_web, directory, disk)
        finally:
            disk.close()
    print("All is well.")


def test(polaiga, polaiga_web, directory, disk):
    engine = Engine(polaiga, directory)
    users = make_users(polaiga_web, directory)
    state, file = disk.path, disk.file("redfish-subscriptions.json")

    def start():
        web = Web(polaiga_web, polaiga, engine, "--listen", "127.0.0.1:0", "--users", users, "--state", state,
                  "--push-local", "--push-retry", "1")
        until("the server reads the ledger", lambda: web.ask("/redfish/v1/Systems")[0] == 200)
        return web

    def stored_number():
        with open(file) as stored:
            return json.load(stored)["subscriptions"][0]["number"]

    web, receiver = start(), Receiver()
    where = subscribe(web, receiver)
    engine.feed(slow(1))
    until("an event comes", lambda: receiver.numbers() == [1])
    until("how far it is was written", lambda: stored_number() == 1)

    # What a client asks for is refused, and nothing has changed.
    disk.fill()
    status, _, body = web.ask(SUBSCRIPTIONS, "POST", {"Destination": receiver.url(), "Protocol": "Redfish"})
    assert status == 507 and body["error"]["code"] == "Base.1.18.InsufficientStorage", (status, body)
    assert "The disk that subscriptions are kept on is full." in body["error"]["message"], body
    assert web.ask(where, "DELETE")[0] == 507
    assert web.ask(where + "/Actions/EventDestination.SuspendSubscription", "POST")[0] == 507
    assert web.get(SUBSCRIPTIONS)["Members"] == [{"@odata.id": where}]
    assert web.get(where)["Status"]["State"] == "Enabled"
    until("whoever runs the server is told", lambda: times_said(web, FULL) >= 1)
    assert os.listdir(state).count("redfish-subscriptions.json.new") == 0

    # Pushes go on. Whoever runs the server is told once, not with each of them.
    said = "Events are pushed all the same"
    for fan in range(2, 8):
        engine.feed(slow(fan))
        until("it comes all the same", lambda: receiver.numbers() == list(range(1, fan + 1)))
    until("it is told", lambda: times_said(web, said) == 1)
    assert stored_number() == 1

    # The server is killed: what it could not write down comes a second time, and nothing is missing.
    web.end(signal.SIGKILL)
    assert times_said(web, said) == 1, web.said
    engine.feed(slow(8))
    web = start()
    until("all comes", lambda: receiver.numbers() == [1, 2, 3, 4, 5, 6, 7, 2, 3, 4, 5, 6, 7, 8])

    # When there is room again, the file is written by itself.
    until("it is told", lambda: times_said(web, said) == 1)
    disk.make_room()
    until("the file is written", lambda: stored_number() == 8)
    until("that is told", lambda: times_said(web, "can be written again") == 1)
    receiver.taken.clear()
    web.end(signal.SIGKILL)
    web = start()
    engine.feed(slow(9))
    until("only what is new comes", lambda: receiver.numbers() == [9])
    assert web.ask(SUBSCRIPTIONS, "POST", {"Destination": receiver.url(), "Protocol": "Redfish"})[0] == 201
    web.end()
    engine.end()


if __name__ == "__main__":
    main()
