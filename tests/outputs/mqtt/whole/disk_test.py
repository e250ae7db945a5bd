"""The disk of the broker is full, and the broker is killed: disk_test.py POLAIGA POLAIGA_MQTT
It needs root, to mount a small disk where this process and its children alone see it."""
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import board
from board import Board, Broker, Consumer, retained, same_as_ledger, supply, until
from small_disk import FULL, SmallDisk, in_own_mounts


def test_full_disk():
    server = Board(engine_options=("--chattering", "0"), broker=False)
    disk = SmallDisk(server.file("disk"))
    try:
        server.broker = Broker(server.place, "persistence true", f"persistence_location {disk.path}/", "autosave_on_changes true",
                               "autosave_interval 20")
        consumer = Consumer(server).connect()
        server.start()
        until("it has begun", lambda: server.cursor() is not None)
        disk.fill()
        server.send([supply(1 + i % 200, 1 - i // 200 % 2) for i in range(2100)])
        server.wait_for_cursor()
        until("all changes came", lambda: consumer.have == server.last())
        assert not consumer.holes, consumer.holes
        server.broker.process.wait_for(FULL)
        server.broker.restart()
        disk.make_room()
        until("the list is that of the ledger", lambda: same_as_ledger(server, retained(server)[0]))
        assert server.publisher.end() == 0
    finally:
        server.close()
        disk.close()
    print("All is well.")


def main():
    in_own_mounts()
    board.POLAIGA, board.POLAIGA_MQTT = sys.argv[1:3]
    test_full_disk()


if __name__ == "__main__":
    main()
