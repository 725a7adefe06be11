"""Files through a real Apache httpd with curl, 100 MB both ways, and what memory the program takes for them."""

import json
import os
import random
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "apache"))
import served_site
from served_site import ServedSite

LARGE = 100_000_000

# Runs the program and notes its largest resident memory, in bytes.
MEASURED = """#!/usr/bin/python3
import os, resource, subprocess, sys
_, most = resource.getrlimit(resource.RLIMIT_AS)  # the sanitizers reserve more than a request may use
resource.setrlimit(resource.RLIMIT_AS, (most, most))
status = subprocess.run([{program!r}], env={{**os.environ, "ASAN_OPTIONS": "detect_leaks=0"}}).returncode
with open({notes!r}, "a") as notes:
    print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss * 1024, file=notes)
sys.exit(status)
"""


def measured_program(folder):
    copy, script, notes = folder / "program", folder / "program.py", folder / "memory"
    shutil.copy(served_site.PROGRAM, copy)
    notes.touch()
    notes.chmod(0o666)
    script.write_text(MEASURED.format(program=str(copy), notes=str(notes)))
    script.chmod(0o755)
    return script


@unittest.skipUnless(shutil.which("curl"), "needs the package curl")
class Transfer(ServedSite):
    files = {
        "run/_macro.cfg": "@MIME_TYPES[]\nbin\tx/bin\n",
        "www/upload.html": "^optimize[no]^upload[file;/drop/received]^upload[file;name] ^upload[file;size]",
        "www/download.html": "^download[/large.bin;^form[name]]ok",
        "www/missing.html": "^download[/missing.bin]",
    }

    @classmethod
    def setUpClass(cls):
        before, served_site.program_under_test = served_site.program_under_test, measured_program
        try:
            super().setUpClass()
        finally:
            served_site.program_under_test = before
        cls.large = cls.folder.write("site/www/large.bin", random.Random(1).randbytes(LARGE))
        drop = cls.folder.path / "site/www/drop"
        drop.mkdir()
        drop.chmod(0o777)

    def curl(self, page, *arguments):
        return subprocess.run(["curl", "--silent", "--show-error", "--fail", *map(str, arguments),
                               f"http://127.0.0.1:{self.demo.port}{page}"], capture_output=True, check=True).stdout

    def memory(self):
        """What the last process took."""
        return int((self.folder.path / "memory").read_text().split()[-1])

    def same(self, path):
        return subprocess.run(["cmp", "--silent", path, self.large]).returncode == 0

    def report(self, what):
        taken = self.memory()
        print(json.dumps({"what": what, "bytes": LARGE, "resident": taken, "ratio": round(taken / LARGE, 2)}))
        return taken

    def test_an_upload_of_100_megabytes_arrives_and_takes_less_than_3_times_its_size(self):
        self.assertEqual(self.curl("/upload.html", "--form", f"file=@{self.large}"), b"large.bin %d" % LARGE)
        self.assertTrue(self.same(self.folder.path / "site/www/drop/received"))
        self.assertLess(self.report("upload"), 3 * LARGE)

    def test_a_download_of_100_megabytes_arrives_and_is_never_held_whole(self):
        target, headers = self.folder.path / "target", self.folder.path / "headers"
        self.curl("/download.html?name=report.bin", "--output", target, "--dump-header", headers)
        self.assertTrue(self.same(target))
        lines = headers.read_text().lower().splitlines()
        self.assertIn("content-type: x/bin", lines)
        self.assertIn('content-disposition: filename="report.bin"', lines)
        self.assertLess(self.report("download"), LARGE)

    def test_a_connection_continues_after_a_download(self):
        target = self.folder.path / "target"
        address = f"http://127.0.0.1:{self.demo.port}/download.html"
        said = self.curl("/missing.html", "--output", target, address, "--output", os.devnull,
                         "--write-out", "%{http_code} %{num_connects}\n")
        self.assertTrue(self.same(target))
        self.assertEqual(said, b"200 1\n200 0\n")

    def test_a_missing_file_is_an_ordinary_page(self):
        self.assertEqual(self.curl("/missing.html"), b"[download error: No such file or directory(#2)]")


if __name__ == "__main__":
    unittest.main()
