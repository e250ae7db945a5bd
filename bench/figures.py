"""Figures with their limits."""


class Figures:
    """Prints each figure at once, and says which of them miss their limits. `missed` is how many do."""

    def __init__(self):
        self.missed = 0

    def at_most(self, what, value, limit):
        self._tell(what, value, limit, value <= limit, "<=")

    def at_least(self, what, value, limit):
        self._tell(what, value, limit, value >= limit, ">=")

    def note(self, what, value):
        """A figure without a limit."""
        print(f"{what:<58} {value:10.2f}", flush=True)

    def _tell(self, what, value, limit, holds, sign):
        self.missed += not holds
        print(f"{what:<58} {value:10.2f}   {sign} {limit:.2f}{'' if holds else '  MISSED'}", flush=True)
