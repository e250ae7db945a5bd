#!/usr/bin/python3
"""Who may act, and what becomes of it."""
import in_browser
from engine_and_server import fan
from in_browser import OperatorsPageTest, browser, until
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys


class OperatorTest(OperatorsPageTest):
    """Who may act, and what becomes of it."""

    users = (("anna", "operator"), ("bob", "viewer"))

    def open_alarm(self, text):
        self.open_ready(f"/?state=all&text={text}")
        self.find("#list a")[0].click()
        self.wait_for("#alarm .acts")
        self.wait_for("#alarm", "Raw record")

    def act(self, kind, comment=""):
        self.press_button(kind)
        self.fill(comment)

    def press_button(self, kind):
        """The buttons of an alarm are made anew when its state changes."""
        def press():
            self.wait_for(f'#alarm [data-act="{kind}"]').click()
            return True

        until(kind, press)

    def test_an_acknowledgement_is_seen_by_another(self):
        other = browser()
        self.addCleanup(other.quit)
        self.log_in(other, "bob")
        other.get(self.site.address("/?text=PSU1_TEMP"))
        until("bob sees that it is new", lambda: other.find_elements(By.CSS_SELECTOR, "#list .new"))
        other.find_element(By.CSS_SELECTOR, "#list a").click()
        self.open_alarm("PSU1_TEMP")
        self.act("acknowledge", "on my <b>way</b>")
        self.wait_for("#list .words", "acknowledged by anna")
        self.wait_for("#actions q", "on my <b>way</b>")
        until("bob sees it", lambda: "acknowledged by anna" in other.find_element(By.ID, "list").text)
        until("bob reads the comment", lambda: "on my <b>way</b>" in other.find_element(By.ID, "alarm").text)
        self.assertEqual(other.find_elements(By.CSS_SELECTOR, "#alarm .acts"), [])
        self.act("unacknowledge")
        until("bob sees that it is new again", lambda: other.find_elements(By.CSS_SELECTOR, "#list .new"))

    def test_shelving_by_keys_and_unshelving(self):
        self.open_ready("/")
        self.press("j", "s")
        self.wait_for("dialog select")
        row = self.text_of("#list .obj")[0]
        self.fill("noise")
        until("it is counted", lambda: "1 shelved" in " ".join(self.text_of("#counts")))
        self.open_ready("/?state=shelved")
        self.assertEqual(self.text_of("#list .obj"), [row])
        self.find("#list a")[0].click()
        self.wait_for("#alarm", "Raw record")
        self.act("unshelve")
        self.wait_for("#counts", "0 shelved")

    def test_closing_needs_a_comment(self):
        self.open_alarm("fan-module-1-5")
        self.press_button("close")
        self.wait_for("dialog textarea")
        self.find("dialog button.first")[0].click()
        self.assertTrue(self.find("dialog"), "without a comment it stays open")
        self.fill("fan replaced")
        self.wait_for("#list .words", "closed by anna")
        self.act("comment", "ticket 4711")
        self.wait_for("#actions q", "ticket 4711")
        self.picture("acted-1280")

    def test_objects_go_out_of_service_and_come_back(self):
        self.open_ready("/objects")
        self.wait_for("#main .acts button").click()
        self.wait_for("dialog input").send_keys("sys/rack-unit-1/equipped-slot-2")
        self.fill("riser is replaced")
        self.wait_for("#counts", "1 out of service")
        self.open_ready("/maintenance")
        self.assertIn("riser is replaced", self.text_of("#main .card")[0])
        self.wait_for("#main .card button").click()
        self.fill("")
        self.wait_for("#main .quiet", "No object is out of service.")

    def test_missed_alarms_are_acknowledged(self):
        self.open_ready("/missed")
        self.wait_for("#main .acts button", "Acknowledge all 7").click()
        self.fill("seen")
        self.wait_for("#main .quiet", "No alarm was missed.")

    def test_missed_alarms_are_those_of_the_ledger_that_told_of_them(self):
        self.may_fail = True  # the browser tells of a request that is refused
        self.open_ready("/")
        self.answer_with("/api/v1/missed", {"ledger_id": "0" * 32, "missed": 1})
        self.open_ready("/missed", in_place=True)
        self.wait_for("#main .acts button", "Acknowledge it").click()
        self.wait_for("dialog textarea")
        self.find("dialog button.first")[0].click()
        self.wait_for("dialog .wrong", "ledger")

    def test_what_is_refused_is_told(self):
        self.open_alarm("fan-module-1-7")
        self.press_button("shelve")
        self.page.execute_script("document.querySelector('dialog option').value = '999999999'; document.querySelector('dialog select').selectedIndex = 0")
        self.wait_for("dialog textarea").send_keys("too long")
        self.find("dialog button.first")[0].click()
        self.wait_for("dialog .wrong", "30 days")
        self.press(Keys.ESCAPE)
        until("closed", lambda: not self.find("dialog"))
        self.may_fail = True  # the browser tells of an answer that refuses

    def boxes(self):
        return self.find("#list li:not(:has(.over)) .box input")

    def states(self):
        return {row["dn"]: row["operator_state"] for row in self.page.execute_async_script("""
            const done = arguments[0];
            fetch('/api/v1/alarms?all=true').then((got) => got.json()).then((got) => done(got.alarms));""")}

    def test_several_are_acted_on_at_once(self):
        others = [fan(number, offset=4) for number in (61, 62, 63, 64)]
        self.site.feed(others)
        self.open_ready("/?text=fan-module-1-6&order=object")
        until("four boxes", lambda: len(self.boxes()) == 4)
        self.wait_for("#selection", "Select all")
        self.assertEqual(self.find("#selection button"), [], "nothing is selected, so there is nothing to do")
        # A range by the mouse: the first, and with shift the third.
        self.boxes()[0].click()
        self.wait_for("#selection", "1 of 4 selected")
        ActionChains(self.page).key_down(Keys.SHIFT).click(self.boxes()[2]).key_up(Keys.SHIFT).perform()
        self.wait_for("#selection", "3 of 4 selected")
        self.wait_for('#selection [data-act="acknowledge"]').click()
        self.wait_for("dialog", "3 alarms:")
        self.fill("one air filter for all")
        until("three are acknowledged", lambda: len(self.find("#list .new")) == 1)
        self.wait_for("#said", "Acknowledged: 3 alarms.")
        self.wait_for("#selection", "Select all")
        states = self.states()
        rack = "sys/rack-unit-1/fan-module-1-"
        self.assertEqual([states[f"{rack}{n}/fan-1"] for n in (61, 62, 63, 64)], ["acknowledged"] * 3 + ["none"])
        # All of them: what is acknowledged already is left out.
        self.find("#selection label input")[0].click()
        self.wait_for("#selection", "4 of 4 selected")
        self.press_in_line("acknowledge")
        self.wait_for("dialog", "1 alarm; it does not apply to the 3 others:")
        self.fill("")
        until("all are acknowledged", lambda: self.find("#list .new") == [])
        # By keys: two with x, all up to the last with X, and a comment on all.
        self.page.execute_script("document.activeElement.blur()")
        self.press("j", "x", "j", "x")
        self.wait_for("#selection", "2 of 4 selected")
        self.press("x", "j", "j", "X")
        self.wait_for("#selection", "4 of 4 selected")
        self.press("c")
        self.wait_for("dialog", "4 alarms:")
        self.fill("ticket 4712")
        self.wait_for("#said", "Commented: 4 alarms.")
        self.press("j", "x", Keys.ESCAPE)
        self.wait_for("#selection", "Select all")
        # Shelving, and back.
        self.find("#selection label input")[0].click()
        self.press_in_line("shelve")
        self.fill("noise")
        self.wait_for("#main .quiet")
        self.open_ready("/?text=fan-module-1-6&state=shelved")
        until("all are shelved", lambda: len(self.boxes()) == 4)
        self.find("#selection label input")[0].click()
        self.press_in_line("unshelve")
        self.fill("")
        self.wait_for("#main .quiet")
        self.site.feed([fan(number, offset=4, state=4) for number in (61, 62, 63, 64)])

    def press_in_line(self, kind):
        def press():
            self.wait_for(f'#selection [data-act="{kind}"]').click()
            return True

        until(kind, press)

    def test_selecting_moves_nothing(self):
        for width in [1280, 768, 360]:
            with self.subTest(width=width):
                self.size(width)
                self.open_ready("/")
                until("boxes", self.boxes)
                top = "return document.querySelector('#list').getBoundingClientRect().top"
                before = self.page.execute_script(top)
                self.boxes()[0].click()
                self.wait_for("#selection button")
                self.assertEqual(self.page.execute_script(top), before)
                self.assertLessEqual(self.overflow(), 0)
                self.picture(f"selected-{width}")

    def test_no_barriers_for_operators(self):
        for scheme in ["light", "dark"]:
            self.media(scheme)
            self.addCleanup(self.media)
            with self.subTest(scheme=scheme):
                self.open_alarm("PSU1_TEMP")
                until("boxes", self.boxes)
                self.boxes()[0].click()
                self.wait_for("#selection button")
                self.check_no_barriers()
                self.press_in_line("shelve")
                self.wait_for("dialog textarea")
                self.check_no_barriers()

    def test_nobody_acts_on_what_is_not_shown(self):
        self.site.feed([fan(71), fan(72)])
        self.open_ready("/?text=fan-module-1-7")
        until("boxes", lambda: len(self.boxes()) >= 2)
        self.find("#selection label input")[0].click()
        field = self.find("#filter [name=text]")[0]
        field.clear()
        field.send_keys("fan-module-1-71")
        self.wait_for("#selection", "1 of 1 selected")
        # What ends is selected no longer, though it is still there.
        ActionChains(self.page).move_to_element(self.find("#list a")[0]).perform()
        self.site.feed([fan(71, state=0)])
        self.wait_for("#list a.over", "fan-module-1-71")
        until("there is nothing to select", lambda: not self.find("#selection")[0].is_displayed())
        self.site.feed([fan(72, state=0)])

    def test_a_selection_keeps_new_alarms_from_moving_the_list(self):
        self.open_ready("/")
        until("boxes", self.boxes)
        self.boxes()[0].click()
        ActionChains(self.page).move_to_element(self.find("header")[0]).perform()
        self.page.execute_script("document.activeElement.blur()")
        before = self.text_of("#list .obj")
        self.site.feed([fan(81, offset=5, state=6)])
        self.wait_for(".news button", "1 new, the worst is critical: show")
        self.assertEqual(self.text_of("#list .obj"), before)
        self.wait_for("#selection", f"1 of {len(before)} selected")
        self.site.feed([fan(81, offset=5, state=0)])
        self.press(Keys.ESCAPE)
        until("it is over", lambda: self.find(".news button") == [])

    def test_who_may_not_act_selects_nothing(self):
        other = browser()
        self.addCleanup(other.quit)
        self.log_in(other, "bob")
        until("the list is there", lambda: other.find_elements(By.CSS_SELECTOR, "#list a"))
        until("the page knows who looks", lambda: "viewer" in other.find_element(By.ID, "me").text)
        self.assertEqual(other.find_elements(By.CSS_SELECTOR, "#list .box"), [])
        self.assertFalse(other.find_element(By.ID, "selection").is_displayed())
        ActionChains(other).send_keys("j", "x", "a").perform()
        until("it is told",
              lambda: "Only operators may do that." in other.find_element(By.ID, "said").get_attribute("textContent"))

    def test_an_action_whose_answer_was_lost_is_done_once(self):
        self.open_alarm("equipped-slot-2")
        self.page.execute_script("""const ask = window.fetch;
            window.fetch = async (...of) => {
              const answer = await ask(...of);
              if (of[1]?.method !== 'POST') return answer;
              window.fetch = ask;
              throw new Error('the answer is lost');
            };""")
        self.press_button("comment")
        self.wait_for("dialog textarea").send_keys("ticket 4713")
        self.find("dialog button.first")[0].click()
        self.wait_for("dialog .wrong", "The server does not answer, so it is not known whether this was done. Try again: it is done only once.")
        self.find("dialog button.first")[0].click()
        until("it is done", lambda: not self.find("dialog"))
        self.wait_for("#actions q", "ticket 4713")
        until("there is one comment", lambda: self.text_of("#actions q").count("ticket 4713") == 1)
        number = self.page.execute_script("return new URLSearchParams(location.search).get('open')")
        actions = self.page.execute_async_script("""const [number, done] = arguments;
            fetch(`/api/v1/alarms/${number}`).then((got) => got.json()).then((got) => done(got.actions.map((one) => one.comment)));""", number)
        self.assertEqual(actions.count("ticket 4713"), 1)

    def test_z_logging_out(self):
        self.may_fail = True  # what the page asks for meanwhile is refused, and the browser tells of it
        self.open_ready("/")
        self.wait_for("#me button", "Log out").click()
        self.wait_for("input[type=password]")
        self.log_in(self.page, "anna")


if __name__ == "__main__":
    in_browser.main()
