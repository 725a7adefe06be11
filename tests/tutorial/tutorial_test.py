"""The tutorial, step by step: its commands begin in an empty folder, its files make the site, each request gets what
the text says, and the pictures are those of the pages."""

import shutil
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree as xml
from pathlib import Path

from pictures import fingerprint_in
from steps import DOCS, all_steps
from walk import TOOL, Walk

SMALL = 60_000  # bytes of a picture


class Tutorial(unittest.TestCase):
    def setUp(self):
        self.folder = Path(tempfile.mkdtemp(prefix="quillet-tutorial-"))
        self.folder.chmod(0o755)
        self.addCleanup(shutil.rmtree, self.folder)
        (self.folder / "work").mkdir()
        (self.folder / "machine").mkdir(mode=0o755)

    def test_every_step_gives_what_it_says(self):
        walk = Walk(self.folder / "work", self.folder / "machine", self.check_picture)
        self.addCleanup(walk.stop)
        kinds = {}
        chapter = "start.md"
        for step in all_steps():
            if not step.place.startswith(chapter):
                getattr(self, "after_" + chapter.removesuffix(".md"), lambda _: None)(walk)
                chapter = step.place.partition(":")[0]
            kinds[step.words[0]] = kinds.get(step.words[0], 0) + 1
            walk.follow(step)
        self.assertGreater(kinds["html"], 25)
        self.assertGreaterEqual(kinds["picture"], 10)
        self.assertIn(walk.server.writable(), (None, {("run", "kept")}))
        checked = subprocess.run([TOOL, "check", walk.folder], capture_output=True, text=True, check=False)
        self.assertEqual((checked.returncode, checked.stdout), (0, ""))
        self.assertFalse(list((self.folder / "work").rglob("error_log")))

    def after_list(self, walk):
        """Prices that are no numbers, and no pens at all."""
        pens = walk.folder / "www/_pens"
        before = pens.read_text()
        for cell, shown in (("3,50", "3,50"), ("5 €", "5 €"), ("zwei", "zwei"), ("010", "010"), ("", ""), ("-1", "-1"),
                            ("1;2", "1;2"), ("<b>", "&lt;b&gt;"), ("^env[x]", "^env[x]"), ("1e9", "1e9"), ("-", "-"),
                            ("0", "0.00 €"), ("3.", "3.00 €"), ("0.9", "0.90 €"), ("12.345", "12.35 €")):
            pens.write_text(f"id\tname\tmaker\tprice\tnote\na\tA\tB\t{cell}\tC\n")
            self.assertIn(f"<td>{shown}</td>", walk.ask("/pens.html").text(), cell)
            month = ", a month " if shown.endswith(" €") and shown != cell else ".</p>"
            self.assertIn(f"A week costs {shown}{month}", walk.ask("/pen.html?id=a").text(), cell)
        for text in ("id\tname\tmaker\tprice\tnote\n", "", None):
            if text is None:
                pens.unlink()
            else:
                pens.write_text(text)
            self.assertIn("<p>We have no pens at the moment.</p>", walk.ask("/pens.html").text())
            for address in ("/pen.html", "/pen.html?id=", "/pen.html?id=a"):
                reply = walk.ask(address)
                self.assertEqual(reply.status, 404, address)
                self.assertIn("<h1>No such pen</h1>", reply.text())
        pens.write_text(before)

    def after_search(self, walk):
        pens = walk.folder / "www/_pens"
        pens.rename(walk.folder / "pens")
        self.assertIn("<p>Nothing was found.</p>", walk.ask("/pens.html").text())
        (walk.folder / "pens").rename(pens)

    def after_guests(self, walk):
        """The folder is missing: no entry, status 500, and the visitor keeps what was written."""
        kept = walk.folder / "run/kept"
        kept.rename(walk.folder / "kept")
        reply = walk.post("/guests.html", "name=Anna&text=A+%3Clong%3E+greeting")
        (walk.folder / "kept").rename(kept)
        self.assertEqual(reply.status, 500)
        self.assertIn("could not be kept", reply.text())
        self.assertIn(">A &lt;long&gt; greeting</textarea>", reply.text())
        self.assertIn('value="Anna"', reply.text())
        self.assertNotIn(str(walk.folder), reply.text())
        (walk.folder / "run/error_log").unlink()

    def after_feed(self, walk):
        """No byte of the news makes the feed ill-formed."""
        news = walk.folder / "run/kept/_news-1"
        before = news.read_bytes()
        news.write_bytes(b"0\tanna\ta\xff & <b>\t\xed\xa0\x80 \xef\xbf\xbe \x01\xc3\xbc\n")
        item = xml.fromstring(walk.ask("/feed.html").body).findall("channel/item")[-1]
        news.write_bytes(before)
        self.assertEqual((item.findtext("title"), item.findtext("description")), ("a\ufffd & <b>", "\ufffd \ufffd  \u00fc"))

    def check_picture(self, walk, path, address, *_):
        data = path.read_bytes()
        self.assertLess(len(data), SMALL, path)
        self.assertEqual(fingerprint_in(data), walk.fingerprint(address),
                         f"{path.relative_to(DOCS)} shows another page than {address}; run scripts/tutorial-pictures")


if __name__ == "__main__":
    unittest.main()
