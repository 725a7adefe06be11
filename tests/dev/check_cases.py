#!/usr/bin/env python3
"""Runs cases of `quillet-dev check` (check/README.md says what they look like).

    QUILLET_DEV=build/asan/bin/quillet-dev check_cases.py FILE or FOLDER ...
"""

import difflib
import os
import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
import case_file  # noqa: E402

TOOL = str(Path(os.environ.get("QUILLET_DEV", "build/asan/bin/quillet-dev")).resolve())
case_file.WITHOUT_ARGUMENT |= {"findings", "problem"}


def write_site(folder, sections):
    """The files of the sections below the folder; the others by their names."""
    others = {}
    for section in sections:
        if section.name == "folder":
            (folder / section.argument).mkdir(parents=True, exist_ok=True)
        elif section.name in ("page", "file"):
            path = folder / section.argument
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(section.content())
        else:
            others[section.name] = section
    return others


def check(folder, arguments):
    """(exit status, standard output, standard error) of the tool in a folder."""
    done = subprocess.run([TOOL, "check", *arguments], cwd=folder, capture_output=True, timeout=60)
    return done.returncode, done.stdout, done.stderr


def difference(name, expected, found):
    lines = difflib.unified_diff(expected.decode(errors="backslashreplace").splitlines(),
                                 found.decode(errors="backslashreplace").splitlines(), "expected", name, lineterm="")
    return list(lines) or ["expected and found differ in their line ends"]


def run_case(path):
    """The lines that say what failed."""
    sections = case_file.parse_sections(path.read_bytes())
    with tempfile.TemporaryDirectory(prefix="quillet-check-") as name:
        folder = Path(name).resolve()
        (folder / "run").mkdir()
        (folder / "www").mkdir()
        others = write_site(folder, sections)
        if "findings" not in others:
            return ['no section "findings"']
        arguments = ["--format=gcc", "www"]
        if "arguments" in others:
            arguments = [line.decode() for line in others["arguments"].lines()]
        status, output, errors = check(folder, arguments)
    expected = others["findings"].content()
    expected += b"\n" if expected else b""
    problem = others["problem"].content() + b"\n" if "problem" in others else b""
    failures = []
    if output != expected:
        failures += difference("found", expected, output)
    if errors.replace(os.fsencode(folder), b"@ROOT@") != problem:
        failures += difference("standard error", problem, errors)
    wanted = 2 if problem else 1 if expected else 0
    if status != wanted:
        failures.append(f"exit status {status} instead of {wanted}")
    return failures


def main():
    failed = 0
    for argument in map(Path, sys.argv[1:]):
        cases = sorted(argument.rglob("*.case")) if argument.is_dir() else [argument]
        if not cases:
            sys.exit(f"no cases: {argument}")
        for case in cases:
            failures = run_case(case)
            if failures:
                failed += 1
                print(f"FAILED {case}", *failures, sep="\n  ")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
