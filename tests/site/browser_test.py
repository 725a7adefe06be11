"""The manual's site in a browser: nothing wider than the window, nothing that axe-core finds, in light and dark; the
search; without scripts; printed."""

import http.server
import os
import sys
import tempfile
import threading
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "browser"))
from browser import Browser, wait_for  # noqa: E402

SITE = Path(os.environ["QUILLET_MANUAL_SITE"]).resolve()
AXE = Path(os.environ["QUILLET_NODE_MODULES"], "axe-core/axe.min.js").read_text()
# One page of each kind, and what has the most of tables, pictures and code.
LOOKED_AT = ["index", "language", "tools", "operators", "themes/tables", "check/visitor-quoting"]

# Opens the pages one after the other in a frame of a width; what is wider than the frame, by page.
FIND_WIDE = """
  const [names, width, done] = arguments;
  const frame = document.createElement('iframe');
  frame.style = `width: ${width}px; height: 900px; border: 0`;
  document.body.replaceChildren(frame);
  const mayScroll = '.skip, .table.wide, .drawing, .rows, [hidden]';
  const isWide = (element) => element.getBoundingClientRect().right > width + 0.5 && !element.closest(mayScroll);
  const wide = {};
  let at = 0;
  frame.onload = () => {
    const found = Array.from(frame.contentDocument.querySelectorAll('body *')).filter(isWide);
    if (found.length) wide[names[at]] = found.slice(0, 3).map((element) => element.outerHTML.slice(0, 120));
    at += 1;
    if (at === names.length) done(wide); else frame.src = names[at];
  };
  frame.src = names[0];
"""
RUN_AXE = """
  const done = arguments[arguments.length - 1];
  axe.run(document, { resultTypes: ['violations'] }).then((found) => done(found.violations.map((each) =>
    each.id + ': ' + each.nodes.slice(0, 3).map((node) => node.html.slice(0, 150)).join(' | '))));
"""


class Files(http.server.SimpleHTTPRequestHandler):
    def __init__(self, *arguments):
        super().__init__(*arguments, directory=SITE)

    def log_message(self, *arguments):
        pass


class Site(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.browser = Browser(Path(cls.folder.name))
        cls.addClassCleanup(cls.browser.close)
        cls.address = cls.serve()

    @classmethod
    def serve(cls):
        """The address of the site on a port of its own."""
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Files)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        cls.addClassCleanup(server.server_close)
        cls.addClassCleanup(server.shutdown)
        return f"http://127.0.0.1:{server.server_port}/"

    def tell(self, command, **parameters):
        return self.browser.request("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def look(self, width, scheme="light"):
        features = [{"name": "prefers-color-scheme", "value": scheme}]
        self.tell("Emulation.setEmulatedMedia", features=features)
        self.tell("Emulation.setDeviceMetricsOverride", width=width, height=900, deviceScaleFactor=1, mobile=False)

    def open(self, name):
        self.browser.open((SITE / f"{name}.html").as_uri())

    def test_nothing_is_wider_than_the_window(self):
        self.look(1400)
        self.browser.open(self.address + "style.css")  # a page without content of its own
        self.browser.request("POST", "/timeouts", {"script": 80_000})
        every = ["/" + str(path.relative_to(SITE)) for path in sorted(SITE.rglob("*.html"))]
        some = [f"/{name}.html" for name in LOOKED_AT]
        for width, names in ((320, every), (768, some), (1280, some)):
            for first in range(0, len(names), 20):
                batch = {"script": FIND_WIDE, "args": [names[first:first + 20], width]}
                self.assertEqual(self.browser.request("POST", "/execute/async", batch), {}, width)

    def test_axe_core_finds_nothing(self):
        found = {}
        for scheme, width, names in (("light", 1280, LOOKED_AT), ("dark", 320, LOOKED_AT[::3])):
            self.look(width, scheme)
            for name in names:
                self.open(name)
                self.browser.run(AXE)
                violations = self.browser.request("POST", "/execute/async", {"script": RUN_AXE, "args": []})
                if violations:
                    found[f"{name}, {scheme}"] = violations
        self.assertEqual(found, {})

    def test_the_search_finds_operators_by_name_and_sections_by_words(self):
        self.look(1280)
        self.open("operators/menu")
        for text, place, end in (("load", 1, "/operators/load.html"), ("^sendmail[", 1, "/operators/sendmail.html"),
                                 ("quoting modes", 5, "/language.html#quoting-modes")):
            self.browser.run("document.querySelector('.search input').value = ''")
            self.browser.type(".search input", text)
            links = "return Array.from(document.querySelectorAll('.found a'), (link) => link.href)"
            wait_for(lambda: any(link.endswith(end) for link in self.browser.run(links)[:place]), f"{end} to be found")
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
