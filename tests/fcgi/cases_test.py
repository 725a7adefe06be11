#!/usr/bin/env python3
"""Runs every page case through quillet-fcgi, in random order, and expects what the plain program gives.

    cases_test.py REQUESTS_PER_PROCESS [--kept] [--database] [--seed N] [FILE or FOLDER ...]

With --database it runs the cases that ask a database server, which it starts. With --kept each request that leaves every file
as it was is made once more, and the server's clock is an hour ahead: the files seem old enough to be kept, and the second
request finds them kept.

Left out are the cases that say how a process is started: its arguments, its limits, its clock, its mail program.
"""

import argparse
import concurrent.futures
import contextlib
import functools
import os
import random
import resource
import shutil
import sys
import tempfile
import time
from pathlib import Path

from fastcgi import Server

TESTS = Path(__file__).resolve().parents[1]
sys.path[:0] = [str(TESTS), str(TESTS / "database")]
from case_file import CaseError, parse_case  # noqa: E402
from case_run import SANITIZER_WARNING, Run, library  # noqa: E402
from run_cases import STACK  # noqa: E402
from server_pages import ServerRun, start_server  # noqa: E402

JOBS = 2
OF_THE_PROCESS = ("arguments", "limits", "clock", "mail_program")


class WarmRun(Run):
    """A case in a folder that stays while a server works in it; `keeps`: asked once more when it leaves every file as it
    was."""

    def __init__(self, warm, root, sections, keeps=False):
        super().__init__(None, sections)
        self.warm, self.keeps = warm, keeps
        self.root = os.fsencode(root)

    def execute(self):
        root = Path(os.fsdecode(self.root))
        try:
            self.prepare()
            before = contents(root) if self.keeps else None
            self.run_program()
            self.check()
            if self.keeps and not self.failures and contents(root) == before:
                self.run_program()
                self.check()
                self.failures += ["  when it was asked once more"] if self.failures else []
        finally:
            empty(root)

    def run_program(self):
        body_section = self.find("body")
        body = self.with_root(body_section.content()) if body_section else b""
        environment = self.environment(body)
        del environment["ASAN_OPTIONS"]
        answer = self.warm.ask(environment, body)
        self.output, self.errors = as_cgi(answer.output), SANITIZER_WARNING.sub(b"", answer.errors)
        self.status = answer.status
        if self.status is None:
            raise CaseError("the connection ended without an answer")


def contents(root):
    """Of every file, by its path."""
    return {path: path.read_bytes() for path in root.rglob("*") if path.is_file()}


class DatabaseRun(WarmRun, ServerRun):
    """The same of a case that finds a database server."""

    def __init__(self, database, warm, root, sections, keeps=False):
        ServerRun.__init__(self, database, sections)
        self.warm, self.keeps = warm, keeps
        self.root = os.fsencode(root)


def as_cgi(output):
    """Without what a web server adds to the output of a CGI program and nobody to that of a FastCGI server."""
    if output == b"Status: 500 Internal Server Error\r\nContent-type: text/plain\r\n\r\n500 Internal Server Error\n":
        return b""
    return output.removeprefix(b"Status: 302 Found\r\n")


def empty(root):
    """Leaves the working directory, which the server is in, and nothing else."""
    for path in [*(root / "site").iterdir(), *root.iterdir()]:
        if path.name == "site" and path.parent == root:
            path.chmod(0o755)
        elif path.is_dir() and not path.is_symlink():
            shutil.rmtree(path)
        else:
            path.unlink()


def start_warm(root, requests_per_process, keeps):
    environment = {"LD_PRELOAD": library("clock"), "CLOCK": str(int(time.time()) + 3600),
                   "ASAN_OPTIONS": "detect_leaks=0:allocator_may_return_null=1:verify_asan_link_order=0"} if keeps else None
    return Server(root / "site", "--requests-per-process", str(requests_per_process), "--spare", "1",
                  environment=environment)


def run_share(paths, requests_per_process, keeps, make_run):
    """Runs the cases one after the other by a server of their own; gives (path, failures) of each."""
    root = Path(os.path.realpath(tempfile.mkdtemp(prefix="quillet-case-")))
    (root / "site").mkdir()
    results = []
    server = start_warm(root, requests_per_process, keeps)
    try:
        for path in paths:
            run = make_run(server, root, parse_case(path.read_bytes()), keeps)
            try:
                run.execute()
            except (CaseError, OSError) as error:
                run.failures.append(f"  {error}\n  {server.log()[-2000:]}")
            results.append((path, run.failures))
    finally:
        server.stop()
        shutil.rmtree(root, ignore_errors=True)
    return results


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("requests_per_process", type=int)
    parser.add_argument("--kept", action="store_true")
    parser.add_argument("--database", action="store_true")
    parser.add_argument("--seed", type=int, default=random.randrange(1000000))
    parser.add_argument("paths", nargs="*", type=Path)
    options = parser.parse_args()
    folder = TESTS / "database/cases" if options.database else TESTS / "cases"
    cases = [path for given in options.paths or [folder]
             for path in (sorted(given.rglob("*.case")) if given.is_dir() else [given])]
    cases = [path for path in cases
             if not any(section.name in OF_THE_PROCESS for section in parse_case(path.read_bytes()))]
    random.Random(options.seed).shuffle(cases)
    resource.setrlimit(resource.RLIMIT_STACK, (STACK, resource.getrlimit(resource.RLIMIT_STACK)[1]))
    shares = [cases[k::JOBS] for k in range(JOBS)]
    passed = failed = 0
    with contextlib.ExitStack() as stack:
        make_run = WarmRun
        if options.database:
            database = start_server()
            stack.callback(database.stop)
            make_run = functools.partial(DatabaseRun, database)
        workers = stack.enter_context(concurrent.futures.ThreadPoolExecutor(JOBS))
        run = functools.partial(run_share, requests_per_process=options.requests_per_process, keeps=options.kept,
                                make_run=make_run)
        for results in workers.map(run, shares):
            for path, failures in results:
                passed, failed = (passed, failed + 1) if failures else (passed + 1, failed)
                if failures:
                    print(f"FAILED {path}", *failures, sep="\n")
    print(f"order: --seed {options.seed}")
    print(f"{passed} passed, {failed} failed")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
