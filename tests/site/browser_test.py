"""The manual's site in a browser: nothing wider than the window, nothing that axe-core finds, in light and dark; the
search; without scripts; printed."""

import base64
import os
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "browser"))
from browser import Browser, wait_for  # noqa: E402

SITE = Path(os.environ["QUILLET_MANUAL_SITE"]).resolve()
AXE = Path(os.environ["QUILLET_NODE_MODULES"], "axe-core/axe.min.js").read_text()
# One page of each kind, and what has the most of tables, pictures and code.
LOOKED_AT = ["index", "language", "tools", "deploying", "operators", "themes/tables", "operators/config",
             "check/visitor-quoting"]

FIND_WIDE = """
  const wide = (e) => e.getBoundingClientRect().right > innerWidth + 0.5 && !e.closest('.skip, .table.wide, .drawing, .rows, [hidden]');
  return Array.from(document.querySelectorAll('body *')).filter(wide).slice(0, 3).map((e) => e.outerHTML.slice(0, 120));
"""
RUN_AXE = """
  const done = arguments[arguments.length - 1];
  axe.run(document, { resultTypes: ['violations'] }).then((found) => done(found.violations.map((each) =>
    each.id + ': ' + each.nodes.slice(0, 3).map((node) => node.html.slice(0, 150)).join(' | '))));
"""


class Site(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.browser = Browser(Path(cls.folder.name))
        cls.addClassCleanup(cls.browser.close)

    def tell(self, command, **parameters):
        return self.browser.request("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def look(self, width, scheme="light"):
        features = [{"name": "prefers-color-scheme", "value": scheme}]
        self.tell("Emulation.setEmulatedMedia", features=features)
        self.tell("Emulation.setDeviceMetricsOverride", width=width, height=900, deviceScaleFactor=1, mobile=False)

    def open(self, name):
        self.browser.open((SITE / f"{name}.html").as_uri())

    def test_nothing_is_wider_than_the_window(self):
        wide = {}
        every = [path.relative_to(SITE).with_suffix("") for path in sorted(SITE.rglob("*.html"))]
        for width, names in ((320, every), (768, LOOKED_AT[::2]), (1280, LOOKED_AT[1::2])):
            self.look(width)
            for name in names:
                self.open(name)
                found = self.browser.run(FIND_WIDE)
                if found:
                    wide[f"{name} at {width}"] = found
        self.assertEqual(wide, {})

    def test_axe_core_finds_nothing(self):
        found = {}
        for scheme, width, names in (("light", 1280, LOOKED_AT), ("dark", 320, LOOKED_AT[::2])):
            self.look(width, scheme)
            for name in names:
                self.open(name)
                self.browser.run(AXE)
                violations = self.browser.request("POST", "/execute/async", {"script": RUN_AXE, "args": []})
                if violations:
                    found[f"{name}, {scheme}"] = violations
        self.assertEqual(found, {})

    def test_the_search_finds_operators_by_name_and_pages_by_words(self):
        self.look(1280)
        self.open("operators/menu")
        for text, heading, end in (("load", "load", "/operators/load.html"), ("^sendmail[", "sendmail", "/operators/sendmail.html"),
                                   ("quoting mode", "Quoting modes", "/language.html#quoting-modes")):
            self.browser.run("document.querySelector('.search input').value = ''")
            self.browser.type(".search input", text)
            first = wait_for(lambda: self.browser.texts(".found li:first-child b")[0:1] == [heading] and
                             self.browser.run("return document.querySelector('.found a').href"), f"{heading} to be found")
            self.assertTrue(first.endswith(end), first)
        self.browser.run("document.querySelector('.search input').value = ''")
        self.browser.type(".search input", "xyzzyplugh")
        wait_for(lambda: self.browser.texts(".found p") == ["Nothing about “xyzzyplugh”."], "the word that nothing is there")

    def test_without_scripts_the_search_is_not_offered_and_the_rest_is_there(self):
        self.look(1280)
        self.tell("Network.enable")
        self.tell("Network.setBlockedURLs", urls=["*.js"])
        try:
            self.open("operators/menu")
            self.assertEqual(self.browser.run("return getComputedStyle(document.querySelector('.search')).display"), "none")
            self.assertEqual(self.browser.texts("main h1"), ["menu"])
            self.assertGreater(len(self.browser.find_all(".sidebar a")), 100)
        finally:
            self.tell("Network.setBlockedURLs", urls=[])

    def test_a_printed_page_is_its_text_alone(self):
        self.open("operators/menu")
        self.tell("Emulation.setEmulatedMedia", media="print")
        try:
            shown = "return getComputedStyle(document.querySelector('{}')).display"
            for selector in (".top", ".sidebar", ".neighbours"):
                self.assertEqual(self.browser.run(shown.format(selector)), "none", selector)
            self.assertEqual(self.browser.run(shown.format("main")), "block")
            self.assertEqual(self.browser.run("return getComputedStyle(document.body).backgroundColor"),
                             "rgb(255, 255, 255)")
        finally:
            self.tell("Emulation.setEmulatedMedia", media="")


if __name__ == "__main__":
    unittest.main()
