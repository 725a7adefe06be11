"""usage: pages_test.py QUILLET_OPERATORS

The pages of the manual's site as files: every link leads somewhere, every page is reached, every operator has its page,
and every example of the Markdown files is there with what comes out."""

import html.parser
import json
import os
import re
import subprocess
import sys
import unittest
from html import escape
from pathlib import Path
from urllib.parse import unquote

SITE = Path(os.environ["QUILLET_MANUAL_SITE"]).resolve()
DOCS = Path(__file__).resolve().parents[2] / "docs"
OPERATORS = sys.argv.pop(1)


class Reader(html.parser.HTMLParser):
    """The anchors and links of a page, and the tags that are open at its end."""
    VOID = {"meta", "link", "input", "img", "br", "hr", "path", "wbr"}

    def __init__(self, path):
        super().__init__()
        self.path, self.anchors, self.links, self.open, self.pictures = path, [], [], [], []
        self.feed(path.read_text())
        self.targets = list(self.targets_of_links())

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        if "id" in attributes:
            self.anchors.append(attributes["id"])
        self.links += [attributes[name] for name in ("href", "src") if name in attributes]
        if tag == "img":
            self.pictures.append(attributes)
        if tag not in self.VOID:
            self.open.append(tag)

    def handle_startendtag(self, tag, attributes):
        pass

    def handle_endtag(self, tag):
        if not self.open or self.open.pop() != tag:
            raise AssertionError(f"{self.path}: </{tag}> closes nothing, line {self.getpos()[0]}")

    def targets_of_links(self):
        """(link, file, anchor) of the links that stay on the site."""
        for link in self.links:
            if "://" in link or link.startswith("mailto:"):
                continue
            name, _, anchor = link.partition("#")
            yield link, Path(os.path.normpath(self.path.parent / unquote(name))) if name else self.path, anchor


class Pages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.pages = {path: Reader(path) for path in sorted(SITE.rglob("*.html"))}

    def test_every_link_leads_to_a_file_and_an_anchor_of_the_site(self):
        broken = []
        for path, page in self.pages.items():
            for link, target, anchor in page.targets:
                if not target.is_file() or not target.is_relative_to(SITE):
                    broken.append(f"{path}: {link}")
                elif anchor and anchor not in self.pages[target].anchors:
                    broken.append(f"{path}: no anchor for {link}")
        self.assertEqual(broken, [])

    def test_no_anchor_is_there_twice_and_every_tag_is_closed(self):
        for path, page in self.pages.items():
            self.assertEqual(len(page.anchors), len(set(page.anchors)), path)
            self.assertEqual(page.open, [], path)

    def test_every_page_is_reached_from_the_first(self):
        reached = [SITE / "index.html"]
        for path in reached:
            reached += {target for _, target, _ in self.pages[path].targets
                        if target in self.pages and target not in reached}
        self.assertEqual(set(self.pages) - set(reached), set())

    def test_every_operator_has_a_page_that_the_first_and_every_page_link_to(self):
        rows = json.loads(subprocess.run([OPERATORS], check=True, capture_output=True).stdout)
        expected = {SITE / f"operators/{row['name']}.html" for row in rows}
        self.assertGreater(len(expected), 80)
        found = {path for path in self.pages if path.parent.name == "operators"}
        self.assertEqual(found, expected)
        for path, page in self.pages.items():
            self.assertEqual(found - {target for _, target, _ in page.targets}, set(), path)

    def test_every_example_is_there_with_what_comes_out(self):
        written = sum(len(re.findall(r"^```(?:output|response)\b", path.read_text(), re.M)) for path in self.sources())
        shown = sum(path.read_text().count('<div class="pane output">') + path.read_text().count('<div class="pane response">')
                    for path in self.pages)
        self.assertGreater(written, 200)
        self.assertEqual(shown, written)

    def test_every_file_that_the_index_reaches_is_a_page(self):
        self.assertGreater(len(self.sources()), 60)
        headings = {re.sub("<[^>]*>", "", re.search(r"<h1[^>]*>(.*?)</h1>", path.read_text(), re.S)[1])
                    for path in self.pages}
        for path in self.sources():
            heading = escape(re.search(r"^# (.*)$", path.read_text(), re.M)[1].replace("`", ""))
            self.assertIn(heading.replace("&#x27;", "'"), headings, path)

    def test_every_picture_says_what_it_shows(self):
        for path, page in self.pages.items():
            for picture in page.pictures:
                self.assertTrue(picture.get("alt"), f"{path}: {picture}")

    def test_nothing_is_loaded_from_elsewhere(self):
        for path in [*SITE.rglob("*.html"), *SITE.rglob("*.css")]:
            self.assertNotRegex(path.read_text(), r'(src|action)="(https?:)?//|url\(|@import', path)

    @staticmethod
    def sources():
        """The Markdown files below the index, found by a way of their own."""
        found = [DOCS / "README.md"]
        for path in found:
            text = re.sub(r"^```.*?^```$", "", path.read_text(), flags=re.M | re.S)
            for name in re.findall(r"\]\(([^)\s#]+\.md)", text):
                target = (path.parent / name).resolve()
                if target.is_relative_to(DOCS) and target not in found:
                    found.append(target)
        return found


if __name__ == "__main__":
    unittest.main()
