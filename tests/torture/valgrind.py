"""Every page case under valgrind: no invalid access, no use of bytes that nobody wrote, no memory that a request loses.

    QUILLET_PROGRAM=... valgrind.py [--share N] [--jobs N] [PATH ...]

Every N-th case (all when nothing is said). quillet-fcgi-dynamic, in the same folder, answers them, hundreds in one
process: what is lost at its end was lost by a request. The cases that say how a process is started have a process of
quillet-dynamic each.
"""

import argparse
import concurrent.futures
import os
import random
import resource
import sys
import tempfile
from pathlib import Path

TESTS = Path(__file__).resolve().parent.parent
sys.path[:0] = [str(TESTS), str(TESTS / "fcgi")]
import case_run
import cases_test
import fastcgi
from case_file import CaseError, parse_case
from program import DYNAMIC_PROGRAM, PROGRAM
from run_cases import STACK

REQUESTS_PER_PROCESS = 200
SECONDS = 600  # for a case
ROOM = ["--memory", "1000000000", "--time", str(SECONDS), "--processor-time", str(SECONDS)]
case_run.TIMEOUT = fastcgi.TIMEOUT = SECONDS
# Ends of processes that are no errors.
EXPECTED = (
    "I can't recover from execve() failing",  # valgrind's own limit: a program that cannot be started
    "can't grow stack",  # an expression that is tried in a process of its own (src/core/trial.h)
)


class Watched:
    """What valgrind says of the processes of a command, in a folder of its own."""

    def __init__(self):
        self.folder = tempfile.TemporaryDirectory(prefix="quillet-valgrind-")
        self.command = ["valgrind", "-q", "--trace-children=no", "--leak-check=full", "--show-leak-kinds=definite",
                        f"--log-file={self.folder.name}/%p"]
        self.read = {}

    def news(self):
        """What has been said since the last time, by each process."""
        said = []
        for path in Path(self.folder.name).iterdir():
            text = path.read_text(errors="replace")
            said.append(text[self.read.get(path, 0):])
            self.read[path] = len(text)
        return [text for text in said if text and not any(end in text for end in EXPECTED)]


class ColdRun(case_run.Run):
    """A case in a process of its own; what it says is not looked at."""

    def __init__(self, watched, sections):
        super().__init__(DYNAMIC_PROGRAM, sections)
        self.watched = watched

    def command(self):
        return [*self.watched.command, *super().command()]

    def check(self):
        if self.status < 0:
            self.failures.append(f"status {self.status}\n{self.errors.decode(errors='replace')[:3000]}")


class WarmRun(cases_test.WarmRun):
    def check(self):
        pass


def run_cold(paths):
    watched = Watched()
    for path in paths:
        run = ColdRun(watched, parse_case(path.read_bytes()))
        run.execute()
        yield path, [*run.failures, *watched.news()]


def run_warm(paths):
    watched = Watched()
    with tempfile.TemporaryDirectory(prefix="quillet-case-") as folder:
        root = Path(os.path.realpath(folder))
        (root / "site").mkdir()
        server = fastcgi.Server(root / "site", "--requests-per-process", str(REQUESTS_PER_PROCESS), "--spare", "1",
                                *ROOM, program=PROGRAM.with_name("quillet-fcgi-dynamic"), limits=watched.command)
        try:
            for path in paths:
                run = WarmRun(server, root, parse_case(path.read_bytes()))
                try:
                    run.execute()
                except CaseError as error:
                    run.failures.append(str(error))
                yield path, [*run.failures, *watched.news()]
        finally:
            server.stop()
    yield None, watched.news()


def main():
    parser = argparse.ArgumentParser(description="Page cases under valgrind.")
    parser.add_argument("--share", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=len(os.sched_getaffinity(0)))
    parser.add_argument("paths", nargs="*", type=Path)
    options = parser.parse_args()
    resource.setrlimit(resource.RLIMIT_STACK, (STACK, resource.getrlimit(resource.RLIMIT_STACK)[1]))
    chosen = [path for given in options.paths or [TESTS / "cases"]
              for path in (sorted(given.rglob("*.case")) if given.is_dir() else [given])]
    random.Random(1).shuffle(chosen)
    warm, cold = [], []
    for path in chosen[::options.share]:
        names = {section.name for section in parse_case(path.read_bytes())}
        if "limits" not in names:  # valgrind needs more room than these leave
            (cold if names & set(cases_test.OF_THE_PROCESS) else warm).append(path)
    counts = {"run": 0, "found": 0}

    def run(job):
        kind, paths = job
        for path, found in kind(paths):
            counts["run"] += path is not None
            counts["found"] += bool(found)
            if found:
                print(f"FOUND {path or 'at the end of the server'}", *found, sep="\n    ", flush=True)
            elif counts["run"] % 100 == 0:
                print(f"... {counts} of {len(warm) + len(cold)}", file=sys.stderr, flush=True)

    jobs = [(run_cold, cold), *((run_warm, warm[k::options.jobs]) for k in range(options.jobs))]
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as workers:
        list(workers.map(run, jobs))
    print(f"{counts['run']} of {len(chosen)} cases, {counts['found']} with errors")
    sys.exit(1 if counts["found"] else 0)


if __name__ == "__main__":
    main()
