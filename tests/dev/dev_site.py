"""A small site in a folder of its own, and quillet-dev for it."""

import json
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

TOOL = str(Path(os.environ.get("QUILLET_DEV", "build/asan/bin/quillet-dev")).resolve())
TIMEOUT = 90  # seconds for whatever should happen: long, so that only what hangs meets it


def write_files(root, files):
    """`files`: content by path; text, or bytes."""
    for path, content in files.items():
        (root / path).parent.mkdir(parents=True, exist_ok=True)
        (root / path).write_bytes(content.encode() if isinstance(content, str) else content)


class DevSite(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="quillet-dev-")
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name).resolve()
        for name in ("www", "run"):
            (self.root / name).mkdir()

    def run_page(self, files, *arguments, page="www/page.html", status=0):
        """The finished process of `quillet-dev run`; `files` as above, or the page alone."""
        write_files(self.root, {page: files} if isinstance(files, (str, bytes)) else files)
        done = subprocess.run([TOOL, "run", page, *arguments], cwd=self.root, capture_output=True, timeout=TIMEOUT,
                              check=False)
        self.assertEqual(done.returncode, status, done.stderr)
        return done

    def notes(self, files, *arguments, **named):
        """The lines of standard error."""
        return self.run_page(files, *arguments, **named).stderr.decode().splitlines()

    def body(self, files, *arguments, **named):
        return self.run_page(files, *arguments, **named).stdout.decode()

    def trace(self, files, *arguments, **named):
        return json.loads(self.run_page(files, "--trace=json", *arguments, **named).stderr)
