"""usage: vim_test.py CALLS vim|nvim

The files for Vim and Neovim, in the editor without a window. CALLS prints where the calls of a file are."""

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
CALLS, EDITOR = sys.argv[1:3]


def run_editor(script, **variables):
    """Runs the script file in the editor, which reads nobody's settings."""
    batch = ["-es"] if EDITOR == "vim" else ["--headless"]
    command = [EDITOR, *batch, "-u", "NONE", "-i", "NONE", "-n", "--cmd", "set nocompatible",
               "--cmd", f"set runtimepath^={ROOT}/editors/vim", "--cmd", "filetype plugin indent on | syntax on",
               "-S", str(script), "-c", "quitall!"]
    environment = {**os.environ, **{name: str(value) for name, value in variables.items()}}
    subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, capture_output=True, timeout=250, check=True)


class EditorTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def run_lines(self, *lines, files=None):
        """Runs the lines and gives what they append to the list `g:found`."""
        for name, content in (files or {}).items():
            (self.folder / name).write_text(content)
        script = self.folder / "script.vim"
        script.write_text("\n".join(["let g:found = []", *lines, f"call writefile(g:found, '{self.folder}/found')"]))
        run_editor(script)
        return (self.folder / "found").read_text().splitlines()

    def test_the_calls_are_those_of_the_program(self):
        folders = [ROOT / "examples/site", ROOT / "tests/editors/pages"]
        files = sorted(file for folder in folders for kind in ("*.html", "_*.cfg") for file in folder.rglob(kind))
        self.assertGreater(len(files), 40)
        (self.folder / "files").write_text("".join(f"{file}\n" for file in files))
        run_editor(ROOT / "tests/editors/marks.vim", QUILLET_FILES=self.folder / "files",
                   QUILLET_FOUND=self.folder / "found")
        found = {}
        for line in (self.folder / "found").read_text().splitlines():
            if line.startswith("/"):
                marks = found.setdefault(line, [])
            else:
                marks.append(line)
        for file in files:
            expected = subprocess.run([CALLS, file], capture_output=True, text=True, check=True).stdout.splitlines()
            self.assertEqual(sorted(found[str(file)]), sorted(expected), file)

    def test_files_are_recognised(self):
        files = {"_macro.cfg": "@a\nb\n", "page.html": "<p>^form[name]\n", "other.html": "<p>[a] ^ 2\n", "a.cfg": "[x]\n"}
        found = self.run_lines(*[f"edit {self.folder}/{name} | call add(g:found, &filetype)" for name in files],
                               files=files)
        self.assertEqual(found[:3], ["quillet", "quillet", "html"])
        self.assertNotEqual(found[3], "quillet")

    def test_operators_and_other_names_have_their_groups(self):
        page = "@a[b]\n^if[^item[x];^itme[$b]]\n# no ^if[1]\n^-f[a] ^rem[^if[1]] ^ifx[] ^default[;`]`]\n"
        places = [(1, 1), (2, 2), (2, 6), (2, 15), (2, 20), (3, 7), (4, 2), (4, 9), (4, 13), (4, 24), (4, 38)]
        found = self.run_lines(f"edit {self.folder}/_macro.cfg", *[
            f"call add(g:found, synIDattr(synID({line}, {column}, 0), 'name'))" for line, column in places
        ], files={"_macro.cfg": page})
        self.assertEqual(found, ["quilletHeader", "quilletControl", "quilletOperator", "quilletInnerName",
                                 "quilletReference", "quilletComment", "quilletOperator", "quilletRem",
                                 "quilletRemarkProtected", "quilletName", "quilletTick"])

    def test_lines_are_indented_by_brackets(self):
        lines = ["@main", "^if[1;", "<p>a^[</p>", "^menu[", "`]`^item[0]", "]", "# note", ";", "b", "]", "@next", "^config[",
                 "a", "b]", "c"]
        expected = ["@main", "^if[1;", "  <p>a^[</p>", "  ^menu[", "    `]`^item[0]", "  ]", "# note", "  ;", "  b", "]",
                    "@next", "^config[", "a", "b]", "c"]
        found = self.run_lines(f"edit {self.folder}/_macro.cfg", "setlocal shiftwidth=2 expandtab", "normal! gg=G",
                               "let g:found = getline(1, '$')", files={"_macro.cfg": "\n".join(lines) + "\n"})
        self.assertEqual(found, expected)

    def test_findings_go_to_their_places(self):
        output = "www/a.html:3:7: error: no operator itme; did you mean item? [call-unknown]\n" \
                 "www/b c.html:12:1: warning: a line that vanishes [text-line]\n"
        found = self.run_lines(f"edit {self.folder}/_macro.cfg", f"cgetfile {self.folder}/output",
                               "for one in getqflist() | call add(g:found, fnamemodify(bufname(one.bufnr), ':t')"
                               " . ' ' . one.lnum . ' ' . one.col . ' ' . one.type . ' ' . one.text) | endfor",
                               "call add(g:found, &makeprg)",
                               files={"_macro.cfg": "@a\nb\n", "output": output})
        self.assertEqual(found, ["a.html 3 7 e no operator itme; did you mean item? [call-unknown]",
                                 "b c.html 12 1 w a line that vanishes [text-line]",
                                 "quillet-dev check --format gcc $*"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
