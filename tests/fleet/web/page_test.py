"""page_test.py POLAIGA_WEB_FLEET POLAIGA_WEB MAKE_SCHEMA PICTURES AXE KEPT: the page of a fleet of 10,000 controllers in a real
Chromium. Pictures of it are kept, to be looked at. AXE fetches axe-core into the directory KEPT."""
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from filled_database import FilledDatabase
from processes import until
from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from web_fleet import PASSWORD, WebFleet, add_user

program, web, make_schema, pictures, axe, kept = sys.argv[1:7]


def browser():
    choice = Options()
    for argument in ["--headless=new", "--disable-gpu", "--disable-dev-shm-usage", "--hide-scrollbars", "--window-size=1280,900",
                     "--disable-background-networking", "--no-first-run"]:
        choice.add_argument(argument)
    if os.geteuid() == 0:
        choice.add_argument("--no-sandbox")  # Chromium has none for root
    choice.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=choice)


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        os.makedirs(pictures, exist_ok=True)
        directory = tempfile.TemporaryDirectory(dir="/tmp")
        cls.addClassCleanup(directory.cleanup)
        Path(directory.name).chmod(0o755)
        cls.database = FilledDatabase(directory.name + "/database", make_schema, controllers=10_000, sites=6, active=700, over=300)
        cls.addClassCleanup(cls.database.close)
        for number in (3, 4, 5, 700):
            cls.database.make_silent(f"srv-{number:04}", "hall-b")
        cls.group = cls.database.make_group("hall-b", "Input power lost", 212)
        users = directory.name + "/users"
        add_user(web, users, "anna", "operator")
        cls.site = WebFleet(program, cls.database.operator(), "--users", users)
        cls.addClassCleanup(cls.site.process.end)
        cls.page = browser()
        cls.addClassCleanup(cls.page.quit)
        cls.page.get(cls.site.address)
        cls.page.find_element(By.NAME, "name").send_keys("anna")
        cls.page.find_element(By.NAME, "password").send_keys(PASSWORD)
        cls.page.find_element(By.CSS_SELECTOR, "form button").click()
        cls.wait_for("#live.on")

    def setUp(self):
        self.may_fail = False
        self.look(1280, 900)

    def tearDown(self):
        problems = [entry["message"] for entry in self.page.get_log("browser")]
        if not self.may_fail:
            self.assertEqual(problems, [])

    @classmethod
    def wait_for(cls, selector, text=""):
        return until(f"{selector} with '{text}'", lambda: next(
            (one for one in cls.page.find_elements(By.CSS_SELECTOR, selector) if text in one.get_attribute("textContent")), None),
            not_yet=StaleElementReferenceException)

    def look(self, width, height, scheme="light"):
        self.page.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                  {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
        self.page.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": scheme}]})

    def open(self, path):
        self.page.get(self.site.address.rstrip("/") + path)
        self.wait_for("#live.on")

    def picture(self, name):
        self.page.save_screenshot(os.path.join(pictures, f"{name}.png"))

    def overflow(self):
        return self.page.execute_script("const e = document.documentElement; return e.scrollWidth - e.clientWidth")

    def drawn(self):
        """How many pixels of the picture are not of its ground."""
        return self.page.execute_script("""const canvas = document.querySelector('#grid canvas');
            const copy = document.createElement('canvas');
            copy.width = canvas.width;
            copy.height = canvas.height;
            const to = copy.getContext('2d', {willReadFrequently: true});
            to.drawImage(canvas, 0, 0);
            const data = to.getImageData(0, 0, copy.width, copy.height).data;
            let drawn = 0;
            for (let i = 3; i < data.length; i += 4) if (data[i] > 0) ++drawn;
            return drawn""")

    def test_all_controllers_are_drawn(self):
        self.open("/")
        self.wait_for('#grid[data-drawn="10000"]')
        self.assertGreater(self.drawn(), 10_000)
        for width, scheme in ((1280, "light"), (1280, "dark"), (768, "light"), (360, "light"), (360, "dark")):
            self.look(width, 900, scheme)
            until("it is drawn for this width", lambda w=width: self.page.execute_script(
                "const c = document.querySelector('#grid canvas'); return c.width === Math.floor(c.parentElement.clientWidth) && c.width <= arguments[0]", w))
            self.assertGreater(self.drawn(), 10_000)
            self.assertEqual(self.overflow(), 0, (width, scheme))
            self.picture(f"fleet-{width}-{scheme}")

    def test_keys_move_in_the_picture_and_open_a_controller(self):
        self.open("/?site=hall-b")
        canvas = self.wait_for("#grid canvas")
        self.page.execute_script("arguments[0].focus()", canvas)
        canvas.send_keys(Keys.HOME, Keys.ARROW_RIGHT)
        self.wait_for("#grid .at", "srv-0002 of hall-b")
        canvas.send_keys("n")
        self.wait_for("#grid .at", "srv-0003 of hall-b")
        self.wait_for("#grid .at", "silent for")
        canvas.send_keys(Keys.ENTER)
        self.wait_for("h1", "srv-0003")
        self.wait_for(".silent-note", "shown as of")
        self.picture("controller")

    def test_what_changes_is_shown_soon_by_itself(self):
        self.open("/")
        self.wait_for("#counts", "critical")
        self.database.execute("update alarm set severity = 5 where alarm_no = (select max(alarm_no) from alarm where severity = 2 and ended = '')")
        more = int(self.database.query("select count(*) from alarm where severity = 5 and ended = '' and not is_shelved")[0])
        self.wait_for("#counts .s-critical b", f"{more:,}")
        self.open("/alarms?text=Fan")
        self.database.execute("""update alarm set description = 'Fan is on fire', severity = 5, created = now() + interval '1 h'
            where alarm_no = (select max(alarm_no) from alarm where severity = 2 and ended = '')""")
        self.wait_for("#list li:first-child .descr", "Fan is on fire")

    def test_an_operator_acknowledges_a_group_and_what_is_ticked(self):
        self.open("/")
        self.wait_for(".group button", "Acknowledge")
        self.picture("groups")
        self.wait_for(".group button", "Acknowledge").click()
        self.wait_for("dialog textarea").send_keys("power is back soon")
        self.page.find_element(By.CSS_SELECTOR, "dialog button.first").click()
        self.wait_for("#said", "212 alarms on 212 controllers asked for")
        self.assertEqual(self.database.query("select count(*), min(person), min(request->>'comment') from action"), ["212|anna|power is back soon"])
        self.open("/alarms?text=slow")
        boxes = until("there are boxes", lambda: self.page.find_elements(By.CSS_SELECTOR, "#list .box input"))
        boxes[0].click()
        boxes[1].click()
        self.picture("alarms")
        self.wait_for("#ticked button[data-act=acknowledge]").click()
        self.wait_for("dialog button.first").click()
        self.wait_for("#said", "asked for")
        self.assertEqual(self.database.query("select sum(array_length(string_to_array(request->>'alarms', ','), 1)) from action "
                                             "where not request ? 'comment'"), ["2"])
        self.open("/actions")
        self.wait_for("td", "waiting")

    def test_each_view_fits_a_phone(self):
        number = self.database.query("select max(alarm_no) from alarm where ended = ''")[0]
        for path in ("/alarms", "/history", "/collectors", "/actions", f"/group/{self.group}", f"/alarm/{number}", "/controller/hall-b/srv-0003"):
            for width, scheme in ((360, "dark"), (1280, "light")):
                self.look(width, 900, scheme)
                self.open(path)
                self.assertEqual(self.overflow(), 0, (path, width))
                self.picture(f"{path.strip('/').split('/')[0]}-{width}")

    def barriers(self):
        """What axe-core finds that keeps people from using the page, and where."""
        got = subprocess.run([axe, kept], stdout=subprocess.PIPE, text=True, check=False)
        self.assertEqual(got.returncode, 0, "axe-core is needed, and could not be fetched")
        self.page.execute_script(Path(got.stdout.strip()).read_text(encoding="utf-8"))
        found = self.page.execute_async_script(
            "const done = arguments[0]; axe.run().then((r) => done(r.violations), (e) => done([{id: String(e), nodes: []}]))")
        return [(one["id"], [node["html"][:200] for node in one["nodes"][:3]]) for one in found]

    def test_no_barriers(self):
        number = self.database.query("select max(alarm_no) from alarm where ended = ''")[0]
        for width, scheme in ((1280, "light"), (1280, "dark"), (360, "light"), (360, "dark")):
            self.look(width, 900, scheme)
            for path in ("/", "/?site=hall-b", "/alarms", "/alarms?text=nothing", "/history", "/collectors", "/actions", f"/group/{self.group}",
                         f"/alarm/{number}", "/controller/hall-b/srv-0003"):
                with self.subTest(width=width, scheme=scheme, path=path):
                    self.open(path)
                    self.assertEqual(self.barriers(), [])
        # What an operator is asked in.
        for scheme in ("light", "dark"):
            self.look(360, 900, scheme)
            self.open("/")
            self.wait_for(".group button", "Acknowledge").click()
            self.wait_for("dialog textarea")
            with self.subTest(scheme=scheme, path="a dialog"):
                self.assertEqual(self.barriers(), [])

    def test_texts_of_controllers_stay_text(self):
        self.database.execute("""update alarm set description = '<img src=x onerror=document.title=666>' || chr(8238) where alarm_no =
            (select max(alarm_no) from alarm where ended = '')""")
        number = self.database.query("select max(alarm_no) from alarm where ended = ''")[0]
        self.open(f"/alarm/{number}")
        self.wait_for("h1", "<img src=x onerror=document.title=666>[U+202E]")
        self.assertEqual(self.page.find_elements(By.CSS_SELECTOR, "main img"), [])

    def test_zz_a_database_that_is_away_is_told_at_the_top(self):
        self.may_fail = True  # the browser tells of the answers with status 503
        self.open("/")
        self.wait_for('#grid[data-drawn="10000"]')
        self.database.primary.end()
        self.wait_for("#banner", "Not live since")
        self.wait_for("#banner", "is away")
        self.assertGreater(self.drawn(), 10_000)
        self.picture("away")
        self.database.primary.start()
        self.wait_for("#live.on")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[7:], verbosity=2)
