#!/usr/bin/env python3
"""Runs page cases (tests/cases/README.md says what they look like) and the examples of the manual.

    run_cases.py --program build/asan/bin/quillet [--jobs N] [FILE or FOLDER ...]
    run_cases.py --program build/asan/bin/quillet --docs docs
"""

import argparse
import concurrent.futures
import os
import re
import resource
import sys
from pathlib import Path

from case_file import CaseError, add_section, parse_case, parse_heading
from case_run import Run

TESTS = Path(__file__).resolve().parent
STACK = 8 << 20  # what a web server's processes have


def run_case(program, strict, name, load):
    """(name, lines that say what failed)."""
    try:
        run = Run(program, load(), strict)
        run.execute()
        return name, run.failures
    except (CaseError, OSError, ValueError) as error:
        return name, [f"  {error}"]


def find_cases(paths):
    cases = []
    for path in paths:
        if path.is_dir():
            cases += sorted(path.rglob("*.case"))
        elif path.is_file():
            cases.append(path)
        else:
            sys.exit(f"no such case: {path}")
    return [(str(path), lambda path=path: parse_case(path.read_bytes())) for path in cases]


def find_examples(folder):
    """The examples of the manual's pages: a fenced block "page" and the blocks after it, up to "output", or
    "response" for one with its headers."""
    examples = []
    for page in sorted(folder.rglob("*.md")):
        sections, start = None, 0
        for number, heading, raw in fenced_blocks(page.read_bytes()):
            name, argument, modifiers = parse_heading(heading)
            if name == "page":
                if sections is not None:
                    examples.append(unfinished_example(page, start))
                sections, start = [], number
            if sections is None or name not in ("page", "file", "env", "body", "output", "response"):
                continue
            try:
                add_section(sections, "expect" if name == "output" else name, argument, modifiers, raw)
            except CaseError as error:
                sys.exit(f"{page}:{number}: {error}")
            if name in ("output", "response"):
                examples.append((f"{page}:{start}", lambda found=sections: found))
                sections = None
        if sections is not None:
            examples.append(unfinished_example(page, start))
    return examples


def unfinished_example(page, line):
    def load():
        raise CaseError("an example without a block ```output")
    return f"{page}:{line}", load


def fenced_blocks(data):
    fence, heading, block, start = None, b"", [], 0
    for number, line in enumerate(data.split(b"\n"), 1):
        hit = re.fullmatch(rb"(`{3,})([^`]*)", line.rstrip())
        if fence is None:
            if hit:
                fence, heading, block, start = hit[1], hit[2], [], number
        elif line.rstrip() == fence:
            yield start, heading, b"\n".join(block)
            fence = None
        else:
            block.append(line)


def main():
    parser = argparse.ArgumentParser(description="Runs page cases and the manual's examples.")
    parser.add_argument("--program", required=True, type=Path)
    parser.add_argument("--jobs", type=int, default=len(os.sched_getaffinity(0)), help="as many as cores by default")
    parser.add_argument("--docs", type=Path, metavar="DIR", help="run the examples of the pages in DIR instead")
    parser.add_argument("paths", nargs="*", type=Path, help="case files or folders (all cases by default)")
    options = parser.parse_args()
    program = options.program.resolve()
    if not program.is_file():
        sys.exit(f"no such program: {program}")
    hard = resource.getrlimit(resource.RLIMIT_STACK)[1]
    resource.setrlimit(resource.RLIMIT_STACK, (STACK, hard))

    cases = find_examples(options.docs) if options.docs else find_cases(options.paths or [TESTS / "cases"])
    passed = failed = 0
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as workers:
        for name, failures in workers.map(lambda case: run_case(program, not options.docs, *case), cases):
            if failures:
                failed += 1
                print(f"FAILED {name}")
                print("\n".join(failures))
            else:
                passed += 1
    print(f"{passed} passed, {failed} failed")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
