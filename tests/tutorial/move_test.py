"""The commands of the manual that move an old site to UTF-8."""

import re
import subprocess
import tempfile
import unittest
from pathlib import Path

from steps import DOCS

COMMANDS = re.search(r"^```sh utf-8\n(.*?)^```$", (DOCS / "utf-8.md").read_text(), re.M | re.S)[1]
TEXT = "Größe\tfür „alle“ – 5 €\n"


class Move(unittest.TestCase):
    def test_every_text_is_utf_8_afterwards_however_often_it_is_done(self):
        with tempfile.TemporaryDirectory(prefix="quillet-move-") as name:
            site = Path(name)
            (site / "www/a folder").mkdir(parents=True)
            (site / "run").mkdir()
            old = ("www/index.html", "www/a folder/_data", "www/style.css", "run/_macro.cfg", "run/.profile")
            for path in old:
                (site / path).write_bytes(TEXT.encode("cp1252"))
            (site / "www/new.html").write_text(TEXT)
            (site / "www/_empty").touch()
            (site / "www/cat.gif").write_bytes(b"GIF89a\xe4")
            (site / "www/index.html").chmod(0o640)
            for _ in range(2):
                subprocess.run(["sh", "-e", "-c", COMMANDS], cwd=site, check=True)
            for path in (*old, "www/new.html"):
                self.assertEqual((site / path).read_text(), TEXT, path)
            self.assertEqual((site / "www/index.html").stat().st_mode & 0o777, 0o640)
            self.assertEqual((site / "www/cat.gif").read_bytes(), b"GIF89a\xe4")
            self.assertEqual(list(site.rglob("*.new")), [])


if __name__ == "__main__":
    unittest.main()
