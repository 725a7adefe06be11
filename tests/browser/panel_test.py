"""The panel of quillet-dev serve in a real browser: at the width of a screen and of a phone, light and dark."""

import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "dev"))

from browsed_site import BrowsedSite, wait_for
from served_dev import ServedByDev

BUTTON = "document.querySelector('quillet-dev-panel').shadowRoot.querySelector('button')"
FRAME = "document.querySelector('quillet-dev-panel').shadowRoot.querySelector('iframe')"


class Panels(BrowsedSite, ServedByDev):
    files = {
        "www/index.html": "<!doctype html><html><body style='color: rgb(1, 2, 3)'><p>Hello</p>^nosuch[]^include[none.html]"
                          "^load[named;goods]^menu[^macro[row;^item[name]];]</body></html>",
        "www/_goods": "name\nA\nB\n",
        "www/good.html": "<!doctype html><p>good</p>",
        "run/_macro.cfg": "@row[what]\n<p>$what</p>\n",
    }

    def emulate(self, width, scheme):
        for command, parameters in (
                ("Emulation.setDeviceMetricsOverride",
                 {"width": width, "height": 800, "deviceScaleFactor": 1, "mobile": False}),
                ("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": scheme}]})):
            self.browser.request("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def await_button(self, text):
        wait_for(lambda: self.browser.run(f"return {BUTTON}.textContent") == text, f"the button to say {text}")

    def test_the_button_counts_and_opens_the_panel(self):
        self.open("/")
        self.await_button("2 notes")
        self.browser.run(BUTTON + ".click()")
        wait_for(lambda: self.browser.run(f"return {FRAME}.contentDocument.querySelectorAll('.note').length") == 2,
                 "the panel to show both notes")
        self.browser.run(BUTTON + ".click()")
        self.assertIsNone(self.browser.run(f"return {FRAME}"))
        self.await_button("2 notes")

    def test_pages_that_were_left_keep_no_connection(self):
        """A browser has six; it would wait about a minute for another one."""
        self.browser.request("POST", "/timeouts", {"pageLoad": 30000})
        for number in range(10):
            self.open(f"/good.html?{number}")

    def test_the_page_s_own_style_stays(self):
        self.open("/")
        self.assertEqual(self.browser.run("return getComputedStyle(document.querySelector('p')).color"), "rgb(1, 2, 3)")

    def test_nothing_is_wider_than_the_screen(self):
        for width in (1280, 390):
            for scheme in ("light", "dark"):
                self.emulate(width, scheme)
                self.open("/")
                for path in ("/", "/.quillet-dev/", "/.quillet-dev/request/1", "/nothing"):
                    with self.subTest(width=width, scheme=scheme, path=path):
                        self.open(path)
                        self.browser.run("document.querySelectorAll('details').forEach(each => each.open = true)")
                        self.assertLessEqual(self.browser.run("return document.documentElement.scrollWidth"), width)

    def test_light_and_dark(self):
        seen = {}
        self.open("/")
        for scheme in ("light", "dark"):
            self.emulate(1280, scheme)
            self.open("/.quillet-dev/request/1")
            seen[scheme] = self.browser.run("return getComputedStyle(document.body).backgroundColor")
        self.assertEqual(seen, {"light": "rgb(255, 255, 255)", "dark": "rgb(27, 28, 31)"})

    def test_a_page_is_loaded_again_when_a_file_changes(self):
        self.open("/good.html")
        page = self.site_path / "www/good.html"
        self.addCleanup(page.write_text, page.read_text())
        wait_for(lambda: "html" in self.browser.run("return document.contentType"), "the page")

        def is_better():
            page.write_text("<!doctype html><p>better</p>")  # again, as what changes during a request is the page's own
            return self.browser.texts("p") == ["better"]

        wait_for(is_better, "the page to be loaded again")

    def test_switching_off_leaves_no_trace_on_pages(self):
        self.open("/.quillet-dev/")
        self.browser.click("form button")
        self.open("/good.html")
        self.assertFalse(self.browser.run("return !!document.querySelector('quillet-dev-panel, script')"))
        self.open("/.quillet-dev/")
        self.browser.click("form button")
        self.open("/good.html")
        self.assertTrue(self.browser.run("return !!document.querySelector('quillet-dev-panel')"))


if __name__ == "__main__":
    unittest.main()
