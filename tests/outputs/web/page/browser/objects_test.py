#!/usr/bin/python3
"""The tree of objects."""
import in_browser
from in_browser import PageTest


class ObjectsTest(PageTest):
    def test_the_tree_of_objects_has_the_worst_severity_and_the_count(self):
        self.open_ready("/objects")
        branch = self.wait_for(".tree .branch", "rack-unit-1")
        self.assertIn("critical", branch.text)
        self.assertIn("6 alarms", branch.text)
        self.picture("objects-1280")
        # Each number stands under the one above it.
        edges = self.page.execute_script("return [...document.querySelectorAll('.tree .many')].map((one) => Math.round(one.getBoundingClientRect().right))")
        self.assertEqual(len(edges), 6)
        self.assertEqual(len(set(edges)), 1)
        healthy = self.wait_for(".tree button", "healthy")
        self.assertFalse(any("psu-2" in text for text in self.text_of(".tree .name")))
        healthy.click()
        self.wait_for(".tree .name", "psu-2")
        self.wait_for(".tree .name", "psu-1").click()
        self.wait_for("#list .obj", "psu-1")
        self.assertEqual(len(self.find("#list a")), 1)

    def test_what_goes_out_of_service_is_counted_at_once(self):
        self.open_ready("/objects")
        self.wait_for("#main .acts a", "0 objects out of service")
        # None of the alarms changes with it.
        self.site.act({"do": "maintain", "dn": "sys/rack-unit-1/none-such", "for": 3600, "comment": "it is built in later"})
        self.wait_for("#main .acts a", "1 object out of service")


if __name__ == "__main__":
    in_browser.main()
