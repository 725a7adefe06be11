"""The example of the README: the page and the data as printed there give what is printed there."""

import re
import unittest

from served_site import ROOT, ServedSite

PAGE, DATA, OUTPUT = re.findall(r"^```(?:html|text)\n(.*?)^```$", (ROOT / "README.md").read_text(), re.M | re.S)


class Readme(ServedSite):
    files = {"www/hello.html": PAGE, "www/_goods": DATA}

    def test_the_example_of_the_readme_is_exact(self):
        self.assertEqual(self.ask_raw("/hello.html?name=<Ann>").text().strip(), OUTPUT.strip())


if __name__ == "__main__":
    unittest.main()
