"""The forms in which `quillet-dev check` reports: for people, compilers' readers, programs and services."""

import json
import os
import pty
import subprocess
import unittest
from pathlib import Path

from dev_site import TIMEOUT, TOOL, DevSite, write_files

PAGE = "<p>^itme[a]</p>\n"
REPORTED = "www/a b.html:1:4: error: there is no operator itme; did you mean item? [call-unknown]"


class Formats(DevSite):
    def setUp(self):
        super().setUp()
        write_files(self.root, {"www/a b.html": PAGE})

    def check(self, *arguments):
        done = subprocess.run([TOOL, "check", *arguments, "www"], cwd=self.root, capture_output=True, timeout=TIMEOUT,
                              check=False, text=True)
        return done.returncode, done.stdout

    def test_text_has_the_line_and_a_caret(self):
        self.assertEqual(self.check(), (1, f"{REPORTED}\n    <p>^itme[a]</p>\n       ^\n"))

    def test_colours_are_for_a_terminal(self):
        ours, theirs = pty.openpty()
        subprocess.run([TOOL, "check", "www"], cwd=self.root, stdout=theirs, timeout=TIMEOUT, check=False)
        os.close(theirs)
        shown = os.read(ours, 4096)
        os.close(ours)
        self.assertIn(b"\033[1;31merror:\033[0m", shown)

    def test_gcc_is_a_line_for_each_finding(self):
        self.assertEqual(self.check("--format=gcc"), (1, REPORTED + "\n"))

    def test_json_has_places_and_repairs(self):
        status, output = self.check("--format=json")
        self.assertEqual(status, 1)
        self.assertEqual(json.loads(output), [{
            "file": "www/a b.html", "line": 1, "column": 4, "end_line": 1, "end_column": 9, "level": "error",
            "rule": "call-unknown", "message": "there is no operator itme; did you mean item?",
            "fixes": [{"title": "Change to item", "edits": [{"offset": 4, "length": 4, "text": "item"}]}]}])

    def test_json_of_nothing_is_an_empty_list(self):
        Path(self.root, "www/a b.html").write_text("<p>right</p>\n")
        self.assertEqual(self.check("--format=json"), (0, "[]\n"))

    def test_sarif(self):
        report = json.loads(self.check("--format=sarif")[1])
        self.assertEqual(report["version"], "2.1.0")
        run, = report["runs"]
        result, = run["results"]
        place = result["locations"][0]["physicalLocation"]
        self.assertEqual((result["ruleId"], result["level"]), ("call-unknown", "error"))
        self.assertEqual(place["artifactLocation"]["uri"], "www/a%20b.html")
        self.assertEqual(place["region"], {"startLine": 1, "startColumn": 4, "endLine": 1, "endColumn": 9})
        change = result["fixes"][0]["artifactChanges"][0]["replacements"][0]
        self.assertEqual((change["deletedRegion"], change["insertedContent"]),
                         ({"byteOffset": 4, "byteLength": 4}, {"text": "item"}))
        self.assertIn("call-unknown", [rule["id"] for rule in run["tool"]["driver"]["rules"]])


if __name__ == "__main__":
    unittest.main()
