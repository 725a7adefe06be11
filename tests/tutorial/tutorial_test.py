"""The tutorial, step by step: its commands begin in an empty folder, its files make the site, each request gets what
the text says, and the pictures are those of the pages."""

import shutil
import subprocess
import tempfile
import unittest
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
        for step in all_steps():
            kinds[step.words[0]] = kinds.get(step.words[0], 0) + 1
            walk.follow(step)
        self.assertGreater(kinds["html"], 25)
        self.assertGreaterEqual(kinds["picture"], 10)
        self.assertIn(walk.server.writable(), (None, {("run", "kept")}))
        checked = subprocess.run([TOOL, "check", walk.folder], capture_output=True, text=True, check=False)
        self.assertEqual((checked.returncode, checked.stdout), (0, ""))
        self.assertFalse(list((self.folder / "work").rglob("error_log")))

    def check_picture(self, walk, path, address, *_):
        data = path.read_bytes()
        self.assertLess(len(data), SMALL, path)
        self.assertEqual(fingerprint_in(data), walk.fingerprint(address),
                         f"{path.relative_to(DOCS)} shows another page than {address}; run scripts/tutorial-pictures")


if __name__ == "__main__":
    unittest.main()
