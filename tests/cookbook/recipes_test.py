"""The cookbook: every recipe has the same shape, its requests give what it says, and `quillet-dev check` finds nothing
in its files. Recipes that need a database or a mail program are asked in tests of their own."""

import os
import re
import subprocess
import unittest

from recipe import COOKBOOK, Site, recipes

SECTIONS = ["Files", "Requests", "What is safe", "What is not", "See also"]


class Recipes(unittest.TestCase):
    def each(self):
        found = recipes()
        self.assertGreater(len(found), 20)
        for recipe in found:
            with self.subTest(recipe.path.stem):
                yield recipe

    def test_every_page_has_the_same_shape(self):
        for recipe in self.each():
            text = re.sub(r"^```.*?^```$", "", recipe.path.read_text(), flags=re.M | re.S)
            self.assertEqual(re.findall("^## (.*)$", text, re.M), SECTIONS)
            self.assertTrue(recipe.steps)

    def test_every_page_says_what_it_is(self):
        head = re.compile('<!doctype html>\n<html lang="[a-z]{2}">\n(<head>\n)?<meta charset="utf-8">\n(<meta .*>\n)?<title>')
        for recipe in self.each():
            for line, _, _, kind, expected in recipe.steps:
                body = expected.decode().partition("\n\n")[2] if kind == "response" else expected.decode()
                if "<html" in body:
                    self.assertRegex(body, head, line)

    def test_the_index_lists_every_page(self):
        linked = re.findall(r"^\| \[.*?\]\((\S+)\.md\) \|", (COOKBOOK / "README.md").read_text(), re.M)
        self.assertEqual(sorted(linked), sorted(recipe.path.stem for recipe in recipes()))

    def test_the_requests_give_what_the_page_says(self):
        for recipe in self.each():
            if not recipe.needs_server():
                with Site(recipe) as site:
                    recipe.compare(self, site)

    @unittest.skipUnless("QUILLET_DEV" in os.environ, "needs quillet-dev")
    def test_check_finds_nothing(self):
        for recipe in self.each():
            with Site(recipe) as site:
                checked = subprocess.run([os.environ["QUILLET_DEV"], "check", "."], cwd=site.root, capture_output=True,
                                         text=True, check=False)
            self.assertEqual((checked.returncode, checked.stdout), (0, ""))


if __name__ == "__main__":
    unittest.main()
