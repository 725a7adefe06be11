"""Every test has a label, and CONTRIBUTING.md lists the labels. Reads what CTest knows of the build directory that
the variable QUILLET_BUILD names."""

import json
import os
import re
import subprocess
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
WITHOUT_SANITIZERS = {"torture"}  # labels that a build with sanitizers has no tests for


class Labels(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        command = ["ctest", "--test-dir", os.environ["QUILLET_BUILD"], "--show-only=json-v1"]
        shown = subprocess.run(command, check=True, capture_output=True).stdout
        cls.labels = {}
        for test in json.loads(shown)["tests"]:
            properties = {one["name"]: one["value"] for one in test.get("properties", [])}
            cls.labels[test["name"]] = properties.get("LABELS", [])

    def test_every_test_has_a_label(self):
        self.assertGreater(len(self.labels), 100)
        self.assertEqual([name for name, labels in self.labels.items() if not labels], [])

    def test_the_labels_are_those_of_the_list(self):
        table = (ROOT / "CONTRIBUTING.md").read_text().partition("| label |")[2].partition("\n\n")[0]
        listed = re.findall(r"^\| `(\w+)` \|", table, re.M)
        found = {label for labels in self.labels.values() for label in labels}
        self.assertEqual(sorted(listed), sorted(found | WITHOUT_SANITIZERS))


if __name__ == "__main__":
    unittest.main()
