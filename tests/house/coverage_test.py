"""scripts/coverage: what counts as a branch, what a function is called, and that the exceptions name what there is."""

import importlib.machinery
import importlib.util
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
loader = importlib.machinery.SourceFileLoader("coverage", str(ROOT / "scripts/coverage"))
coverage = importlib.util.module_from_spec(importlib.util.spec_from_loader("coverage", loader))
loader.exec_module(coverage)


def branch(count, throw=False, fallthrough=False):
    return {"count": count, "throw": throw, "fallthrough": fallthrough}


class Branches(unittest.TestCase):
    CALL = [branch(7, fallthrough=True), branch(0, throw=True)]

    def test_a_decision_has_its_ways(self):
        self.assertEqual(coverage.decisions([branch(3, fallthrough=True), branch(0)]), [3, 0])

    def test_a_call_that_can_throw_has_none(self):
        self.assertEqual(coverage.decisions(self.CALL), [])
        self.assertEqual(coverage.decisions(self.CALL[::-1]), [])

    def test_a_call_that_never_returns_has_none(self):
        self.assertEqual(coverage.decisions([branch(0, throw=True)]), [])

    def test_calls_beside_decisions_do_not_count(self):
        decision = [branch(3, fallthrough=True), branch(4)]
        self.assertEqual(coverage.decisions([*self.CALL, *decision, *self.CALL[::-1], *decision]), [3, 4, 3, 4])


class Names(unittest.TestCase):
    def test_a_name_is_that_of_the_source(self):
        for demangled, plain in (
                ("quillet::(anonymous namespace)::child_pipes::connect()", "child_pipes::connect"),
                ("quillet::text::~text()", "text::~text"),
                ("quillet::call_operator(quillet::text const&, quillet::operator_entry const*)", "call_operator"),
                ("void quillet::(anonymous namespace)::escape<false, (char)9>(std::span<char, 3ul>)", "escape"),
                ("quillet::scanner<quillet::prepared_text>::call(unsigned long)", "scanner::call"),
                ("quillet::operator==(quillet::file_state const&)", "operator=="),
                ("quillet::text::operator=(quillet::text&&)", "text::operator="),
                ("quillet::owned_descriptor::operator int() const", "owned_descriptor::operator int"),
                ("quillet::keyed_hasher::operator()(std::string_view) const", "keyed_hasher::operator()"),
                ("operator new(unsigned long)", "operator new")):
            self.assertEqual(coverage.plain_name(demangled), plain)


class Exceptions(unittest.TestCase):
    def test_they_name_functions_that_there_are(self):
        for (name, function), (lines, branches, _) in coverage.read_exceptions().items():
            with self.subTest(file=name, function=function):
                self.assertIn(function.split(" ")[0].split("::")[-1], (ROOT / name).read_text())
                self.assertGreater(lines + branches, 0)

    def test_none_is_named_twice(self):
        rows = [row for row in coverage.EXCEPTIONS.read_text().splitlines() if row and not row.startswith("#")]
        self.assertEqual(len(rows), len(coverage.read_exceptions()))


if __name__ == "__main__":
    unittest.main()
