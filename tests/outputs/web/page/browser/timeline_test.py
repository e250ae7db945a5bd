#!/usr/bin/python3
"""The timeline."""
import in_browser
from in_browser import PageTest, until
from selenium.webdriver.common.action_chains import ActionChains
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
        until(lambda: "span=43200" in self.page.current_url, "zoomed in")
        self.press("-", "-")
        until(lambda: "span=172800" in self.page.current_url, "zoomed out")
        self.press(Keys.ARROW_LEFT)
        until(lambda: "end=" in self.page.current_url, "moved to earlier")
        self.press(Keys.HOME)
        until(lambda: "end=" not in self.page.current_url, "back to now")
        self.press(Keys.ARROW_DOWN)
        self.wait_for("#chosen-title", "psu-1: 1 alarm in this time")
        self.press(Keys.ENTER, Keys.ENTER)
        self.wait_for("#alarm h2", "upper non recoverable")
        self.page.execute_script("document.querySelector('#alarm .close').click()")
        until(lambda: not self.find("#alarm"), "closed")
        # By the mouse: the bar of the critical alarm is at the right end of the first lane.
        self.page.execute_script("document.querySelector('[data-span=\"3600\"]').click()")
        until(lambda: "span=3600" in self.page.current_url, "an hour")
        size = box.size
        over_the_bar = ActionChains(self.page).move_to_element_with_offset(box, size["width"] // 2 - 20, -size["height"] // 2 + 26 + 20)
        over_the_bar.perform()
        self.wait_for(".tip:not([hidden])", "Equipment psu thermal threshold non recoverable")
        self.picture("timeline-tip")
        over_the_bar.click().perform()
        self.wait_for("#alarm h2")
        self.picture("timeline-1280")


if __name__ == "__main__":
    in_browser.main()
