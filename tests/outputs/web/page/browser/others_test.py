#!/usr/bin/python3
"""Statistics, the catalog, missed alarms and health."""
import in_browser
from in_browser import PageTest, until
from selenium.webdriver.common.by import By


class OthersTest(PageTest):
    def test_statistics_link_to_the_alarms_behind_them(self):
        self.open_ready("/statistics")
        self.assertEqual(len(self.find(".card")), 4)
        self.assertEqual(len(self.find("#heat li")), 24)
        self.assertEqual(sum(int(text) for text in self.text_of("#heat a")), 13)
        self.assertIn("7", self.text_of("#offenders tbody a")[0])
        self.find("#offenders tbody a")[0].click()
        self.wait_for("#main p", "7 alarms of board/storage-SAS-SLOT-2/pd-4 that began with F0996")
        self.assertEqual(len(self.find("#main a.row")), 7)
        # An alarm that went through several faults counts for the first one, and shows the last one.
        self.open_ready("/statistics")
        self.wait_for("#offenders tr", "F0381").find_element(By.TAG_NAME, "a").click()
        self.wait_for("#main p", "1 alarm of psu-1 that began with F0381")
        self.wait_for("#main a.row", "F0385 Equipment psu thermal threshold non recoverable")

    def test_the_catalog_is_searched(self):
        self.open_ready("/catalog")
        self.press("/", "psu thermal F0385")
        until("one fault is left", lambda: len(self.find(".catalog details")) == 1)
        self.find(".catalog summary")[0].click()
        self.wait_for(".catalog dd", "offset 58")

    def test_the_history_tells_how_long_each_alarm_lasted(self):
        self.open_ready("/history")
        rows = self.page.execute_script("""return [...document.querySelectorAll('#main a.row')].map((row) =>
            [row.querySelector('.state').textContent, row.querySelector('.words')?.textContent ?? '', row.children.length === row.childNodes.length]);""")
        self.assertEqual(len(rows), 13)
        for state, words, is_all_elements in rows:
            self.assertEqual(words.startswith("lasted "), state == "over", (state, words))
            self.assertTrue(is_all_elements, "a row has nothing beside its elements")

    def test_missed_and_health(self):
        self.open_ready("/missed")
        self.assertEqual(len(self.find("#main a.row")), 7)
        self.assertIn("7", self.text_of("#tabs a[href='/missed']")[0])
        self.open_ready("/health")
        self.wait_for(".fine", "running")
        self.wait_for(".fine", "in order")
        self.wait_for(".card dl", "99 % within")

    def test_views_of_a_part_of_the_alarms_say_so(self):
        part = "The page looks at the latest 13 alarms of the ledger."
        self.open_ready("/")
        for path in ["/timeline", "/statistics", "/history"]:
            self.open_ready(path, in_place=True)
            self.assertFalse(any(part in text for text in self.text_of("#main p")), path)
        self.open_ready("/")
        self.answer_with("/page/history", {"is_whole": False})
        for path in ["/timeline", "/statistics", "/history"]:
            self.open_ready(path, in_place=True)
            self.wait_for("#main p:not([hidden])", part)

    def test_health_tells_what_is_damaged(self):
        self.open_ready("/")
        self.answer_with("/api/v1/status", {"left_out": ["The row 5 of the table 'alarm' is damaged."]})
        self.open_ready("/health", in_place=True)
        self.wait_for("#left-out li", "The row 5 of the table 'alarm' is damaged.")
        self.open_ready("/health")
        self.assertEqual(self.find("#left-out"), [])

    def test_outputs_and_their_lag(self):
        self.open_ready("/health")
        self.wait_for("#main p", "No output has told how far it has come.")
        self.site.tell({"do": "cursor", "publisher": "snmp", "through": 9})
        row = self.wait_for("#main tbody tr", "snmp")
        change = int(self.text_of("#change")[0])
        self.assertEqual(self.page.execute_script("return [...arguments[0].cells].slice(0, 3).map((one) => one.textContent)", row),
                         ["snmp", str(change - 9), "9"])

    def test_how_outputs_go(self):
        report = {"do": "cursor", "publisher": "mqtt", "through": 9, "peer": "mqtt.example", "last_error": "<b>no route"}
        state = "return [...arguments[0].cells].slice(4).map((one) => one.textContent)"
        self.site.tell({**report, "connected": True})
        self.open_ready("/health")
        row = self.wait_for("#main tbody tr", "connected")
        self.assertEqual(self.page.execute_script(state, row), ["connected", "mqtt.example"])
        self.site.tell({**report, "connected": False})
        self.open_ready("/health")
        row = self.wait_for("#main tbody tr", "not connected")
        self.assertEqual(self.page.execute_script(state, row), ["not connected", "mqtt.example"])
        self.site.tell({"do": "forget", "publisher": "mqtt"})


if __name__ == "__main__":
    in_browser.main()
