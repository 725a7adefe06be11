#!/usr/bin/env python3
"""usage: request_seeds.py CASES FOLDER

Makes inputs for fuzz_request of the page cases: what each says of the request, escapes decoded. Left out are large ones.
"""

import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "tests"))

from case_file import parse_case  # noqa: E402

LARGEST = 2000  # bytes


def main():
    cases, folder = Path(sys.argv[1]), Path(sys.argv[2])
    folder.mkdir(parents=True, exist_ok=True)
    for path in sorted(cases.rglob("*.case")):
        seed = b""
        for section in parse_case(path.read_bytes()):
            if section.name in ("page", "file", "folder", "env", "body"):
                content = b"\n".join(section.lines()) if section.name == "env" else section.content()
                heading = f"== {section.name}" + (f" {section.argument}" if section.argument else "")
                seed += heading.encode(errors="surrogateescape") + b"\n" + content + b"\n"
        if len(seed) <= LARGEST:
            (folder / str(path.relative_to(cases)).replace("/", "-")).write_bytes(seed)


if __name__ == "__main__":
    main()
