"""quillet-dev new: what it writes and what it refuses. tests/apache/new_site_test.py serves the site."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
TOOL = Path(os.environ["QUILLET_DEV"]).resolve()


class New(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="quillet 'new' ")
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def run_tool(self, *arguments, tool=TOOL):
        return subprocess.run([tool, *arguments], cwd=self.folder, capture_output=True, text=True)

    def test_the_files_are_those_of_the_repository(self):
        done = self.run_tool("new", "letters/site")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        source, made = ROOT / "src/dev/new/site", self.folder / "letters/site"
        files = {str(path.relative_to(source)): path.read_bytes() for path in source.rglob("*") if path.is_file()}
        found = {str(path.relative_to(made)): path.read_bytes() for path in made.rglob("*") if path.is_file()}
        servers = {"server/apache.conf", "server/cgi-bin/quillet"}
        self.assertEqual(set(found), set(files) | servers)
        self.assertEqual({name: found[name] for name in files}, files)

    def test_check_finds_nothing_in_it(self):
        self.run_tool("new", "site")
        done = self.run_tool("check", "site")
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))

    def run_page(self, *arguments):
        done = self.run_tool("run", "--headers", *arguments)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return done.stdout

    def test_a_name_has_at_most_sixty_letters_of_any_length(self):
        self.run_tool("new", "site")
        for letters, is_kept in ((60, True), (61, False)):
            text = self.run_page("site/www/index.html", "--method", "POST", "note=x", "name=" + "🌱" * letters)
            self.assertEqual(("Status: 303" in text, "at most 60 letters" in text), (is_kept, not is_kept))

    def test_the_page_for_unknown_addresses_says_so_itself(self):
        self.run_tool("new", "site")
        self.assertIn("Status: 404 Not Found", self.run_page("site/www/not-found.html"))

    def test_check_sees_the_macros_of_its_author(self):
        self.run_tool("new", "site")
        with open(self.folder / "site/run/_macro.cfg", "a") as macros:
            macros.write("@nieda[]\n^macro[somebody]\n@part[]\n^macro[nobody]\n")
        with open(self.folder / "site/www/index.html", "a") as page:
            page.write("^macro[part]\n")
        done = self.run_tool("check", "--format=gcc", "site")
        self.assertEqual((done.returncode, done.stderr), (1, ""))
        found = re.findall(r"(?m)^site/(.*?):.* macro (\w+).* \[(.*)\]$", done.stdout)
        self.assertEqual(found, [("run/_macro.cfg", "nieda", "macro-unused"), ("run/_macro.cfg", "nobody", "name-macro")])

    def test_the_web_servers_files_name_the_site(self):
        self.run_tool("new", "my \"own\" site")
        site = self.folder / "my \"own\" site"
        quoted = str(site).replace('"', '\\"')
        configuration = (site / "server/apache.conf").read_text()
        self.assertIn(f'\nDefine QUILLET_PAGES "{quoted}/www"\nDefine QUILLET_CGI "{quoted}/server/cgi-bin"\n', configuration)
        self.assertTrue(configuration.endswith((ROOT / "packaging/apache/quillet.conf").read_text()))
        wrapper = site / "server/cgi-bin/quillet"
        self.assertTrue(os.access(wrapper, os.X_OK))
        subprocess.run(["sh", "-n", wrapper], check=True)
        said = subprocess.run(["sh", "-c", f"{''.join(wrapper.read_text().splitlines(keepends=True)[2:4])}"
                               "printf '%s\\n%s\\n' \"$work\" \"$program\""], capture_output=True, text=True, check=True)
        self.assertEqual(said.stdout.splitlines(), [f"{site}/run", str(TOOL.parent / "quillet")])

    def test_the_program_is_the_installed_one_without_a_neighbour(self):
        alone = self.folder / "quillet-dev"
        shutil.copy(TOOL, alone)
        self.run_tool("new", "site", tool=alone)
        self.assertIn("\nprogram='/usr/local/bin/quillet'\n", (self.folder / "site/server/cgi-bin/quillet").read_text())

    def test_an_empty_folder_is_used(self):
        (self.folder / "site").mkdir()
        self.assertEqual(self.run_tool("new", "site/").returncode, 0)
        self.assertTrue((self.folder / "site/www/index.html").exists())

    def test_a_folder_with_files_is_refused_and_left_as_it_is(self):
        (self.folder / "site").mkdir()
        (self.folder / "site/.hidden").touch()
        done = self.run_tool("new", "site")
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertEqual(done.stderr, f"quillet-dev: {self.folder}/site is there already and not an empty folder\n")
        self.assertEqual([path.name for path in (self.folder / "site").iterdir()], [".hidden"])

    def test_a_file_is_refused(self):
        (self.folder / "site").write_text("text")
        self.assertEqual(self.run_tool("new", "site").returncode, 2)
        self.assertEqual(self.run_tool("new", "site/inside").returncode, 2)
        self.assertEqual((self.folder / "site").read_text(), "text")


if __name__ == "__main__":
    unittest.main()
