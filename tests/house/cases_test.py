"""What is true of all cases together: no two say the same."""

import re
import unittest
from pathlib import Path

TESTS = Path(__file__).resolve().parent.parent


class Cases(unittest.TestCase):
    def test_no_two_cases_are_the_same(self):
        found = {}
        for path in sorted(TESTS.rglob("*.case")):
            sections = re.split(rb"^== ", path.read_bytes(), flags=re.M)[1:]  # what comes before is a comment
            found.setdefault(tuple(sorted(sections)), []).append(str(path.relative_to(TESTS)))
        self.assertEqual([paths for paths in found.values() if len(paths) > 1], [])


if __name__ == "__main__":
    unittest.main()
