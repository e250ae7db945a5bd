#!/usr/bin/python3
"""The list of active alarms, and an alarm that is opened."""
import in_browser
from in_browser import PageTest, until
from selenium.webdriver.common.keys import Keys


class AlarmsTest(PageTest):
    def test_the_address_is_the_view(self):
        self.open_ready("/?severity=minor&order=oldest")
        self.assertTrue(all("minor" in text for text in self.text_of("#list .sev")))
        count = len(self.find("#list a"))
        self.assertGreater(count, 0)
        self.find("#list a")[0].click()
        self.wait_for("#alarm h2")
        self.assertIn("open=", self.page.current_url)
        self.assertIn("severity=minor", self.page.current_url)
        self.page.refresh()
        self.wait_for("#alarm h2")
        self.assertEqual(len(self.find("#list a")), count)
        self.page.back()
        until("the alarm is closed", lambda: not self.find("#alarm"))
        self.wait_for("#tabs a", "Objects").click()
        self.wait_for(".tree")
        self.page.back()
        self.wait_for("#list a")
        self.assertIn("severity=minor", self.page.current_url)
        field = self.find("#filter [name=text]")[0]
        field.send_keys("no such thing")
        self.wait_for(".quiet", "No active alarm fits the filter.")
        self.assertIn("text=no+such+thing", self.page.current_url)

    def test_words_of_the_address_that_mean_nothing_are_passed_over(self):
        self.open_ready("/")
        rows = self.text_of("#list .obj")
        for word in ("none-such", "constructor", "__proto__"):
            with self.subTest(word=word):
                self.open_ready(f"/?state={word}&order={word}")
                self.assertEqual(self.text_of("#list .obj"), rows)

    def test_all_by_the_keyboard(self):
        self.open_ready("/")
        self.press("j", "j", "k", "j")
        rows = self.find("#list a")
        self.assertEqual(self.focused(), rows[1])
        self.press(Keys.ENTER)
        self.wait_for("#alarm h2")
        self.press(Keys.ESCAPE)
        until("the alarm is closed", lambda: not self.find("#alarm"))
        self.assertEqual(self.focused(), self.find("#list a")[1])
        self.press("/")
        self.press("fan-module")
        until("the filter holds", lambda: "2 of 6 shown" in self.text_of("#shown")[0])
        self.press(Keys.ESCAPE, "?")
        self.wait_for("dialog kbd")
        self.press(Keys.ESCAPE)
        until("the help is closed", lambda: not self.find("dialog"))
        # By Tab alone: from the top to an alarm.
        self.open_ready("/")
        self.press(Keys.TAB)
        self.assertEqual(self.focused("return document.activeElement.textContent"), "To the content")
        self.press(Keys.ENTER)
        for _ in range(12):
            self.press(Keys.TAB)
            if self.focused("return document.activeElement.matches('#list a')"):
                break
        self.assertTrue(self.focused("return document.activeElement.matches('#list a')"))
        self.press(Keys.ENTER)
        self.wait_for("#alarm h2")

    def test_an_alarm_tells_its_whole_way(self):
        self.open_ready("/?text=PSU1_TEMP")
        self.find("#list a")[0].click()
        alarm = self.wait_for("#alarm", "Raw record")
        text = alarm.get_attribute("textContent")
        for part in ["was major", "was minor", "offset 58, state 6 at ", "the filter ps raises F0385", "becomes F0383", "Nothing yet."]:
            self.assertIn(part, text)
        self.assertEqual(len(self.find("#alarm .picture rect")), 3)
        self.find("#alarm summary")[0].click()
        self.assertIn("fault_key: ", self.find("#alarm pre")[0].text)
        self.picture("alarm-1280")
        self.size(1280, 720)
        self.open_ready("/")
        self.find("#list a")[0].click()
        self.wait_for("#alarm", "Raw record")
        self.picture("readme")


class AdviceTest(PageTest):
    profile = (("code", "dn", "severity", "notify", "respond_within", "consequence", "advice"),
               ("F0385", "*", "major", "no", "4h", "The server stops when the <b>second</b> supply fails, too.", "Replace the supply; spares are in room 2."))

    def test_what_the_site_says_of_an_alarm_is_told(self):
        self.open_ready("/?text=PSU1_TEMP")
        self.assertEqual(self.text_of("#list .sev"), ["major"], "the severity is the site's")
        self.find("#list a")[0].click()
        self.wait_for("#alarm", "Raw record")
        told = self.page.execute_script("""return Object.fromEntries([...document.querySelectorAll('#alarm dt')]
            .map((one) => [one.textContent, one.nextElementSibling.textContent]));""")
        self.assertEqual(told["Respond"], "within 4 h (nobody is notified)")
        self.assertEqual(told["Consequence"], "The server stops when the <b>second</b> supply fails, too.")
        self.assertEqual(told["Advice"], "Replace the supply; spares are in room 2.")


if __name__ == "__main__":
    in_browser.main()
