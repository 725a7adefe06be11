#!/usr/bin/env python3
"""Runs the page cases watched: what quillet-dev makes of a request is, byte for byte, what the program makes of it.

    watched_cases.py answer [N]     every N-th case, by the process that `run` and `serve` start for a request
    watched_cases.py run [N]        every N-th case that is a plain request, by `quillet-dev run`

N is 1 unless it is given.
"""

import concurrent.futures
import os
import resource
import sys
from pathlib import Path

TESTS = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(TESTS))

from case_file import parse_case  # noqa: E402
from case_run import Run  # noqa: E402

PROGRAM = Path(os.environ["QUILLET_DEV"]).resolve()
STACK = 8 << 20  # what a web server's processes have


class AnswerRun(Run):
    """What was seen goes nowhere."""

    def command(self):
        command = super().command()
        at = command.index(os.fsencode(self.program))
        command[at:] = ["sh", "-c", 'exec "$0" answer 3>/dev/null', self.program]
        return command


class ShellRun(Run):
    """The request is said by options. Standard error has the notes, which no case names."""

    def command(self):
        section = self.find("page")
        page = self.path(section.argument if section else "www/page.html")
        command = [self.program, "run", "--headers", "--root", self.path("www"), "--site", self.path("site")]
        for name, value in self.environment(b"").items():
            if name not in ("PATH", "ASAN_OPTIONS"):
                command += ["--env", f"{name}={value}"]
        return command + [page]

    def run_program(self):
        super().run_program()
        self.errors = b""


def is_plain(sections):
    """A page, asked for with no body, nothing removed from the environment, and nothing else said about the process."""
    names = {section.name for section in sections}
    if not names.isdisjoint({"limits", "clock", "mail_program", "arguments", "body", "stderr"}):
        return False
    if any(section.name == "page" and not section.argument.startswith("www/") for section in sections):
        return False
    env = next((section for section in sections if section.name == "env"), None)
    return env is None or not any(line.startswith(b"-") or line.startswith(b"=") for line in env.lines())


def run_case(kind, path):
    sections = parse_case(path.read_bytes())
    if kind is ShellRun and not is_plain(sections):
        return path, None
    run = kind(PROGRAM, sections)
    if "stack" in run.limits():  # the tool keeps the one that it is given
        return path, None
    run.execute()
    return path, run.failures


def main():
    kind = {"answer": AnswerRun, "run": ShellRun}[sys.argv[1]]
    resource.setrlimit(resource.RLIMIT_STACK, (STACK, resource.getrlimit(resource.RLIMIT_STACK)[1]))
    every = int(sys.argv[2]) if len(sys.argv) > 2 else 1
    paths = sorted((TESTS / "cases").rglob("*.case"))[::every]
    passed = failed = 0
    with concurrent.futures.ThreadPoolExecutor(2) as workers:
        for path, failures in workers.map(lambda path: run_case(kind, path), paths):
            if failures:
                print(f"FAILED {path}", *failures, sep="\n")
                failed += 1
            elif failures is not None:
                passed += 1
    print(f"{passed} passed, {failed} failed")
    sys.exit(1 if failed or not passed else 0)


if __name__ == "__main__":
    main()
