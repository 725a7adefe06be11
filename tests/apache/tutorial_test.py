"""The tutorial, step by step: its commands begin in an empty folder, its files go into the site that grows there and
that scripts/demo serves, and the visitor who sends what a step says gets what it says."""

import re
import subprocess
import sys
import unittest

from served_site import ROOT, Demo, Folder, ServedSite

sys.path.insert(0, str(ROOT / "tests"))
import gif  # noqa: E402

BLOCKS = re.findall(r"^```(\w+)(?: (\S+))?\n(.*?)\n?^```$", (ROOT / "docs/tutorial.md").read_text(), re.M | re.S)
FOLDERS = {"www": "www", "site": "run"}  # what the tutorial calls them, and what they are


class Tutorial(ServedSite):
    @classmethod
    def setUpClass(cls):
        cls.folder = Folder()
        cls.addClassCleanup(cls.folder.remove)
        (cls.folder.path / "scripts").symlink_to(ROOT / "scripts")
        cls.demo = None

    def execute(self, commands):
        subprocess.run(["bash", "-e", "-c", commands], cwd=self.folder.path, check=True, capture_output=True)
        site = self.folder.path / "letters"
        for path in (site, *site.rglob("*")):
            path.chmod(0o777)  # httpd may be another user than the one who writes the site
        if self.demo is None:
            type(self).demo = Demo(site, self.folder.path)

    def write(self, name, content):
        folder, _, rest = name.partition("/")
        self.folder.write(f"letters/{FOLDERS[folder]}/{rest}", content).chmod(0o666)

    def visit(self, environment):
        headers = {"Cookie": environment["HTTP_COOKIE"]} if "HTTP_COOKIE" in environment else {}
        return self.ask("/page.html?" + environment.get("QUERY_STRING", ""), headers=headers).text()

    def test_every_step_gives_what_it_says(self):
        environment, outputs = {}, 0
        for kind, name, content in BLOCKS:
            if kind == "sh":
                self.execute(content)
            elif kind == "page":
                self.write("www/page.html", content)
            elif kind == "file":
                self.write(name, content)
            elif kind == "env":
                environment = dict(line.split("=", 1) for line in content.split("\n"))
            else:
                self.assertEqual((kind, self.visit(environment)), ("output", content))
                environment, outputs = {}, outputs + 1
        self.assertGreater(outputs, 9)
        self.check_the_button()

    def check_the_button(self):
        """The letters of the font's color are on the plate, which is that of the example site."""
        buttons = ROOT / "examples/site/www/buttons"
        for name in ("plate.gif", "font.gif"):
            self.assertEqual((self.folder.path / "letters/www" / name).read_bytes(), (buttons / name).read_bytes())
        plate = gif.decode((buttons / "plate.gif").read_bytes()).colors()
        button = gif.decode(self.ask("/send.gif").body).colors()
        self.assertEqual((len(button), len(button[0])), (len(plate), len(plate[0])))
        changed = [(x, y) for y, row in enumerate(button) for x, color in enumerate(row) if color != plate[y][x]]
        self.assertEqual({button[y][x] for x, y in changed}, {"FFFFFF"})
        self.assertEqual((min(x for x, _ in changed), min(y for _, y in changed)), (15, 9))


if __name__ == "__main__":
    unittest.main()
