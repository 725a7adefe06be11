"""scripts/demo serves the manual's site under /manual/, and the site's own pages as always."""

import os
import sys
import tempfile
import unittest
import urllib.request
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "apache"))
from served_site import Demo  # noqa: E402

MANUAL = Path(os.environ["QUILLET_MANUAL_SITE"]).resolve()


class Served(unittest.TestCase):
    def test_the_manual_is_served_below_its_own_address(self):
        with tempfile.TemporaryDirectory() as folder:
            folder = Path(folder)
            folder.chmod(0o755)
            site = folder / "site"
            site.mkdir()
            (site / "index.html").write_text("^eval[1+1] pages")
            demo = Demo(site, folder, options=("--manual", str(MANUAL)))
            try:
                address = demo.address()
                self.assertEqual(self.get(address), b"2 pages")
                self.assertEqual(self.get(address + "manual"), (MANUAL / "index.html").read_bytes())
                for name in ("operators/-f.html", "operators/index.html", "operators.html", "style.css", "search_index.js"):
                    self.assertEqual(self.get(address + "manual/" + name), (MANUAL / name).read_bytes(), name)
            finally:
                demo.stop()

    @staticmethod
    def get(address):
        with urllib.request.urlopen(address, timeout=60) as response:
            return response.read()


if __name__ == "__main__":
    unittest.main()
