"""usage: package_test.py MODULES

The extension for VS Code packs with the ordinary tool, which is in the folder MODULES, and the package contains what
the extension needs."""

import json
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

EXTENSION = Path(__file__).resolve().parents[2] / "editors/vscode"
MODULES = Path(sys.argv[1])


class Package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        copy = Path(folder.name) / "quillet"
        shutil.copytree(EXTENSION, copy, ignore=shutil.ignore_patterns("node_modules", "*.vsix"))
        for command in (["npm", "ci", "--ignore-scripts", "--no-audit", "--no-fund"],
                        ["node", MODULES / "@vscode/vsce/vsce", "package", "--allow-missing-repository", "-o", "a.vsix"]):
            done = subprocess.run(command, cwd=copy, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
            if done.returncode != 0:
                raise AssertionError(done.stdout)
        cls.package = zipfile.ZipFile(copy / "a.vsix")

    def test_the_files_are_in_it(self):
        names = self.package.namelist()
        for name in ("client.js", "language-configuration.json", "syntaxes/quillet.tmLanguage.json",
                     "node_modules/vscode-languageclient/package.json"):
            self.assertIn(f"extension/{name}", names)

    def test_what_it_refers_to_is_in_it(self):
        manifest = json.loads(self.package.read("extension/package.json"))
        contributes = manifest["contributes"]
        for name in (manifest["main"], contributes["languages"][0]["configuration"], contributes["grammars"][0]["path"]):
            self.package.read("extension/" + name.removeprefix("./"))
        grammar = json.loads(self.package.read("extension/syntaxes/quillet.tmLanguage.json"))
        self.assertEqual(grammar["scopeName"], contributes["grammars"][0]["scopeName"])

    def test_the_problem_matcher_reads_a_finding(self):
        manifest = json.loads(self.package.read("extension/package.json"))
        pattern = manifest["contributes"]["problemMatchers"][0]["pattern"]["regexp"]
        found = re.match(pattern, "www/a.html:3:7: error: no operator [itme] [call-unknown]")
        self.assertEqual(found.groups(), ("www/a.html", "3", "7", "error", "no operator [itme]", "call-unknown"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
