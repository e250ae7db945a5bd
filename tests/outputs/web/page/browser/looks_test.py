#!/usr/bin/python3
"""Each view as a picture: light and dark, wide and narrow, in print; and what axe-core says of it."""
import in_browser
from in_browser import VIEWS, PageTest


class LooksTest(PageTest):
    def test_no_barriers(self):
        for scheme in ["light", "dark"]:
            self.media(scheme)
            self.addCleanup(self.media)
            for path in VIEWS + ["/?text=PSU1_TEMP&open=first", "/?text=nothing"]:
                with self.subTest(scheme=scheme, path=path):
                    if path.endswith("nothing"):
                        self.open(path)
                    else:
                        self.open_ready(path.replace("&open=first", ""))
                    if "open" in path:
                        self.find("#list a")[0].click()
                        self.wait_for("#alarm", "Raw record")
                    self.check_no_barriers()

    def test_sizes_and_colours(self):
        self.open("/")
        for scheme in ["light", "dark"]:
            self.media(scheme)
            self.addCleanup(self.media)
            for width in [1280, 768, 360]:
                self.size(width)
                for path in VIEWS:
                    with self.subTest(scheme=scheme, width=width, path=path):
                        self.open_ready(path, in_place=True)
                        self.assertLessEqual(self.overflow(), 0)
                        self.check_the_tab_is_seen()
                        self.picture(f"{path.strip('/') or 'alarms'}-6-{width}-{scheme}")
                self.open_ready("/?text=PSU1_TEMP", in_place=True)
                self.find("#list a")[0].click()
                self.wait_for("#alarm", "Raw record")
                self.assertLessEqual(self.overflow(), 0)
                self.picture(f"open-6-{width}-{scheme}")
        grounds = []
        for scheme in ["light", "dark"]:
            self.media(scheme)
            grounds.append(self.page.execute_script("return getComputedStyle(document.documentElement).backgroundColor"))
        self.assertNotEqual(*grounds)

    def check_the_tab_is_seen(self):
        inside = self.page.execute_script("""return [...document.querySelectorAll('#tabs [aria-current]')].map((one) => one.getBoundingClientRect())
            .every((box) => box.left >= 0 && box.right <= innerWidth);""")
        self.assertTrue(inside, "the tab of the view is on the screen")

    def test_print(self):
        self.open_ready("/")
        self.media(medium="print")
        self.addCleanup(self.media)
        self.assertFalse(self.find("nav")[0].is_displayed())
        self.assertFalse(self.find("#filter")[0].is_displayed())
        self.assertEqual(len([one for one in self.find("#list a") if one.is_displayed()]), 6)
        self.assertEqual(self.page.execute_script("return getComputedStyle(document.querySelector('#list .sev')).color"), "rgb(0, 0, 0)")
        self.picture("print")


if __name__ == "__main__":
    in_browser.main()
