"""A disk that is soon full. It needs root, and a script whose main program begins with in_own_mounts()."""
import os
import sys

from processes import run

FULL = "No space left on device"


class SmallDisk:
    """Is mounted at a directory that it makes, where this process and its children alone see it. `size` is as mount takes it."""

    def __init__(self, path, size="256k"):
        self.path = path
        os.mkdir(path)
        run("mount", "-t", "tmpfs", "-o", "size=" + size, "none", path)

    def file(self, name):
        return os.path.join(self.path, name)

    def fill(self):
        with open(self.file("filler"), "ab", buffering=0) as filler:
            try:
                while filler.write(b"x" * 4096) > 0:
                    pass
            except OSError as error:
                assert FULL in str(error), error

    def make_room(self):
        """As much as fill() took."""
        os.remove(self.file("filler"))

    def close(self):
        run("umount", "--lazy", self.path)


def in_own_mounts():
    """Starts the script again where its mounts are nobody else's; there it does nothing."""
    if os.environ.get("POLAIGA_OWN_MOUNTS") != "yes":
        if os.geteuid() != 0:
            sys.exit("this test needs root, to mount a small disk")
        os.environ["POLAIGA_OWN_MOUNTS"] = "yes"
        os.execvp("unshare", ["unshare", "--mount", "--propagation", "private", sys.executable, *sys.orig_argv[1:]])
