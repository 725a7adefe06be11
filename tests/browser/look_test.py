"""Every page of the demo site as it is seen: nothing wider than the window and no broken word from 320 to 1280 pixels,
nothing that axe-core finds, light and dark; what the keyboard reaches."""

import os
import pathlib
import unittest

from browsed_site import BrowsedSite
from served_site import ROOT, example_site_with_database

AXE = pathlib.Path(os.environ["QUILLET_NODE_MODULES"], "axe-core/axe.min.js").read_text()
ROWS = [line.split("\t") for line in (ROOT / "examples/site/www/_pages").read_text().splitlines()
        if line.startswith("/")]
# What a page shows depends on what it is asked for. The members' pages ask for a name; the pages for the server's
# answers come by their own address, too.
INSTEAD = {"/catalogue/item.html": ["?id=atlas"], "/shop/goods.html": ["?id=3"], "/labels/": ["", "?text=%E7%B4%99"],
           "/gallery/": ["", "?picture=2-shells_in_ochre.gif"], "/board/thread.html": ["?thread=1&message=4"],
           "/examples/": ["", "?operator=menu", "?operator=hotline_cutmark_thread"],
           "/language/escaping.html": ["?text=%3Cscript%3E"], "/source/": ["", "?page=%2Fcatalogue%2F"],
           "/members/": [], "/members/staff/": [], "/language/empty.html": []}
PAGES = [address + query for address, *_ in ROWS for query in INSTEAD.get(address, [""])]
WIDTHS = (320, 390, 500, 768, 1280)

# Elements that reach beyond the window; words that are broken: some of their letters are below the others.
LOOK = """
  const wide = Array.from(document.querySelectorAll('body *:not(.skip)'))
    .filter(element => element.getBoundingClientRect().right > innerWidth + 0.5)
    .map(element => element.outerHTML.slice(0, 100));
  const broken = [];
  const texts = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
  while (texts.nextNode()) {
    const text = texts.currentNode;
    if (text.parentElement.closest('pre, code, script, textarea, option')) continue;
    for (const word of text.data.matchAll(/[\\p{L}\\d]+/gu)) {
      const range = document.createRange();
      range.setStart(text, word.index);
      range.setEnd(text, word.index + word[0].length);
      if (new Set(Array.from(range.getClientRects(), box => Math.round(box.top))).size > 1) broken.push(word[0]);
    }
  }
  return [...wide.slice(0, 3), ...broken];
"""
# What changes with the scheme is the contrast.
AXE_RUNS = {"light": "", "dark": ", runOnly: ['color-contrast']"}
RUN_AXE = """
  const done = arguments[arguments.length - 1];
  axe.run(document, { resultTypes: ['violations'] RULES }).then(found => done(found.violations.map(each =>
    each.id + ': ' + each.nodes.slice(0, 3).map(node => node.html.slice(0, 150)).join(' | '))));
"""


class Look(BrowsedSite):
    files = example_site_with_database()
    maxDiff = None

    def emulate(self, width, scheme):
        for command, parameters in (
                ("Emulation.setDeviceMetricsOverride",
                 {"width": width, "height": 900, "deviceScaleFactor": 1, "mobile": False}),
                ("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": scheme}]})):
            self.browser.request("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def test_every_page_fits_every_window_and_axe_core_finds_nothing(self):
        found = {}
        for page in PAGES:
            self.open(page)
            for width in WIDTHS:
                self.emulate(width, "light")
                found[f"{page} at {width}"] = self.browser.run(LOOK)
            self.browser.run(AXE)
            for scheme, rules in AXE_RUNS.items():
                self.emulate(1280, scheme)
                found[f"{page}, {scheme}"] = self.browser.request(
                    "POST", "/execute/async", {"script": RUN_AXE.replace("RULES", rules), "args": []})
        self.assertGreater(len(found), 30 * (len(WIDTHS) + 2))
        self.assertEqual({where: what for where, what in found.items() if what}, {})

    def test_the_pages_are_light_or_dark_as_the_visitor_likes(self):
        self.open("/")
        seen = {}
        for scheme in ("light", "dark"):
            self.emulate(1280, scheme)
            seen[scheme] = self.browser.run("return getComputedStyle(document.body).backgroundColor")
        self.assertEqual(seen, {"light": "rgb(251, 248, 241)", "dark": "rgb(21, 23, 28)"})

    def test_the_keyboard_reaches_the_text_first_and_shows_where_it_is(self):
        self.open("/catalogue/")
        self.browser.type("body", "\ue004")  # the key Tab
        focused = "const it = document.activeElement; return [it.innerText, getComputedStyle(it).outlineStyle]"
        self.assertEqual(self.browser.run(focused), ["To the text", "solid"])
        box = self.browser.run("const box = document.activeElement.getBoundingClientRect(); return [box.left, box.top]")
        self.assertGreaterEqual(min(box), 0)
        self.browser.type("a.skip", "\ue007")  # Enter
        self.assertEqual(self.browser.run("return location.hash"), "#content")


if __name__ == "__main__":
    unittest.main()
