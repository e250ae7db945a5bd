"""Events that the ledger does not have any more when it is time to push them: gap_test.py POLAIGA POLAIGA_WEB"""
import glob
import os
import sys

from service import Directory, Engine, Receiver, Web, make_users, slow, subscribe, until


def main():
    polaiga, polaiga_web = sys.argv[1:]
    with Directory() as directory:
        state = directory + "/state"
        os.mkdir(state)
        engine = Engine(polaiga, directory, "--keep-events", "20")
        users = make_users(polaiga_web, directory)

        def start():
            web = Web(polaiga_web, polaiga, engine, "--listen", "127.0.0.1:0", "--users", users, "--state", state,
                      "--push-local", "--push-retry", "1")
            until("the server reads the ledger", lambda: web.ask("/redfish/v1/Systems")[0] == 200)
            return web

        web, receiver = start(), Receiver()
        where = subscribe(web, receiver)
        engine.feed(slow(1))
        until("an event comes", lambda: receiver.numbers() == [1])
        web.end()

        # Nobody pushes, and the ledger forgets.
        for fan in range(2, 500):
            engine.feed(slow(fan), slow(fan, 0))
        last = 1 + 2 * 498
        receiver.taken.clear()
        web = start()
        until("the last one comes", lambda: receiver.numbers() and receiver.numbers()[-1] == last)
        lost = receiver.records()[0]
        assert lost["MessageId"] == "Polaiga.1.0.ChangesLost", lost
        first_lost, last_lost = map(int, lost["MessageArgs"])
        assert first_lost == 2 and 2 < last_lost < last, lost
        assert receiver.numbers()[1:] == list(range(last_lost + 1, last + 1)), receiver.numbers()
        assert all(record["MessageId"] != "Polaiga.1.0.ChangesLost" for record in receiver.records()[1:])

        # Another ledger takes the place of this one.
        engine.end()
        for file in glob.glob(engine.ledger + "*"):
            os.remove(file)
        receiver.taken.clear()
        engine = Engine(polaiga, directory)
        engine.feed(slow(1))
        until("it is told", lambda: receiver.records())
        assert receiver.records()[0]["MessageId"] == "Polaiga.1.0.LedgerReplaced", receiver.records()
        until("the subscription follows the new one", lambda: web.get(where)["Oem"]["Polaiga"]["number"] >= 1)
        engine.feed(slow(2))
        until("what follows comes", lambda: receiver.numbers()[-1] == 2)
        assert len({record["EventId"].rsplit("-", 1)[0] for record in receiver.records()}) == 1
        web.end()
        engine.end()
    print("All is well.")


if __name__ == "__main__":
    main()
