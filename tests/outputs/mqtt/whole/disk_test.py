"""The disk of the broker is full, and the broker is killed: disk_test.py POLAIGA POLAIGA_MQTT
It needs root, to mount a small disk where this process and its children alone see it."""
import os
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../support"))
import board
from board import Board, Broker, Consumer, retained, same_as_ledger, supply, until


def fill(path):
    with open(os.path.join(path, "filler"), "ab", buffering=0) as filler:
        try:
            while filler.write(b"x" * 4096) > 0:
                pass
        except OSError as error:
            assert "No space left on device" in str(error), error


def test_full_disk():
    server = Board(engine_options=("--chattering", "0"), broker=False)
    disk = server.file("disk")
    os.mkdir(disk)
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=256k", "none", disk], check=True, timeout=60)
    try:
        server.broker = Broker(server.place, "persistence true", f"persistence_location {disk}/", "autosave_on_changes true",
                               "autosave_interval 20")
        consumer = Consumer(server).connect()
        server.start()
        until("it has begun", lambda: server.cursor() is not None)
        fill(disk)
        server.send([supply(1 + i % 200, 1 - i // 200 % 2) for i in range(2100)])
        server.wait_for_cursor()
        until("all changes came", lambda: consumer.have == server.last())
        assert not consumer.holes, consumer.holes
        server.broker.process.wait_for("No space left on device")
        server.broker.restart()
        os.remove(os.path.join(disk, "filler"))
        until("the list is that of the ledger", lambda: same_as_ledger(server, retained(server)[0]))
        assert server.publisher.end() == 0
    finally:
        server.close()
        subprocess.run(["umount", "--lazy", disk], check=False, timeout=60)
    print("All is well.")


def main():
    if os.environ.get("POLAIGA_OWN_MOUNTS") != "yes":
        if os.geteuid() != 0:
            sys.exit("this test needs root, to mount a small disk")
        os.environ["POLAIGA_OWN_MOUNTS"] = "yes"
        os.execvp("unshare", ["unshare", "--mount", "--propagation", "private", sys.executable, *sys.orig_argv[1:]])
    board.POLAIGA, board.POLAIGA_MQTT = sys.argv[1:3]
    test_full_disk()


if __name__ == "__main__":
    main()
