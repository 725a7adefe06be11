#!/usr/bin/env python3
"""Holds the pages of docs/check against `quillet-dev check`.

Each rule has a page of its name. A fenced block `text` with findings in it is what check says of the block before
it, and check finds nothing in the block after it. Blocks `text PATH` are further files of both.

    QUILLET_DEV=build/asan/bin/quillet-dev check_manual.py
"""

import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
TOOL = str(Path(os.environ.get("QUILLET_DEV", "build/asan/bin/quillet-dev")).resolve())
BLOCK = re.compile(r"^```text(?: (?P<path>\S+))?\n(?P<content>.*?\n)```$", re.MULTILINE | re.DOTALL)
FINDING = re.compile(r"(?P<path>\S+?):\d+:\d+: (?:error|warning): .* \[(?P<rule>[a-z-]+)\]$", re.MULTILINE)


def check(files):
    with tempfile.TemporaryDirectory(prefix="quillet-check-") as name:
        root = Path(name).resolve() / "www"
        (root.parent / "run").mkdir()
        for path, content in files.items():
            (root / path).parent.mkdir(parents=True, exist_ok=True)
            (root / path).write_text(content)
        return subprocess.run([TOOL, "check", "--format=gcc", "."], cwd=root, capture_output=True, text=True,
                              timeout=60).stdout


def check_page(page):
    """The number of examples, and the lines that say what failed."""
    blocks = list(BLOCK.finditer(page.read_text()))
    files = {block["path"]: block["content"] for block in blocks if block["path"]}
    blocks = [block["content"] for block in blocks if not block["path"]]
    examples, failures = 0, []
    for i, block in enumerate(blocks):
        finding = FINDING.match(block)
        if not finding:
            continue
        examples += 1
        # Examples of macros have a page that may call any of them, those of other rules a site that is whole.
        page_only = {} if finding["path"] == "page.html" else {"page.html": "^macro[^env[HOST]]\n"}
        if page.stem != "server-error":
            page_only["_macro.cfg"] = "@SERVER_ERROR\nLater.\n"
        found = check({**page_only, **files, finding["path"]: blocks[i - 1]})
        if found != block or finding["rule"] != page.stem:
            failures.append(f"{page}: the wrong example gives\n{found}")
        found = check({**page_only, **files, finding["path"]: blocks[i + 1]}) if i + 1 < len(blocks) else "nothing"
        if found:
            failures.append(f"{page}: the right example gives\n{found}")
    return examples, failures


def main():
    failures = []
    pages = sorted((ROOT / "docs/check").glob("*-*.md"))
    for page in pages:
        examples, failed = check_page(page)
        failures += failed
        if examples == 0:
            failures.append(f"{page}: no example")
    print(*failures, sep="\n")
    sys.exit(1 if failures or not pages else 0)


if __name__ == "__main__":
    main()
