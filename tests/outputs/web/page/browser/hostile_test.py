#!/usr/bin/python3
"""Names that try to be more than names."""
import in_browser
from engine_and_server import fan
from in_browser import VIEWS, PageTest


class HostileTest(PageTest):
    # A sensor's name has at most 19 bytes.
    names = ["F<script>f()</script"[:19], '"><img src=x>', "'--><svg onload=f()"[:19], "FAN\u202egnp", "FAN&lt;b&gt;", "${f()}{{f()}}<b>"]

    @staticmethod
    def lines():
        named = [fan(i + 1, 60 * i, sensor=name) for i, name in enumerate(HostileTest.names)]
        return named + [fan(9, 600, sensor=HostileTest.names[0]), fan(9, 500, state=0, sensor=HostileTest.names[0])]

    def test_names_are_text_everywhere(self):
        self.open_ready("/")
        listed = "\n".join(self.text_of("#list .descr"))
        for name in self.names:
            self.assertIn(name.replace("\u202e", "[U+202E]"), listed)
        number = self.page.execute_script("return [...document.querySelectorAll('#list a')].find((a) => a.textContent.includes('U+202E')).dataset.number")
        self.site.act({"do": "comment", "alarms": number, "comment": "<img src=x onerror=alert(2)>"})
        hostile = "/?text=%3Cimg+src%3Dx+onerror%3Dalert(3)%3E&under=%22%3E%3Csvg+onload%3Dalert(4)%3E"
        for path in VIEWS + [f"/?open={number}", f"/alarm/{number}", "/?text=%22", "/history?under=%3Cb%3E"]:
            with self.subTest(path=path):
                self.open(path)
                if "open" in path or "/alarm/" in path:
                    self.wait_for("#actions q", "<img src=x onerror=alert(2)>")
                    self.wait_for("#alarm", "Raw record")
                    self.assertIn("FAN[U+202E]gnp", self.find("#alarm")[0].text)
                self.check_no_markup()
        self.open(hostile)
        self.wait_for(".quiet", "No active alarm fits the filter.")
        self.check_no_markup()

    def test_what_is_announced_is_text(self):
        self.open_ready("/")
        self.site.feed([fan(31, sensor="FAN\u202e<b>x")])
        self.wait_for("#said", "New alarm: minor, FAN[U+202E]<b>x")
        self.check_no_markup()

    def check_no_markup(self):
        found = self.page.execute_script("""return [...document.querySelectorAll('img, script:not([src="/page/page.js"]), #main b > b, [onerror], [onload]')]
            .map((one) => one.outerHTML).concat(document.body.innerHTML.includes('\\u202e') ? ['a hidden character'] : []);""")
        self.assertEqual(found, [])


if __name__ == "__main__":
    in_browser.main()
