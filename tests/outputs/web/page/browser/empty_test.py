#!/usr/bin/python3
"""No alarm at all."""
import in_browser
from in_browser import VIEWS, PageTest


class EmptyTest(PageTest):
    @staticmethod
    def lines():
        return []

    def test_all_is_quiet(self):
        for scheme in ["light", "dark"]:
            self.media(scheme)
            self.addCleanup(self.media)
            for width in [1280, 768, 360]:
                self.size(width)
                self.open("/")
                self.wait_for(".quiet", "No alarm is active.")
                self.picture(f"alarms-0-{width}-{scheme}")
        for path in VIEWS[1:]:
            with self.subTest(path=path):
                self.open(path)
                self.wait_for("#main h1")
        self.open("/statistics")
        self.wait_for("#heat")


if __name__ == "__main__":
    in_browser.main()
