"""What the tests of the page in a real Chromium share. Pictures of the views are kept in a directory, to be looked at.

The interpreter is Debian's, whose selenium this uses.
"""
import argparse
import functools
import os
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

from engine_and_server import Site, night, password
from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By

sys.path.insert(0, str(Path(__file__).resolve().parents[4] / "support"))
import processes

VIEWS = ["/", "/objects", "/timeline", "/missed", "/statistics", "/catalog", "/health", "/history", "/maintenance"]

options = None

# The page may draw anew while it is asked.
until = functools.partial(processes.until, not_yet=StaleElementReferenceException)


def browser(with_scripts=True):
    choice = Options()
    for argument in ["--headless=new", "--disable-gpu", "--disable-dev-shm-usage", "--hide-scrollbars", "--window-size=1280,900",
                     "--disable-background-networking", "--no-first-run"]:
        choice.add_argument(argument)
    if os.geteuid() == 0:
        choice.add_argument("--no-sandbox")  # Chromium has none for root
    if not with_scripts:
        choice.add_experimental_option("prefs", {"profile.managed_default_content_settings.javascript": 2})
    choice.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=choice)


class PageTest(unittest.TestCase):
    """A site for all tests of a class, and a browser for all of them."""

    lines = staticmethod(night)
    users = ()
    profile = ()

    @classmethod
    def setUpClass(cls):
        cls.site = Site(options, cls.users, cls.profile)
        cls.addClassCleanup(cls.site.close)
        cls.site.feed(cls.lines())
        cls.page = browser()
        cls.addClassCleanup(cls.page.quit)

    def setUp(self):
        self.size(1280, 900)
        self.may_fail = False

    def tearDown(self):
        # A server that was killed is told by the browser, too.
        problems = [entry["message"] for entry in self.page.get_log("browser")]
        if not self.may_fail:
            self.assertEqual(problems, [])

    def size(self, width, height=900):
        self.page.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                  {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def media(self, scheme="light", medium=""):
        self.page.execute_cdp_cmd("Emulation.setEmulatedMedia",
                                  {"media": medium, "features": [{"name": "prefers-color-scheme", "value": scheme}]})

    def find(self, selector):
        return self.page.find_elements(By.CSS_SELECTOR, selector)

    def wait_for(self, selector, text=""):
        return until(f"{selector} with '{text}'", lambda: next(
            (one for one in self.find(selector) if text in one.get_attribute("textContent")), None))

    def text_of(self, selector):
        """All at one moment: the page may change while it is asked."""
        return self.page.execute_script("return [...document.querySelectorAll(arguments[0])].map((one) => one.textContent)", selector)

    def open(self, path="/"):
        self.page.get(self.site.address(path))
        self.wait_for("#live.on")

    def open_ready(self, path, in_place=False):
        """Opens a view and waits until it shows what was asked for. In place: as by a link, without loading the page."""
        if in_place:
            self.page.execute_script("history.pushState(null, '', arguments[0]); dispatchEvent(new PopStateEvent('popstate'))", path)
        else:
            self.open(path)
        ready = {"/": "#list a", "/timeline": "#lanes ~ section a.row", "/statistics": "#heat", "/catalog": ".catalog details",
                 "/health": ".card", "/objects": ".tree", "/missed": "a.row, .quiet", "/history": "a.row", "/maintenance": ".quiet, .card"}
        self.wait_for(f"#main :is({ready.get(path.split('?')[0], '#list a')})")

    def focused(self, script="return document.activeElement"):
        return self.page.execute_script(script)

    def answer_with(self, path, members):
        """From now on the server's answers at the path have these members, until the page is loaded again."""
        self.page.execute_script("""const [path, members] = arguments;
            const ask = window.fetch;
            window.fetch = async (...of) => {
              const got = await ask(...of);
              if (!String(of[0]).startsWith(path)) return got;
              return new Response(JSON.stringify({...await got.json(), ...members}), {headers: got.headers});
            };""", path, members)

    def press(self, *keys):
        ActionChains(self.page).send_keys(*keys).perform()

    def picture(self, name):
        self.page.save_screenshot(os.path.join(options.pictures, f"{name}.png"))

    def check_no_barriers(self):
        """axe-core finds what keeps people from using a page; it finds nothing."""
        got = subprocess.run([options.axe, options.kept], stdout=subprocess.PIPE, text=True, check=False)
        self.assertEqual(got.returncode, 0, "axe-core is needed, and could not be fetched")
        with open(got.stdout.strip(), encoding="utf-8") as script:
            self.page.execute_script(script.read())
        found = self.page.execute_async_script(
            "const done = arguments[0]; axe.run().then((r) => done(r.violations), (e) => done([{id: String(e), nodes: []}]))")
        self.assertEqual([(one["id"], [node["html"][:200] for node in one["nodes"][:3]]) for one in found], [])

    def overflow(self):
        return self.page.execute_script("const e = document.documentElement; return e.scrollWidth - e.clientWidth")


class OperatorsPageTest(PageTest):
    """The same with users, of whom anna has logged in and may act."""

    users = (("anna", "operator"),)

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.log_in(cls.page, "anna")

    @classmethod
    def log_in(cls, page, name):
        page.get(cls.site.address())
        page.find_element(By.NAME, "name").send_keys(name)
        page.find_element(By.NAME, "password").send_keys(password(name))
        page.find_element(By.CSS_SELECTOR, "form button").click()
        until(f"{name} is logged in", lambda: any(name in one.text for one in page.find_elements(By.ID, "me")))

    def fill(self, comment):
        self.wait_for("dialog textarea").send_keys(comment)
        self.find("dialog button.first")[0].click()
        until("it is done", lambda: not self.find("dialog"))


def main():
    global options
    parser = argparse.ArgumentParser()
    for name in ["engine", "web", "axe", "pictures", "kept"]:
        parser.add_argument("--" + name, required=True)
    options, rest = parser.parse_known_args()
    os.makedirs(options.pictures, exist_ok=True)
    unittest.main(argv=[sys.argv[0], *rest], verbosity=2)
