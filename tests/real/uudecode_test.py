"""Debian's uudecode (sharutils) restores attachments byte for byte."""

import random
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
from page_runner import PageTest


@unittest.skipUnless(shutil.which("uudecode"), "needs the package sharutils")
class Uudecode(PageTest):
    def decoded(self, block, name):
        folder = self.root / "decoded"
        folder.mkdir(exist_ok=True)
        subprocess.run(["uudecode"], input=block.encode("latin-1"), cwd=folder, check=True)
        return (folder / name).read_bytes()

    def attachment(self, content, name):
        return self.run_upload(f"^upload[f;uuencode;{name}]", content)

    def test_files_of_every_length_of_a_last_line(self):
        for length in (*range(1, 100), 4500, 4501):
            content = random.Random(length).randbytes(length)
            self.assertEqual(self.decoded(self.attachment(content, "a.bin"), "a.bin"), content, length)

    def test_every_byte(self):
        content = bytes(range(256)) * 3
        self.assertEqual(self.decoded(self.attachment(content, "every byte.gif"), "every byte.gif"), content)

    def test_a_large_file(self):
        content = random.Random(1).randbytes(3_000_001)
        self.assertEqual(self.decoded(self.attachment(content, "large.zip"), "large.zip"), content)

    def test_a_text(self):
        block = self.run_page("^uuencode[Cat and mouse;cat.txt]")
        self.assertEqual(self.decoded(block, "cat.txt"), b"Cat and mouse")


if __name__ == "__main__":
    unittest.main()
