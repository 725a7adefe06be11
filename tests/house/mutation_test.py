"""tests/torture/mutation.py: what it changes, and that unnoticed_changes.txt names changes that can be made."""

import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "torture"))
import mutation


class Changes(unittest.TestCase):
    def made(self, source):
        return [source[:start] + replacement + source[end:] for start, end, replacement in mutation.changes(source)]

    def test_a_comparison_and_a_number_are_changed_one_at_a_time(self):
        self.assertEqual(self.made("if (a < 10) b();"), ["if (a <= 10) b();", "if (a < 11) b();"])

    def test_a_choice_a_negation_and_a_step_are_turned_around(self):
        self.assertEqual(self.made("++i; !a ? b : c"), ["--i; !a ? b : c", "++i; a ? b : c", "++i; !a ? !b : c"])

    def test_brackets_of_templates_comments_texts_and_includes_stay(self):
        self.assertEqual(self.made('#include <a>\nstd::span<int> x("1 < 2"); // 3\nchar c = \'4\';'), [])

    def test_the_second_of_the_same_in_the_same_line_is_told_apart(self):
        described = mutation.describe_changes("f(0, 1, 0);\n  f(0, 1, 0);\nf(0);\n")
        self.assertEqual([(number, words) for number, words, _ in described.values()],
                         [(1, "0 -> 1"), (1, "1 -> 2"), (1, "0 -> 1 (2)"),
                          (2, "0 -> 1 (3)"), (2, "1 -> 2 (2)"), (2, "0 -> 1 (4)"), (3, "0 -> 1")])


class Reasons(unittest.TestCase):
    def test_each_has_its_change(self):
        self.assertEqual(list(mutation.reasons_without_change(mutation.read_reasons())), [])


if __name__ == "__main__":
    unittest.main()
