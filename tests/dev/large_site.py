#!/usr/bin/env python3
"""Makes a site of 1,000 pages with shared macros and data, and prints how long `quillet-dev check` takes for it.

    QUILLET_DEV=build/release/bin/quillet-dev large_site.py
"""

import os
import subprocess
import tempfile
import time
from pathlib import Path

TOOL = str(Path(os.environ.get("QUILLET_DEV", "build/release/bin/quillet-dev")).resolve())
MACROS = """@frame[title;body]
<html><head><meta charset="utf-8"><title>$title</title></head><body>$body ^macro[footer]</body></html>

@footer
<p>^uri[]</p>
"""
SECTION = """@section
Section

"""
PAGE = """^macro_use[quillet.cfg]^macro[frame;Page;
<h1>^macro[section]</h1>
^load[named;goods]
<table>^menu[<tr><td>^item[name]</td><td>^eval[^item[price];%%.2f]</td></tr>]</table>
^ifdef[^form[name];<p>Hello ^form[name]!</p>;<p>Who are you?</p>]
^switch[^form[kind];^case[a;A]^case[b;B]^case[DEFAULT;None]]
%s]
"""


def main():
    with tempfile.TemporaryDirectory(prefix="quillet-check-") as name:
        site = Path(name)
        (site / "run").mkdir()
        (site / "run/_macro.cfg").write_text(MACROS)
        for number in range(1000):
            folder = site / "www" / str(number // 50)
            folder.mkdir(parents=True, exist_ok=True)
            (folder / "_quillet.cfg").write_text(SECTION)
            text = "".join(f"<p>Paragraph {i} of page {number}: ^sum[{i};{number}]</p>\n" for i in range(40))
            (folder / f"{number}.html").write_text(PAGE % text)
        (site / "www/_goods").write_text("name\tprice\n" + "pear\t3\n" * 1000)
        start = time.monotonic()
        done = subprocess.run([TOOL, "check", "--format=gcc", name], capture_output=True, text=True)
        print(f"{time.monotonic() - start:.2f} s, exit status {done.returncode}")
        print(done.stdout[:2000], end="")


if __name__ == "__main__":
    main()
