"""The language server and a real client: Neovim without a window, set up as editors/README.md says."""

import os
import subprocess
import tempfile
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent
EDITORS = HERE.parents[1] / "editors"


class Neovim(unittest.TestCase):
    maxDiff = None

    def test_a_page_is_repaired_and_changed(self):
        with tempfile.TemporaryDirectory() as name:
            folder = Path(name).resolve()
            (folder / "www").mkdir()
            (folder / "run").mkdir()
            (folder / "run/_macro.cfg").write_text("# Says hello.\n@greet[who]\nHello $who!\n")
            (folder / "www/index.html").write_text("^optimize[no]\n<p>^macr[greet;Ann]\n")
            command = ["nvim", "--headless", "-u", "NONE", "-i", "NONE", "-n",
                       "--cmd", f"set runtimepath^={EDITORS}/vim", "--cmd", "filetype plugin on | set hidden",
                       "-c", f"luafile {HERE}/lsp_neovim.lua"]
            environment = {**os.environ, "QUILLET_FOUND": str(folder / "found"), "HOME": name, "XDG_STATE_HOME": name}
            subprocess.run(command, cwd=folder, env=environment, stdin=subprocess.DEVNULL, capture_output=True,
                           timeout=280, check=True)
            self.assertEqual((folder / "found").read_text().splitlines(), [
                "findings: 1:3 call-unknown",
                "completion: sum",
                "signature: ^macro[greet;who]",
                "hover: ^sum[number;number]",
                "renamed: <p>ä^macro[hello;^sum[1;2]]",
                "definition: _macro.cfg 2 @hello[who]",
            ])


if __name__ == "__main__":
    unittest.main()
