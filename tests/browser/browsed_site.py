"""The demo site, served as in the Apache tests, and real browsers that look at it."""

import functools
import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "apache"))
from browser import Browser, missing_programs, wait_for
from served_site import Folder, ServedSite


class BrowsedSite(ServedSite):
    @classmethod
    def setUpClass(cls):
        if missing_programs():
            raise unittest.SkipTest("needs Debian's packages chromium and chromium-driver; missing here: " +
                                    ", ".join(missing_programs()))
        super().setUpClass()

    def new_browser(self):
        folder = Folder()
        self.addCleanup(folder.remove)
        browser = Browser(folder.path)
        self.addCleanup(browser.close)
        return browser

    @functools.cached_property
    def browser(self):
        """The one browser of a test that needs no other."""
        return self.new_browser()

    def open(self, path, who=""):
        self.browser.open(f"http://{who}localhost:{self.demo.port}{path}")

    def await_texts(self, selector, expected):
        wait_for(lambda: self.browser.texts(selector) == expected, f"{selector} to be {expected}")
