#!/usr/bin/env python3
"""Checks code that is meant to be right, and says what is reported.

    right_code.py site               the example site
    right_code.py manual             the examples of the manual
    right_code.py cases              the page cases of tests/cases
    right_code.py damage             pages of the cases with bytes missing; the tool must not crash

With --write the list beside this file becomes what is found; read the difference before you keep it.

Nothing may be reported but what the list `right_code_NAME.txt` beside this file names: examples and cases that make
a mistake on purpose, each with the rules that find it. What is listed must be found. The environment names the
program dev_check_sites (QUILLET_CHECK_SITES).
"""

import itertools
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

import check_cases

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
import case_file  # noqa: E402
import run_cases  # noqa: E402

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent.parent
PROGRAM = str(Path(os.environ.get("QUILLET_CHECK_SITES", "build/asan/bin/dev_check_sites")).resolve())
FINDING = re.compile(r"\[([a-z-]+)\]$|^(problem): ", re.M)


def write(folder, sections):
    for part in ("www", "site"):
        (folder / part).mkdir(parents=True)
    for section in sections:
        section.argument = section.argument.replace("@ROOT@/", "")
    check_cases.write_site(folder, sections)
    return folder / "www", folder / "site"


def examples():
    """Named by their page and their number on it, as lines move."""
    counts = {}
    for name, load in run_cases.find_examples(ROOT / "docs"):
        page = os.path.relpath(name.rpartition(":")[0], ROOT / "docs")
        counts[page] = counts.get(page, 0) + 1
        yield f"{page} {counts[page]}", load()


def cases():
    for path in sorted((ROOT / "tests/cases").rglob("*.case")):
        yield str(path.relative_to(ROOT / "tests/cases")), case_file.parse_sections(path.read_bytes())


def sites(what, folder):
    """(name, document root, working directory) of each site; those that are written go below the folder."""
    if what == "site":
        return [("site", ROOT / "examples/site/www", ROOT / "examples/site/run")]
    named = examples() if what == "manual" else cases()
    if what == "damage":
        named = itertools.islice(named, 0, None, 20)
    return [(name, *write(folder / str(number), sections)) for number, (name, sections) in enumerate(named)]


def run(arguments, listed):
    """What the program prints for these sites."""
    lines = "".join(f"{root}\t{work}\n" for _, root, work in listed)
    done = subprocess.run([PROGRAM, *arguments], input=lines.encode(), capture_output=True, timeout=580)
    if done.returncode != 0:
        sys.exit(f"exit status {done.returncode}\n{done.stderr.decode(errors='replace')}")
    return done.stdout.decode(errors="backslashreplace")


def expected_rules(what):
    path = HERE / f"right_code_{what}.txt"
    lines = path.read_text().splitlines() if path.exists() else []
    pairs = [line.split(": ") for line in lines if line and not line.startswith("#")]
    return {name: rules.split() for name, rules in pairs}


def found_rules(listed, output):
    """(name, rules that find something, report) of each site."""
    reports = dict(part.partition("\n")[::2] for part in ("\n" + output).split("\n== ")[1:])
    for name, root, _ in listed:
        report = reports[str(root)]
        yield name, sorted({hit[1] or hit[2] for hit in FINDING.finditer(report)}), report


def compare(what, found):
    """The lines that say what is wrong."""
    expected = expected_rules(what)
    for name, rules, report in found:
        if rules != expected.pop(name, []):
            yield f"{name}: {' '.join(rules)}\n{report.rstrip()}"
    for name in expected:
        yield f"{name} is listed and does not exist"


def main():
    what = sys.argv[1]
    with tempfile.TemporaryDirectory(prefix="quillet-check-") as name:
        listed = sites(what, Path(name).resolve())
        if what == "damage":
            run(["--damage"], listed)
            return
        found = list(found_rules(listed, run([], listed)))
    if "--write" in sys.argv:
        lines = [f"{name}: {' '.join(rules)}\n" for name, rules, _ in found if rules]
        comment = "# What makes a mistake on purpose, and the rules that find it (see right_code.py).\n"
        (HERE / f"right_code_{what}.txt").write_text(comment + "".join(lines))
        return
    failures = list(compare(what, found))
    print(*failures, sep="\n")
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
