#!/usr/bin/python3
"""The timeline."""
import in_browser
from in_browser import PageTest, until
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.actions.wheel_input import ScrollOrigin
from selenium.webdriver.common.keys import Keys


class TimelineTest(PageTest):
    def test_the_timeline_is_drawn_zoomed_and_opens_alarms(self):
        self.open_ready("/timeline")
        colours = """const c = document.querySelector('#lanes canvas');
            const d = c.getContext('2d').getImageData(0, 0, c.width, c.height).data;
            const seen = new Set(); for (let i = 0; i < d.length; i += 4) seen.add(d[i] << 16 | d[i + 1] << 8 | d[i + 2]);
            return [0xb00020, 0x7d5c00, 0x1f5f99].map((one) => seen.has(one));"""
        self.assertEqual(self.page.execute_script(colours), [True, True, True])
        box = self.find("#lanes")[0]
        self.page.execute_script("arguments[0].focus()", box)
        self.press("+")
        until("zoomed in", lambda: "span=43200" in self.page.current_url)
        self.press("-", "-")
        until("zoomed out", lambda: "span=172800" in self.page.current_url)
        self.press(Keys.ARROW_LEFT)
        until("moved to earlier", lambda: "end=" in self.page.current_url)
        self.press(Keys.HOME)
        until("back to now", lambda: "end=" not in self.page.current_url)
        self.press(Keys.ARROW_DOWN)
        self.wait_for("#chosen-title", "psu-1: 1 alarm in this time")
        self.press(Keys.ENTER, Keys.ENTER)
        self.wait_for("#alarm h2", "upper non recoverable")
        self.page.execute_script("document.querySelector('#alarm .close').click()")
        until("closed", lambda: not self.find("#alarm"))
        # By the mouse: the bar of the critical alarm is at the right end of the first lane.
        self.page.execute_script("document.querySelector('[data-span=\"3600\"]').click()")
        until("an hour", lambda: "span=3600" in self.page.current_url)
        size = box.size
        over_the_bar = ActionChains(self.page).move_to_element_with_offset(box, size["width"] // 2 - 20, -size["height"] // 2 + 26 + 20)
        over_the_bar.perform()
        self.wait_for(".tip:not([hidden])", "Equipment psu thermal threshold non recoverable")
        self.picture("timeline-tip")
        over_the_bar.click().perform()
        self.wait_for("#alarm h2")
        self.picture("timeline-1280")

    def span(self):
        """Seconds that the address says."""
        return int(self.page.execute_script("return new URLSearchParams(location.search).get('span') ?? '86400'"))

    def test_an_address_with_times_that_are_none_is_drawn(self):
        for query in ("span=1e18", "span=Infinity", "span=-5", "span=x", "end=Infinity", "end=1e18", "end=-1", "end=x"):
            with self.subTest(query=query):
                self.open_ready("/timeline?" + query)
                self.wait_for(".time-tools .range", "to now")
                self.wait_for("#chosen-title", "in this time")

    def test_the_wheel_zooms_and_dragging_moves(self):
        self.open_ready("/timeline")
        box = self.find("#lanes")[0]
        over = ScrollOrigin.from_element(box)
        ActionChains(self.page).scroll_from_origin(over, 0, -300).perform()
        until("the wheel shows less time", lambda: self.span() < 86400)
        self.assertIn("end=", self.page.current_url, "what is under the pointer stays there")
        ActionChains(self.page).scroll_from_origin(over, 0, 20000).perform()
        year = 366 * 86400
        until("never more than a year", lambda: self.span() == year)
        self.page.execute_script("arguments[0].focus()", box)
        self.press(*"+" * 20)
        until("never less than five minutes", lambda: self.span() == 300)
        self.press("-", Keys.HOME)
        until("up to now", lambda: "end=" not in self.page.current_url)
        ActionChains(self.page).drag_and_drop_by_offset(box, 200, 0).perform()
        until("dragging shows what was before", lambda: "end=" in self.page.current_url)
        self.assertFalse(self.find("#alarm"), "dragging opens nothing")


if __name__ == "__main__":
    in_browser.main()
