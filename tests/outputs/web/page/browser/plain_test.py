#!/usr/bin/python3
"""The page without scripts."""
import os

import in_browser
from in_browser import PageTest, browser, until
from selenium.webdriver.common.by import By


class PlainTest(PageTest):
    """Without scripts."""

    def setUp(self):
        super().setUp()
        self.plain = browser(with_scripts=False)
        self.addCleanup(self.plain.quit)

    def rows(self):
        return [one.text for one in self.plain.find_elements(By.CSS_SELECTOR, "#list a")]

    def wait_for_rows(self, count):
        """A click answers before the next page is there."""
        return until(f"there are {count} rows", lambda: len(self.rows()) == count and self.rows())

    def wait_for_text(self, text):
        until(text, lambda: text in self.plain.find_element(By.TAG_NAME, "main").text)

    def test_lists_are_there_without_scripts(self):
        self.plain.get(self.site.address())
        self.assertIn("critical", self.wait_for_rows(6)[0])
        self.plain.save_screenshot(os.path.join(in_browser.options.pictures, "plain.png"))
        self.plain.find_element(By.NAME, "text").send_keys("PSU1_TEMP")
        self.plain.find_element(By.CSS_SELECTOR, "#filter button").click()
        self.wait_for_rows(1)
        self.plain.find_element(By.CSS_SELECTOR, "#list a").click()
        self.wait_for_text("F0385")
        self.plain.find_element(By.LINK_TEXT, "Missed 7").click()
        self.wait_for_rows(7)
        self.plain.get(self.site.address("/maintenance"))
        self.wait_for_text("No object is out of service.")
        self.plain.get(self.site.address("/timeline"))
        self.plain.find_element(By.LINK_TEXT, "history").click()
        self.wait_for_rows(13)


if __name__ == "__main__":
    in_browser.main()
