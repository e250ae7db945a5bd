"""Runs the engine under a mixed load for a long time, with kills, stops, full disks, slow readers and changed tables,
and compares what it kept with one uninterrupted replay of the same events.

It needs root, for a small disk of its own that can be full. Exit status: 0 when everything holds, 1 when something
does not, 2 when the soak could not be run.
"""

import argparse
import os
import random
import shutil
import subprocess
import sys
import tempfile

MOUNTED = "POLAIGA_SOAK_DISK"


def parse_arguments():
    parser = argparse.ArgumentParser(prog="tools/soak", description=__doc__)
    parser.add_argument("program", help="the polaiga program")
    parser.add_argument("--minutes", type=float, default=60, help="how long the load lasts (default 60)")
    parser.add_argument("--rate", type=int, default=300, help="events a second, of all clients together (default 300)")
    parser.add_argument("--seed", type=int, default=random.randrange(10**6),
                        help="of everything that is left to chance (default: another one each time)")
    parser.add_argument("--disk-mib", type=int, default=64, help="size of the ledger's disk (default 64)")
    return parser.parse_args()


def mount_disk(size):
    """Starts this program again in a mount namespace of its own, with a small disk; the disk goes with it."""
    if os.geteuid() != 0:
        sys.exit("tools/soak needs root, to mount a small tmpfs that can be full. Start it as root: sudo make soak")
    for needed in ("unshare", "mount"):
        if shutil.which(needed) is None:
            sys.exit(f"tools/soak needs the program {needed}: apt-get install util-linux mount")
    directory = tempfile.mkdtemp(prefix="polaiga-soak-")
    os.mkdir(f"{directory}/disk")
    mount = f'mount -t tmpfs -o size={size}m polaiga-soak "$0/disk" && exec "$@"'
    status = subprocess.run(
        ["unshare", "--mount", "--propagation", "private", "sh", "-c", mount, directory, sys.executable, *sys.argv],
        env={**os.environ, MOUNTED: directory}, check=False).returncode
    if status == 0:
        shutil.rmtree(directory)
    else:
        print(f"What is left of the run is in {directory}", file=sys.stderr)
    return status


def main():
    arguments = parse_arguments()
    directory = os.environ.get(MOUNTED)
    if directory is None:
        return mount_disk(arguments.disk_mib)
    sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
    from soak_run import SoakRun

    return SoakRun(arguments, directory).run()


if __name__ == "__main__":
    sys.exit(main())
